#include "tools/qxmi_remote_transcode/upload_folder.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/file_bytes.h"
#include "platform/transcode_settings.h"
#include "platform/unique_fd.h"

namespace {

// Seen with the client's version 3.2.6: it silently cuts longer values in a login file.
constexpr std::size_t longest_value = 121;

bool fail(std::string& error, int cause) {
  error = std::string("no private directory for the upload: ") + std::strerror(cause);
  return false;
}

// A subfolder, so that no name on the server can be that of the login file.
std::string link_folder_of(const std::string& path) {
  return path + "/" + login_link_folder;
}

// Another upload may take a folder for left over before it is locked: then there is a next one.
std::string make_folder(const std::string& place, unique_fd& lock) {
  constexpr int most_tries = 5;
  for (int i = 0; i < most_tries; ++i) {
    std::string path = place + "/" + login_folder_prefix + "XXXXXX";
    if (mkdtemp(path.data()) == nullptr) { return ""; }
    lock = take_login_folder(path);
    if (lock.valid()) { return path; }
    rmdir(path.c_str());
  }
  return "";
}

}  // namespace

upload_folder::~upload_folder() {
  if (path_.empty()) { return; }
  if (!link_.empty()) { unlink(link_.c_str()); }
  unlink(login_path().c_str());
  rmdir(link_folder_of(path_).c_str());
  rmdir(path_.c_str());
}

bool upload_folder::create(std::string& error) {
  remove_left_logins();
  for (const char* place : login_folder_places) {
    path_ = make_folder(place, lock_);
    if (path_.empty()) { continue; }
    return mkdir(link_folder_of(path_).c_str(), 0700) == 0 || fail(error, errno);
  }
  return fail(error, errno);
}

bool upload_folder::write_login(const class transcode_settings& settings, std::string& error) {
  std::string text;
  for (const auto& [word, value] :
       {std::pair("host ", &settings.address), std::pair("user ", &settings.user),
        std::pair("pass ", &settings.password)}) {
    if (value->size() > longest_value) {
      error = "a value is too long for the FTP client, at most " + std::to_string(longest_value) +
              " bytes: " + std::string(word);
      return false;
    }
    text.append(word).append(*value).append("\n");
  }
  const unique_fd fd(open(login_path().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  return (fd.valid() && write_all(fd.get(), text)) || fail(error, errno);
}

bool upload_folder::link(const std::string& name, int source, std::string& error) {
  const std::string path = link_folder_of(path_) + "/" + name;
  const std::string target = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(source);
  if (symlink(target.c_str(), path.c_str()) != 0) { return fail(error, errno); }
  link_ = path;
  return true;
}
