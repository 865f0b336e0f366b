// Reads the page's commands and passes them on.
#include "tools/vod_cgi/page_command.h"

#include <algorithm>
#include <chrono>

#include "platform/clock.h"
#include "platform/forbidden_area.h"
#include "rules/control_words.h"
#include "rules/json_keys.h"
#include "rules/source_rules.h"
#include "tools/client/offered_profiles.h"
#include "tools/vod_cgi/job_view.h"

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

struct service_answer {
  comm_client_result result = comm_client_result::malformed;
  comm_socket_v4_packet reply;

  bool accepted() const { return result == comm_client_result::ok && reply.result_code == 0; }
};

service_answer ask(comm_client_v4& client, const std::string& word, job_fields pairs,
                   std::uint64_t deadline_us) {
  comm_socket_v4_packet request;
  request.flags = comm_socket_v4_flag_want_reply;
  request.words = {word};
  request.nv_pairs = std::move(pairs);
  service_answer answer;
  answer.result = client.request(request, answer.reply, deadline_us);
  return answer;
}

page_answer answer_of(const service_answer& answer, const std::string& id) {
  if (answer.result != comm_client_result::ok) { return page_failure(answer.result); }
  if (answer.accepted()) { return {200, json11::Json::object{{"id", id}}}; }
  const std::string status = answer.reply.words.size() > 1 ? answer.reply.words[1] : "";
  std::string error;
  const json11::Json job = json11::Json::parse(answer.reply.data, error);
  return page_refusal(status == status_not_found ? 404 : 409, status, job[key_text].string_value());
}

// Takes a job that was refused out of the queue again. Its source must survive that: removing a job
// that was to delete its source deletes it.
void take_back(comm_client_v4& client, const std::string& id, std::uint64_t deadline_us) {
  const auto kept =
      ask(client, command_modify, {{key_entry_id, id}, {key_delete_on_finish, "0"}}, deadline_us);
  if (kept.accepted()) { ask(client, command_remove, {{key_entry_id, id}}, deadline_us); }
}

std::string value_of(const job_fields& fields, const char* name) {
  const auto found = std::find_if(fields.begin(), fields.end(),
                                  [&](const auto& field) { return field.first == name; });
  return found == fields.end() ? "" : found->second;
}

// Half of the time that is left; the service has the other half. No file is looked into that the
// service would not look into.
std::vector<std::string> list_profiles(const std::string& file, std::uint64_t deadline_us) {
  const std::uint64_t now_us = monotonic_clock_us();
  const bool is_allowed =
      !file.empty() &&
      (cgi_velmar_forbidden_area(file.c_str(), source_path_flags) & source_path_forbidden) == 0;
  if (!is_allowed || now_us >= deadline_us) { return {}; }
  return offered_profiles(file, std::chrono::milliseconds((deadline_us - now_us) / 2000 + 1));
}

// Why the source cannot be made into that profile; empty where it can, and where only the service
// can tell. `listed` is what the service knows already.
std::string profile_problem(const std::string& profile, const std::string& file,
                            const std::vector<std::string>& listed, std::uint64_t deadline_us) {
  if (profile.empty()) { return ""; }
  return profile_refusal(profile, listed.empty() ? list_profiles(file, deadline_us) : listed);
}

page_answer unknown_profile(const std::string& problem) {
  return page_refusal(409, "no such profile", "The VOD cannot be made: " + problem + ".");
}

page_answer modify(comm_client_v4& client, const page_command& command, std::uint64_t deadline_us) {
  job_fields pairs = {{key_entry_id, command.id}};
  const std::string profile = value_of(command.fields, key_profile);
  if (!profile.empty()) {
    const auto shown = ask(client, command_list, pairs, deadline_us);
    if (!shown.accepted()) { return answer_of(shown, command.id); }
    std::string error;
    const auto job = read_job(json11::Json::parse(shown.reply.data, error), 0);
    const std::string problem =
        job ? profile_problem(profile, job->file, job->profiles, deadline_us) : "";
    if (!problem.empty()) { return unknown_profile(problem); }
  }
  pairs.insert(pairs.end(), command.fields.begin(), command.fields.end());
  return answer_of(ask(client, command_modify, pairs, deadline_us), command.id);
}

// Adding and making ready are two requests, so that a refusal comes with its reason.
page_answer add(comm_client_v4& client, const job_fields& fields, std::uint64_t deadline_us) {
  const std::string problem = profile_problem(value_of(fields, key_profile),
                                              value_of(fields, key_input_file), {}, deadline_us);
  if (!problem.empty()) { return unknown_profile(problem); }
  const auto added = ask(client, command_add, fields, deadline_us);
  std::string id;
  for (const auto& [name, value] : added.reply.nv_pairs) {
    id = name == key_entry_id ? value : id;
  }
  if (!added.accepted()) { return answer_of(added, id); }
  const auto ready = ask(client, command_ready, {{key_entry_id, id}}, deadline_us);
  if (ready.result == comm_client_result::ok && !ready.accepted()) {
    take_back(client, id, deadline_us);
  }
  return answer_of(ready, id);
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
  const json11::Json members = json11::Json::parse(body, error);
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

page_answer run_page_command(comm_client_v4& client, const page_command& command,
                             std::uint64_t deadline_us) {
  if (command.word == command_add) { return add(client, command.fields, deadline_us); }
  if (command.word == command_modify) { return modify(client, command, deadline_us); }
  return answer_of(ask(client, command.word, {{key_entry_id, command.id}}, deadline_us),
                   command.id);
}
