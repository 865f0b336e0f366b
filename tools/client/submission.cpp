#include "tools/client/submission.h"

#include "rules/control_words.h"
#include "rules/json_keys.h"
#include "tools/client/offered_profiles.h"

namespace {

name_values fields_of(const new_job& job) {
  name_values fields;
  if (!job.file.empty()) { fields.emplace_back(key_input_file, job.file); }
  if (!job.profile.empty()) { fields.emplace_back(key_profile, job.profile); }
  if (job.deletes_source) { fields.emplace_back(key_delete_on_finish, "1"); }
  return fields;
}

// The source must survive this: removing an item that was to delete its source deletes it, if the
// refusal cancelled the item.
service_reply take_back(vod_service& service, const new_job& job, const std::string& id) {
  if (job.deletes_source) {
    auto kept = service.request(command_modify, {{key_entry_id, id}, {key_delete_on_finish, "0"}});
    if (!kept.accepted()) { return kept; }
  }
  return service.request(command_remove, {{key_entry_id, id}});
}

}  // namespace

submission submit(vod_service& service, const new_job& job, bool hold) {
  submission made;
  made.reply = service.request(command_add, fields_of(job));
  made.entry_id = made.reply.pair(key_entry_id);
  if (!made.reply.accepted()) { return made; }
  made.end = submission::step::added;
  if (hold) { return made; }
  made.reply = service.request(command_ready, {{key_entry_id, made.entry_id}});
  if (made.reply.exit_status == exit_no_service) {
    made.end = submission::step::not_made_ready;
  } else if (!made.reply.accepted()) {
    made.end = submission::step::refused_at_ready;
    made.taken_back = take_back(service, job, made.entry_id);
  }
  return made;
}

std::string profile_problem(const std::string& profile, const std::string& file,
                            const std::vector<std::string>& listed,
                            std::chrono::milliseconds time_limit) {
  if (profile.empty()) { return ""; }
  return profile_refusal(profile, listed.empty() ? offered_profiles(file, time_limit) : listed);
}
