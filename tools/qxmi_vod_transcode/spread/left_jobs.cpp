#include "tools/qxmi_vod_transcode/spread/left_jobs.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

#include "platform/text.h"
#include "platform/unique_fd.h"
#include "tools/job_log/job_log.h"
#include "tools/job_log/job_spread.h"
#include "tools/media/segment_folder.h"
#include "tools/qxmi_vod_transcode/spread/shared_folder.h"
#include "tools/qxmi_vod_transcode/spread/slurm_client.h"
#include "tools/qxmi_vod_transcode/spread/slurm_jobs.h"
#include "tools/qxmi_vod_transcode/work_folder.h"

namespace {

bool is_plain(char one) {
  return std::isalnum(static_cast<unsigned char>(one)) != 0 || one == '/' || one == '-' ||
         one == '.' || one == '_';
}

// All other bytes as two hexadecimal digits, with a plus sign before them.
std::string plain(const std::string& text) {
  constexpr const char* digits = "0123456789abcdef";
  std::string word;
  for (const char one : text) {
    const auto byte = static_cast<unsigned char>(one);
    word += is_plain(one) ? std::string(1, one)
                          : std::string({'+', digits[byte / 16], digits[byte % 16]});
  }
  return word;
}

std::string from_plain(std::string_view word) {
  std::string text;
  for (std::size_t i = 0; i < word.size(); ++i) {
    if (word[i] != '+' || i + 2 >= word.size()) {
      text += word[i];
      continue;
    }
    const std::string digits(word.substr(i + 1, 2));
    text += static_cast<char>(std::strtol(digits.c_str(), nullptr, 16));
    i += 2;
  }
  return text;
}

// A tool that needs no more of its tasks removes the lease. Whatever cannot be found out is no
// reason to cancel.
bool has_lost_its_tool(const std::string& folder) {
  const unique_fd fd(open_segment_folder(AT_FDCWD, folder));
  if (!fd.valid()) { return errno == ENOENT; }
  const auto age = lease_age(fd.get(), run_folder_name("look"));
  return age ? *age > lease_term_s : errno == ENOENT;
}

}  // namespace

std::string comment_for(const std::string& folder) {
  return plain(own_machine()) + ":" + plain(folder);
}

std::vector<std::int64_t> left_jobs(std::string_view listing, const std::string& own) {
  const std::string machine = plain(own_machine()) + ":";
  std::vector<std::int64_t> left;
  for (const commented_job& job : read_commented_jobs(listing)) {
    const bool is_ours =
        begins_with(job.name, job_name_prefix) && begins_with(job.comment, machine + "/");
    const bool is_known = std::find(left.begin(), left.end(), job.number) != left.end();
    if (!is_ours || is_known || job.name == own) { continue; }
    if (has_lost_its_tool(from_plain(job.comment.substr(machine.size())))) {
      left.push_back(job.number);
    }
  }
  return left;
}

void cancel_left_jobs(const std::string& own) {
  slurm_call listing;
  listing.start(comment_listing(), answer_limit);
  if (!ended_before_stop(listing) || !listing.success()) { return; }
  const std::vector<std::int64_t> left = left_jobs(listing.output(), own);
  if (left.empty()) { return; }
  log_note(cluster_note, "cancels " + std::to_string(left.size()) + " jobs whose tool has gone");
  start_detached(cancel_command(left));
}
