#include "platform/mount_table.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <iterator>
#include <sstream>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "platform/file_bytes.h"
#include "platform/unique_fd.h"

namespace {

constexpr std::size_t longest_list = std::size_t{4} << 20;  // bytes
constexpr int most_links = 40;
constexpr int no_parent = -1;

// Types that are not listed are foreign.
constexpr std::string_view local_types[] = {
    "bcachefs", "binfmt_misc", "bpf",      "btrfs",    "cgroup", "cgroup2",    "configfs",
    "debugfs",  "devpts",      "devtmpfs", "efivarfs", "erofs",  "exfat",      "ext2",
    "ext3",     "ext4",        "f2fs",     "fusectl",  "hfs",    "hfsplus",    "iso9660",
    "jfs",      "mqueue",      "msdos",    "nilfs2",   "nsfs",   "ntfs3",      "overlay",
    "proc",     "pstore",      "ramfs",    "reiserfs", "rootfs", "securityfs", "squashfs",
    "sysfs",    "tmpfs",       "tracefs",  "udf",      "ufs",    "vfat",       "xfs",
    "zfs",      "hugetlbfs",   "selinuxfs"};

bool is_local_type(std::string_view type) {
  return std::find(std::begin(local_types), std::end(local_types), type) != std::end(local_types);
}

bool is_octal(std::string_view digits) {
  return digits.size() == 3 &&
         std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '7'; });
}

// The kernel writes a blank, a tab, a line feed and a backslash as three octal digits.
std::string unescaped(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::string_view digits = text.substr(i + 1, 3);
    if (text[i] == '\\' && is_octal(digits)) {
      plain += static_cast<char>((digits[0] - '0') * 64 + (digits[1] - '0') * 8 + digits[2] - '0');
      i += 3;
    } else {
      plain += text[i];
    }
  }
  return plain;
}

// A line such as "36 35 98:0 /part /mnt/point rw,noatime master:1 - ext4 /dev/root rw": the number
// of fields before the dash varies.
std::optional<mount_point> parse_line(const std::string& line) {
  std::istringstream words(line);
  mount_point mount;
  std::string device;
  std::string root;
  std::string path;
  std::string word;
  words >> mount.id >> mount.parent >> device >> root >> path;
  while (words >> word && word != "-") {}
  std::string type;
  if (!(words >> type)) { return std::nullopt; }
  mount.path = path == "/" ? "" : unescaped(path);
  mount.is_local = is_local_type(type);
  return mount;
}

// The topmost mount whose mount point is `path`, a path on the mount `base`; `base` itself if
// nothing is mounted there.
const mount_point* mount_on(const mount_table& mounts, const mount_point* base,
                            std::string_view path) {
  const mount_point* top = base;
  for (std::size_t i = 0; i < mounts.size(); ++i) {
    const mount_point& mount = mounts[i];
    if (mount.path == path && mount.parent == (top == nullptr ? no_parent : top->id)) {
      top = &mount;
      i = static_cast<std::size_t>(-1);  // another one may lie on it, wherever it is listed
    }
  }
  return top;
}

bool is_listed(const mount_table& mounts, int id) {
  return std::any_of(mounts.begin(), mounts.end(),
                     [id](const mount_point& mount) { return mount.id == id; });
}

// Follows a path through the mounts, reading links only after their mount is known to be local.
class mount_walk {
public:
  mount_walk(const mount_table& mounts, std::string path)
      : mounts_(mounts), rest_(std::move(path)) {
    go_to("");
  }

  std::optional<mount_point> find_foreign() {
    while (is_local() && take_component()) {
      if (name_ == ".") { continue; }
      go_to(name_ == ".." ? place_.substr(0, std::min(place_.rfind('/'), place_.size()))
                          : place_ + "/" + name_);
      const bool is_last = rest_.find_first_not_of('/') == std::string::npos;
      if (is_local() && !is_last && name_ != ".." && !follow_link()) { return std::nullopt; }
    }
    return is_local() ? std::nullopt : std::optional<mount_point>(*mount_);
  }

private:
  bool is_local() const { return mount_ == nullptr || mount_->is_local; }

  bool take_component() {
    const std::size_t begin = rest_.find_first_not_of('/');
    if (begin == std::string::npos) { return false; }
    const std::size_t end = std::min(rest_.find('/', begin), rest_.size());
    name_ = rest_.substr(begin, end - begin);
    rest_.erase(0, end);
    return true;
  }

  // The mount is looked up from the root, since ".." and links can lead anywhere.
  void go_to(std::string place) {
    place_ = std::move(place);
    mount_ = mount_on(mounts_, nullptr, "");
    for (std::size_t end = 0; end < place_.size();) {
      end = std::min(place_.find('/', end + 1), place_.size());
      mount_ = mount_on(mounts_, mount_, std::string_view(place_).substr(0, end));
    }
  }

  // False if the path ends here.
  bool follow_link() {
    char target[PATH_MAX];
    const ssize_t length = readlink(place_.c_str(), target, sizeof(target));
    if (length < 0) { return errno == EINVAL; }  // it exists and is not a link
    if (length == 0 || static_cast<std::size_t>(length) >= sizeof(target) ||
        ++links_ > most_links) {
      return false;
    }
    rest_ = std::string(target, static_cast<std::size_t>(length)) + rest_;
    go_to(target[0] == '/' ? "" : place_.substr(0, place_.rfind('/')));
    return true;
  }

  const mount_table& mounts_;
  std::string rest_;
  std::string name_;
  std::string place_;  // without links; "" for the root
  const mount_point* mount_ = nullptr;
  int links_ = 0;
};

// Opened once, because the kernel reports a change only to those that have the file open. A forked
// child opens its own: it may have other mounts, and must not take reports away from its parent.
class mount_list {
public:
  const mount_table& read() {
    if (!file_.valid() || owner_ != getpid()) { open_list(); }
    pollfd change{file_.get(), POLLPRI, 0};
    if (file_.valid() && poll(&change, 1, 0) > 0) { is_stale_ = true; }
    if (file_.valid() && is_stale_) { read_again(); }
    return mounts_;
  }

private:
  void open_list() {
    file_.reset(open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC));
    owner_ = getpid();
    is_stale_ = true;
    mounts_.clear();
  }

  void read_again() {
    std::string text;
    if (lseek(file_.get(), 0, SEEK_SET) == 0 && read_all(file_.get(), longest_list, text)) {
      mounts_ = parse_mounts(text);
      is_stale_ = mounts_.empty();
    }
  }

  unique_fd file_;
  pid_t owner_ = -1;
  bool is_stale_ = true;  // until it has been read: the kernel reports each change once
  mount_table mounts_;
};

}  // namespace

mount_table parse_mounts(std::string_view mountinfo) {
  mount_table mounts;
  std::istringstream lines{std::string(mountinfo)};
  for (std::string line; std::getline(lines, line);) {
    if (auto mount = parse_line(line)) { mounts.push_back(std::move(*mount)); }
  }
  // The parent of the process's root is not in its list, or is that root itself.
  for (mount_point& mount : mounts) {
    if (mount.parent == mount.id || !is_listed(mounts, mount.parent)) { mount.parent = no_parent; }
  }
  return mounts;
}

const mount_table& current_mounts() {
  static mount_list list;
  return list.read();
}

std::optional<mount_point> foreign_mount_of(const mount_table& mounts, const std::string& path) {
  const bool all_local = std::all_of(mounts.begin(), mounts.end(),
                                     [](const mount_point& mount) { return mount.is_local; });
  if (all_local) { return std::nullopt; }
  return mount_walk(mounts, path).find_foreign();
}
