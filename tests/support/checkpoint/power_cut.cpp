#include "tests/support/checkpoint/power_cut.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/unique_fd.h"
#include "tests/support/checkpoint/disk_journal.h"

namespace qx_test {

namespace {

namespace fs = std::filesystem;

std::string bytes_of(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

unique_fd opened(const std::string& path) {
  return unique_fd(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
}

std::string identity_of(const std::string& path) {
  const unique_fd file = opened(path);
  return file.valid() ? qx_test::identity_of(file.get()) : std::string();
}

}  // namespace

void power_cut::settle() {
  for (const std::string& name : journal_.names()) {
    fs::remove(journal_.file(name));
  }
  entries_ = 0;
  settle_folder(root_);
}

void power_cut::settle_folder(const std::string& path) {
  for (const fs::directory_entry& entry : fs::directory_iterator(path)) {
    if (entry.is_directory() && !entry.is_symlink()) {
      settle_folder(entry.path());
    } else if (entry.is_regular_file() && !entry.is_symlink()) {
      // A gap in the journal would make every later result worthless.
      if (!add_to_journal(journal_.path(), ++entries_, opened(entry.path()).get())) { abort(); }
    }
  }
  if (!add_to_journal(journal_.path(), ++entries_, opened(path).get())) { abort(); }
}

void power_cut::read_journal() {
  flushed_.clear();
  std::ifstream list(journal_.file(journal_list));
  std::string identity;
  for (long number = 0; list >> identity >> number;) {
    flushed_[identity] = journal_.file(journal_entry(number));
  }
}

void power_cut::find_files(const std::string& path) {
  for (const fs::directory_entry& entry : fs::directory_iterator(path)) {
    present_[identity_of(entry.path())] = entry.path();
    if (entry.is_directory() && !entry.is_symlink()) { find_files(entry.path()); }
  }
}

power_cut::names power_cut::flushed_names(const std::string& identity) const {
  names found;
  const auto entry = flushed_.find(identity);
  std::istringstream lines(entry == flushed_.end() ? "" : bytes_of(entry->second));
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    name_entry each;
    std::string name;
    fields >> each.kind >> each.identity >> std::oct >> each.mode;
    std::getline(fields.ignore(1), name);
    found[name] = each;
  }
  return found;
}

std::string power_cut::content(const std::string& identity) const {
  const auto flushed = flushed_.find(identity);
  const auto present = present_.find(identity);
  const bool is_flushed = flushed != flushed_.end();
  if (present == present_.end() || !survives()) {
    return is_flushed ? bytes_of(flushed->second) : std::string();
  }
  std::string written = bytes_of(present->second);
  if (is_flushed || survives()) { return written; }
  // Its blocks from some place on were reserved, but not written.
  const std::size_t rest = (*choose_)(static_cast<unsigned>(written.size()) + 1);
  std::fill(written.begin() + static_cast<std::ptrdiff_t>(rest), written.end(), '\0');
  return written;
}

void power_cut::restore(const name_entry& entry, const std::string& target) const {
  if (entry.kind == "folder") {
    fs::create_directory(target);
    restore_folder(entry.identity, target);
  } else if (entry.kind == "file") {
    std::ofstream(target, std::ios::binary) << content(entry.identity);
  }
  if (entry.kind != "other") { chmod(target.c_str(), entry.mode); }
}

void power_cut::restore_folder(const std::string& identity, const std::string& target) const {
  const names before = flushed_names(identity);
  names after = before;
  const auto present = present_.find(identity);
  if (present != present_.end()) {
    after.clear();
    for (const fs::directory_entry& each : fs::directory_iterator(present->second)) {
      struct stat status = {};
      lstat(each.path().c_str(), &status);
      const char* const kind = each.is_directory() ? "folder" : "file";
      after[each.path().filename()] = {kind, identity_of(each.path()), status.st_mode & 07777U};
    }
  }
  names all = before;
  all.insert(after.begin(), after.end());
  for (const auto& [name, ignored] : all) {
    const auto old_entry = before.find(name);
    const auto new_entry = after.find(name);
    const bool changed = old_entry == before.end() || new_entry == after.end() ||
                         !(old_entry->second == new_entry->second);
    const bool as_after = changed && survives();
    if (as_after && new_entry != after.end()) { restore(new_entry->second, target + "/" + name); }
    if (!as_after && old_entry != before.end()) { restore(old_entry->second, target + "/" + name); }
  }
}

void power_cut::cut(bool all, const chooser& choose) {
  all_ = all;
  choose_ = &choose;
  read_journal();
  present_.clear();
  const std::string identity = identity_of(root_);
  present_[identity] = root_;
  find_files(root_);
  const std::string held = journal_.file("held");
  fs::create_directory(held);
  restore_folder(identity, held);
  for (const fs::directory_entry& entry : fs::directory_iterator(root_)) {
    fs::remove_all(entry.path());
  }
  for (const fs::directory_entry& entry : fs::directory_iterator(held)) {
    fs::copy(entry.path(), root_ + "/" + entry.path().filename().string(),
             fs::copy_options::recursive);
  }
  fs::remove_all(held);
  settle();
}

}  // namespace qx_test
