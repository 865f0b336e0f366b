#include "tests/tools/qxmi_remote_transcode/machine.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include <arpa/inet.h>
#include <net/if.h>
#include <sched.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/wait_until.h"

namespace qx_test {
namespace {

namespace fs = std::filesystem;

constexpr const char* server_path = "/usr/sbin/vsftpd";
constexpr const char* server_log_path = "/run/server.log";

// Its second field is crypt(3) of "secret".
constexpr const char* shadow_line =
    "vod:$6$qxtests$qj40FH4JDjH3MdMKPLldugT.lpFQBKfoHqaabtcd.e5u0FzF."
    "V0teDz1bBE1jxMJgx2Op22fujFCrOqdh0GD/0:19000:0:99999:7:::\n";

bool bring_up_loopback() {
  const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  ifreq request = {};
  std::strcpy(request.ifr_name, "lo");
  request.ifr_flags = IFF_UP;
  const bool up = fd >= 0 && ioctl(fd, SIOCSIFFLAGS, &request) == 0;
  close(fd);
  return up;
}

void write_server_settings(int rate) {
  std::ofstream("/run/server.conf")
      << "listen=YES\nlisten_address=127.0.0.1\nbackground=NO\nanonymous_enable=NO\n"
      << "local_enable=YES\nwrite_enable=YES\nseccomp_sandbox=NO\nsecure_chroot_dir=/run/empty\n"
      << "xferlog_enable=YES\nxferlog_std_format=NO\nvsftpd_log_file=" << server_log_path << "\n"
      << "local_max_rate=" << rate << "\n";
}

bool server_answers() {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(21);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const bool answers =
      connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  close(fd);
  return answers;
}

}  // namespace

remote_machine::remote_machine() : made_(enter()) {
  if (made_) { fs::create_directories("/mnt/main/tv"); }
}

remote_machine::~remote_machine() {
  stop_server();
  for (auto path = mounted_.rbegin(); path != mounted_.rend(); ++path) {
    umount2(path->c_str(), MNT_DETACH);
  }
}

void remote_machine::stop_server() {
  if (server_ <= 0) { return; }
  kill(-server_, SIGKILL);
  waitpid(server_, nullptr, 0);
  server_ = -1;
}

bool remote_machine::enter() {
  return geteuid() == 0 && unshare(CLONE_NEWNS | CLONE_NEWNET) == 0 &&
         mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mount_in_memory("/mnt") && mount_in_memory("/run") && bring_up_loopback();
}

bool remote_machine::mount_in_memory(const char* path) {
  if (mount("own", path, "tmpfs", 0, "size=64m") != 0) { return false; }
  mounted_.emplace_back(path);
  return true;
}

void remote_machine::mount_file(const std::string& file, const std::string& path) {
  ASSERT_EQ(mount(file.c_str(), path.c_str(), nullptr, MS_BIND, nullptr), 0) << path;
  mounted_.push_back(path);
}

// Adds `line` to the file, in this machine only.
void remote_machine::add_line(const std::string& path, const std::string& line) {
  const std::string own = "/run/" + fs::path(path).filename().string();
  std::ofstream(own) << content(path) << line;
  mount_file(own, path);
}

void remote_machine::make_server_user() {
  add_line("/etc/passwd", "vod:x:4711:4711::/:/bin/sh\n");
  add_line("/etc/group", "vod:x:4711:\n");
  add_line("/etc/shadow", shadow_line);
  EXPECT_EQ(chown("/mnt/main/tv", 4711, 4711), 0);
}

void remote_machine::configure(const std::string& password) const {
  std::ofstream("/mnt/main/tv/vod.conf") << "transcode server address = 127.0.0.1\n"
                                         << "transcode server user = vod\n"
                                         << "transcode server password = " << password << "\n";
}

void remote_machine::replace_client(const std::string& script) {
  std::ofstream("/run/client") << "#!/bin/sh\n" << script << "\n";
  chmod("/run/client", 0755);
  mount_file("/run/client", "/usr/bin/ncftpput");
}

bool remote_machine::start_server(int rate) {
  if (access(server_path, X_OK) != 0) { return false; }
  stop_server();
  write_server_settings(rate);
  if (fs::create_directory("/run/empty")) { make_server_user(); }
  server_ = fork();
  if (server_ == 0) {
    setsid();
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    execl(server_path, "vsftpd", "/run/server.conf", nullptr);
    _exit(255);
  }
  return wait_until(server_answers);
}

std::string remote_machine::server_log() const {
  return content(server_log_path);
}

std::vector<std::string> remote_machine::login_folders() const {
  std::vector<std::string> found;
  for (const fs::directory_entry& entry : fs::directory_iterator("/run")) {
    const std::string path = entry.path();
    if (path.rfind("/run/qx-upload-", 0) == 0) { found.push_back(path); }
  }
  return found;
}

std::string content(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

std::string make_source(std::size_t size) {
  std::mt19937 random(1);
  std::string bytes(size, '\0');
  for (char& byte : bytes) {
    byte = static_cast<char>(random());
  }
  std::string path = "/mnt/a film's 100% " + std::to_string(getpid()) + ".ts";
  std::ofstream(path, std::ios::binary) << bytes;
  return path;
}

}  // namespace qx_test
