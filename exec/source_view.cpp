#include "exec/source_view.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string_view>
#include <utility>
#include <vector>

#include <sys/stat.h>

#include "exec/readiness.h"
#include "platform/clock.h"
#include "platform/limited_look.h"
#include "platform/metadata_v4.h"
#include "queue/process_state.h"
#include "queue/queue_item.h"
#include "rules/texts.h"

// Everything that a step can ask about a source.
struct source_view::survey {
  std::string refusal;
  file_identity file;
  int file_error = 0;
  bool is_regular_file = false;
  std::uint64_t size = 0;
  std::string real_path;
  bool has_metadata_folder = false;
  int metadata_error = 0;
  std::string metadata;

  std::string encoded() const;
  // False if the text is incomplete.
  bool decode(std::string_view text);
};

namespace {

// How long a step waits before it looks again.
constexpr std::uint64_t look_interval_us = 500000;

// A mount that only takes its time answers the second look.
constexpr unsigned patient_looks = 1;

constexpr std::size_t survey_fields = 13;

struct free_deleter {
  void operator()(char* text) const { free(text); }
};

std::vector<std::string> split(std::string_view text) {
  std::vector<std::string> fields;
  for (std::size_t end = 0; (end = text.find('\0')) != std::string_view::npos;) {
    fields.emplace_back(text.substr(0, end));
    text.remove_prefix(end + 1);
  }
  return fields;
}

int find_file(const std::string& path, struct stat& status) {
  return lstat(path.c_str(), &status) == 0 ? 0 : errno;
}

std::string path_without_links(const std::string& path) {
  const std::unique_ptr<char, free_deleter> real(realpath(path.c_str(), nullptr));
  return real ? real.get() : "";
}

bool is_folder(const char* path) {
  struct stat status {};
  return lstat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

// Several looks of one step, or of two that follow at once, count as one.
void count_missed_look(QueueItem& item, const mount_point& mount) {
  const std::uint64_t now = monotonic_clock_us();
  const bool is_reported = is_reported_silent(mount);
  if (!is_reported && item.missed_source_looks != 0 && now < item.next_source_look) { return; }
  item.missed_source_looks = (is_reported ? patient_looks : item.missed_source_looks) + 1;
  item.next_source_look = now + look_interval_us;
}

}  // namespace

// No field can contain a NUL byte.
std::string source_view::survey::encoded() const {
  std::string text;
  for (const std::string& field :
       {refusal, std::to_string(file_error), std::to_string(static_cast<int>(is_regular_file)),
        std::to_string(size), real_path, std::to_string(static_cast<int>(has_metadata_folder)),
        std::to_string(metadata_error), metadata, std::to_string(file.device),
        std::to_string(file.inode), std::to_string(file.size), std::to_string(file.modified.tv_sec),
        std::to_string(file.modified.tv_nsec)}) {
    text.append(field).append(1, '\0');
  }
  return text;
}

bool source_view::survey::decode(std::string_view text) {
  std::vector<std::string> fields = split(text);
  if (fields.size() != survey_fields) { return false; }
  refusal = std::move(fields[0]);
  file_error = atoi(fields[1].c_str());
  is_regular_file = fields[2] == "1";
  size = strtoull(fields[3].c_str(), nullptr, 10);
  real_path = std::move(fields[4]);
  has_metadata_folder = fields[5] == "1";
  metadata_error = atoi(fields[6].c_str());
  metadata = std::move(fields[7]);
  file.device = strtoull(fields[8].c_str(), nullptr, 10);
  file.inode = strtoull(fields[9].c_str(), nullptr, 10);
  file.size = strtoll(fields[10].c_str(), nullptr, 10);
  file.modified.tv_sec = strtoll(fields[11].c_str(), nullptr, 10);
  file.modified.tv_nsec = strtol(fields[12].c_str(), nullptr, 10);
  return true;
}

source_view::source_view(QueueItem& item) : item_(item) {}
source_view::~source_view() = default;

// In the helper, on its copy of the item.
source_view::survey source_view::look_at_all(QueueItem& item) {
  source_view direct(item);
  survey found;
  found.refusal = direct.refusal(found.file);
  found.file_error = direct.file_error();
  found.is_regular_file = direct.is_regular_file(found.size, found.real_path);
  char folder[PATH_MAX];
  found.has_metadata_folder =
      metadata_v4_file_to_metadir(item.input_file.c_str(), folder, sizeof(folder)) >= 0 &&
      direct.has_metadata_folder(folder);
  if (direct.load_metadata()) {
    found.metadata = metadata_v4_metadata_context_to_text(item.input_meta.entries);
  } else {
    found.metadata_error = errno;
  }
  return found;
}

std::optional<std::string> source_view::ask(const mount_point& mount) {
  shared_look* const shared = shared_look::current;
  if (shared != nullptr && shared->source_ == item_.input_file) { return shared->answer_; }
  auto answer =
      look_within_limit(mount, item_.input_file, [this] { return look_at_all(item_).encoded(); });
  if (shared != nullptr) {
    shared->source_ = item_.input_file;
    shared->answer_ = answer;
  }
  return answer;
}

bool source_view::look() {
  const auto mount = foreign_mount_of(current_mounts(), item_.input_file);
  item_.source_silent = mount.has_value();
  if (mount && look_budget::is_used_up()) {
    item_.next_source_look = monotonic_clock_us();
    trigger_early_turn();
    return false;
  }
  if (mount && !find_answer(*mount)) {
    count_missed_look(item_, *mount);
    return false;
  }
  item_.source_silent = false;
  item_.missed_source_looks = 0;
  return true;
}

bool source_view::find_answer(const mount_point& mount) {
  const auto answer = ask(mount);
  survey_ = std::make_unique<survey>();
  return answer && survey_->decode(*answer);
}

std::string source_view::refusal(file_identity& file) {
  if (!survey_) { return refusal_of_source(item_, file); }
  file = survey_->file;
  return survey_->refusal;
}

int source_view::file_error() const {
  struct stat status {};
  return survey_ ? survey_->file_error : find_file(item_.input_file, status);
}

bool source_view::is_missing() const {
  return survey_ ? item_.input_file.empty() || survey_->file_error == ENOENT
                 : item_.input_file_not_exist();
}

bool source_view::is_regular_file(std::uint64_t& size, std::string& real_path) const {
  if (survey_) {
    size = survey_->size;
    real_path = survey_->real_path;
    return survey_->is_regular_file;
  }
  struct stat status {};
  if (find_file(item_.input_file, status) != 0 || !S_ISREG(status.st_mode)) { return false; }
  size = static_cast<std::uint64_t>(status.st_size);
  real_path = path_without_links(item_.input_file);
  return true;
}

bool source_view::has_metadata_folder(const char* path) const {
  return survey_ ? survey_->has_metadata_folder : is_folder(path);
}

bool source_view::load_metadata() {
  if (!survey_) { return item_.input_meta.load(item_.input_file.c_str()); }
  item_.input_meta.close();
  errno = survey_->metadata_error;
  if (survey_->metadata_error != 0) { return false; }
  item_.input_meta.entries = metadata_v4_metadata_context_create();
  return item_.input_meta.entries != nullptr &&
         metadata_v4_metadata_context_from_text(item_.input_meta.entries, survey_->metadata) >= 0;
}

shared_look* shared_look::current = nullptr;

shared_look::shared_look() {
  current = this;
}

shared_look::~shared_look() {
  current = nullptr;
}

const look_budget* look_budget::current = nullptr;

look_budget::look_budget(std::uint64_t limit_us) : end_us_(duration_of_looks_us() + limit_us) {
  current = this;
}

look_budget::~look_budget() {
  current = nullptr;
}

bool look_budget::is_used_up() {
  return current != nullptr && duration_of_looks_us() >= current->end_us_;
}

void wait_for_source(QueueItem& item) {
  if (item.paused || item.missed_source_looks <= patient_looks ||
      item.state_message == text_source_silent) {
    return;
  }
  item.text_before_silence = std::exchange(item.state_message, text_source_silent);
  item.fileops_write_status();
}
