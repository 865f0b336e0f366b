#include "tests/support/stand_in/call_record.h"

#include <cstring>
#include <ctime>
#include <filesystem>
#include <sstream>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/stand_in/own_files.h"

namespace qx_test {

namespace {

namespace fs = std::filesystem;

// The remote command of a request: the text after "vc=" in the URL.
std::string request_command(const std::string& address) {
  const auto at = address.find("&vc=");
  if (at == std::string::npos) { return ""; }
  return "." + address.substr(at + 4, address.find('&', at + 4) - (at + 4));
}

// One more than the highest existing number, even if other runs do the same at the same time.
void make_record_folder(call_record& record) {
  const std::string prefix = std::string(stand_in_folder) + "/calls/" + record.name + ".";
  do {
    record.folder = prefix + std::to_string(++record.number);
  } while (mkdir(record.folder.c_str(), 0777) != 0 && errno == EEXIST);
}

std::string joined_with_nul(char** texts) {
  std::string all;
  for (; *texts != nullptr; ++texts) {
    all.append(*texts).push_back('\0');
  }
  return all;
}

void note_descriptors(std::ostream& info) {
  // Listed first, because the iteration itself holds a descriptor that is closed by the time it is
  // examined.
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code error;
    const auto target = fs::read_symlink(entry.path(), error).string();
    if (target.find("/fd") == target.size() - 3 && target.rfind("/proc/", 0) == 0) { continue; }
    info << "fd " << entry.path().filename().string() << ' ' << target << '\n';
  }
}

unsigned long long monotonic_us() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<unsigned long long>(now.tv_sec) * 1000000 +
         static_cast<unsigned long long>(now.tv_nsec) / 1000;
}

unsigned current_umask() {
  const mode_t mask = umask(0);
  umask(mask);
  return mask;
}

}  // namespace

std::string tool_name(int argc, char** argv) {
  std::string program = fs::path(argv[0]).filename();
  if (program == "curl") { return program + request_command(argv[argc - 1]); }
  if (program == "qxmi_startitem") { return "startitem"; }
  if (program == "qxmi_grab") { return "grab"; }
  if (program == "qxmi_remote_transcode") { return "upload"; }
  if (program != "qxmi_vod_transcode") { return program; }
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--quote") == 0) { return "quote"; }
  }
  return "transcode";
}

call_record record_call(int argc, char** argv, char** environment) {
  std::ostringstream info;
  note_descriptors(info);
  info << "pid " << getpid() << "\ngroup " << getpgid(0) << "\nsession " << getsid(0);
  info << "\nnice " << getpriority(PRIO_PROCESS, 0) << "\numask " << current_umask();
  info << "\ntime " << monotonic_us() << '\n';

  call_record record;
  record.name = tool_name(argc, argv);
  make_record_folder(record);
  write_whole(record.file("argv"), joined_with_nul(argv));
  write_whole(record.file("environment"), joined_with_nul(environment));
  write_whole(record.file("info"), info.str());
  return record;
}

}  // namespace qx_test
