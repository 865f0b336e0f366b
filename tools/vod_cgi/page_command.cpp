// Reads the page's commands and passes them on.
#include "tools/vod_cgi/page_command.h"

#include <algorithm>
#include <chrono>

#include "platform/clock.h"
#include "platform/forbidden_area.h"
#include "rules/control_words.h"
#include "rules/json_keys.h"
#include "rules/json_text.h"
#include "rules/source_rules.h"
#include "tools/client/item_view.h"
#include "tools/client/offered_profiles.h"
#include "tools/client/submission.h"

namespace {

struct command_form {
  const char* word;
  bool takes_id;
  bool takes_fields;
};

constexpr command_form forms[] = {{command_add, false, true},    {command_modify, true, true},
                                  {command_pause, true, false},  {command_resume, true, false},
                                  {command_cancel, true, false}, {command_restart, true, false},
                                  {command_remove, true, false}};

const command_form* find_form(const std::string& word) {
  const auto* const found =
      std::find_if(std::begin(forms), std::end(forms),
                   [&](const command_form& form) { return word == form.word; });
  return found == std::end(forms) ? nullptr : found;
}

bool is_plain(const std::string& text) {
  return std::none_of(text.begin(), text.end(),
                      [](unsigned char c) { return c < 0x20 || c == 0x7f; });
}

bool take_text(const std::string& name, const std::string& text, const command_form& form,
               page_command& command) {
  if (!is_plain(text)) { return false; }
  if (name == "id" && form.takes_id) {
    command.id = text;
    return true;
  }
  if (name == "profile" && form.takes_fields) {
    command.fields.emplace_back(key_profile, text);
    return true;
  }
  if (name == "file" && !form.takes_id) {
    command.fields.emplace_back(key_input_file, text);
    return true;
  }
  return false;
}

bool take_member(const std::string& name, const json11::Json& value, const command_form& form,
                 page_command& command) {
  if (value.is_string()) { return take_text(name, value.string_value(), form, command); }
  if (!value.is_bool() || name != "deletes_source" || !form.takes_fields) { return false; }
  command.fields.emplace_back(key_delete_on_finish, value.bool_value() ? "1" : "0");
  return true;
}

std::string value_of(const name_values& fields, const char* name) {
  const auto found = std::find_if(fields.begin(), fields.end(),
                                  [&](const auto& field) { return field.first == name; });
  return found == fields.end() ? "" : found->second;
}

// Half of the time that is left; the service has the other half.
std::chrono::milliseconds time_for_listing(std::uint64_t deadline_us) {
  const std::uint64_t now_us = monotonic_clock_us();
  return std::chrono::milliseconds(now_us < deadline_us ? (deadline_us - now_us) / 2000 + 1 : 0);
}

// No file is looked into that the service would not look into.
page_answer judge_profile(const std::string& profile, const std::string& file,
                          const std::vector<std::string>& listed, std::uint64_t deadline_us) {
  const auto time_limit = time_for_listing(deadline_us);
  const bool may_look =
      !file.empty() &&
      (cgi_velmar_forbidden_area(file.c_str(), source_path_flags) & source_path_forbidden) == 0;
  if (listed.empty() && (!may_look || time_limit.count() == 0)) { return {}; }
  const std::string problem = profile_problem(profile, file, listed, time_limit);
  if (problem.empty()) { return {}; }
  return page_refusal(409, "no such profile", "The VOD cannot be made: " + problem + ".");
}

page_answer answer_of(const service_reply& reply, const std::string& id) {
  return reply.accepted() ? page_answer{200, json11::Json::object{{"id", id}}}
                          : page_failure(reply);
}

page_answer modify(vod_service& service, const page_command& command, std::uint64_t deadline_us) {
  name_values pairs = {{key_entry_id, command.id}};
  const std::string profile = value_of(command.fields, key_profile);
  if (!profile.empty()) {
    const service_reply shown = service.request(command_list, pairs);
    if (!shown.accepted()) { return page_failure(shown); }
    item_view job;
    if (read_item(shown.data, job)) {
      page_answer judged = judge_profile(profile, job.input_file, job.offered, deadline_us);
      if (judged.status != 200) { return judged; }
    }
  }
  pairs.insert(pairs.end(), command.fields.begin(), command.fields.end());
  return answer_of(service.request(command_modify, pairs), command.id);
}

page_answer add(vod_service& service, const name_values& fields, std::uint64_t deadline_us) {
  const new_job job = {value_of(fields, key_input_file), value_of(fields, key_profile),
                       value_of(fields, key_delete_on_finish) == "1"};
  page_answer judged = judge_profile(job.profile, job.file, {}, deadline_us);
  if (judged.status != 200) { return judged; }
  const submission made = submit(service, job, false);
  return answer_of(made.reply, made.entry_id);
}

}  // namespace

bool read_page_command(const std::string& word, const std::string& body, page_command& command,
                       std::string& error) {
  const command_form* const form = find_form(word);
  if (form == nullptr) {
    error = "The query does not name an allowed command.";
    return false;
  }
  command = {word, "", {}};
  const json11::Json members = parse_json(body, error);
  if (!members.is_object()) {
    error = "The body is not a JSON object.";
    return false;
  }
  for (const auto& [name, value] : members.object_items()) {
    if (!take_member(name, value, *form, command)) {
      error = "The body's member \"" + name + "\" does not belong to this command.";
      return false;
    }
  }
  const std::string profile = value_of(command.fields, key_profile);
  if (!profile.empty() && !is_profile_name(profile)) {
    error = "The body's member \"profile\" is not a valid profile name.";
    return false;
  }
  if (form->takes_id && command.id.empty()) {
    error = "The body does not name a job.";
    return false;
  }
  return true;
}

page_answer run_page_command(vod_service& service, const page_command& command,
                             std::uint64_t deadline_us) {
  if (command.word == command_add) { return add(service, command.fields, deadline_us); }
  if (command.word == command_modify) { return modify(service, command, deadline_us); }
  return answer_of(service.request(command.word, {{key_entry_id, command.id}}), command.id);
}
