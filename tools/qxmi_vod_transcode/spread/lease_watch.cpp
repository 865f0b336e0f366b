#include "tools/qxmi_vod_transcode/spread/lease_watch.h"

#include <cerrno>

#include "tools/qxmi_vod_transcode/spread/shared_folder.h"
#include "tools/qxmi_vod_transcode/work_folder.h"

namespace {

constexpr std::chrono::seconds lease_term{lease_term_s};

enum class answer { yes, no, unknown };

// A file that is missing, or is in a folder that is, answers as well.
answer of_failure() {
  return errno == ENOENT || errno == ESTALE ? answer::no : answer::unknown;
}

answer has_token(int folder, const std::string& token) {
  task_note note;
  errno = 0;
  if (!read_task_note(folder, note)) { return of_failure(); }
  return note.token == token ? answer::yes : answer::no;
}

answer is_fresh(int folder) {
  const auto age = lease_age(folder, run_folder_name("now"));
  if (!age) { return of_failure(); }
  return *age <= lease_term_s ? answer::yes : answer::no;
}

}  // namespace

bool lease_watch::is_valid(time_point now) {
  answer found = has_token(folder_, token_);
  if (found == answer::yes) { found = is_fresh(folder_); }
  if (found == answer::yes) { last_seen_ = now; }
  is_over_ = found == answer::no || now - last_seen_ > lease_term;
  return found == answer::yes;
}
