#include "tests/tools/client/scripted_service.h"

#include <algorithm>

#include <json11.hpp>

namespace {

std::string value_of(const name_values& pairs, std::string_view name, std::string value) {
  for (const auto& pair : pairs) {
    if (pair.first == name) { value = pair.second; }
  }
  return value;
}

json11::Json item_object(const std::string& id, const std::string& input) {
  return json11::Json::object{{"entry id", id}, {"input file", input}};
}

}  // namespace

service_reply scripted_service::request(std::string_view command, const name_values& pairs) {
  std::string line(command);
  for (const auto& [name, value] : pairs) {
    line.append(" ").append(name).append("=").append(value);
  }
  asked_.push_back(line);
  return answer_(std::string(command), pairs);
}

service_reply accepted(std::string data) {
  service_reply reply;
  reply.exit_status = 0;
  reply.text = "OK";
  reply.data = std::move(data);
  return reply;
}

service_reply refused(int exit_status, std::string text, std::string data) {
  service_reply reply = accepted(std::move(data));
  reply.exit_status = exit_status;
  reply.text = std::move(text);
  return reply;
}

std::string item_json(const std::string& id, const std::string& state, const std::string& text) {
  return json11::Json(
             json11::Json::object{{"entry id", id}, {"transcode state", state}, {"state", text}})
      .dump();
}

service_reply listed_queue::answer(const name_values& pairs) const {
  const std::string id = value_of(pairs, "entry id", "");
  if (id.empty()) {
    return accepted(
        page(std::stoul(value_of(pairs, "start", "0")), std::stoul(value_of(pairs, "end", "15"))));
  }
  const bool known = std::find(ids.begin(), ids.end(), id) != ids.end();
  return known ? accepted(item_json(id, "ready")) : refused(exit_no_such_item, "NOT FOUND");
}

std::string listed_queue::page(std::size_t start, std::size_t end) const {
  json11::Json::array list;
  for (std::size_t i = start; i <= end && i < ids.size() && list.size() < 16; ++i) {
    list.push_back(item_object(ids[i], "/mnt/media/" + std::to_string(i) + ".mpg"));
  }
  json11::Json::object top = {
      {"list", list}, {"modify counter", modify_counter}, {"total", static_cast<int>(ids.size())}};
  if (!list.empty()) { top["start"] = static_cast<int>(start); }
  return json11::Json(top).dump();
}
