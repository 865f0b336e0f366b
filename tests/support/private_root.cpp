// The private root's folder, files, plans and calls; its processes are in private_root_run.cpp.
#include "tests/support/private_root.h"

#include <cstdlib>
#include <filesystem>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/keeper.h"
#include "tests/support/wait_until.h"

namespace qx_test {

namespace {

namespace fs = std::filesystem;

constexpr const char* tool_programs[] = {"qxmi_vod_transcode",
                                         "qxmi_startitem",
                                         "qxmi_grab",
                                         "qxmi_remote_transcode",
                                         "curl",
                                         "wget",
                                         "rm",
                                         "ncftpput"};

// Always under /tmp, whatever TMPDIR says: the control socket's path must stay short.
std::string make_temporary_folder() {
  char name[] = "/tmp/qx.XXXXXX";
  const char* made = mkdtemp(name);
  EXPECT_NE(made, nullptr) << "cannot make a folder in /tmp";
  return made == nullptr ? "/nonexistent" : made;
}

// A hard link if the file systems allow it: these programs can be large, and there are many tests.
void link_or_copy(const fs::path& from, const fs::path& to) {
  std::error_code error;
  fs::create_hard_link(from, to, error);
  if (error) { fs::copy_file(from, to, error); }
  EXPECT_FALSE(error) << "cannot put " << from << " in place: " << error.message();
}

void install_stand_ins(const std::string& folder) {
  for (const char* program : tool_programs) {
    link_or_copy(QX_STAND_IN_TOOL, folder + "/" + program);
  }
}

fs::path folder_of_programs() {
  const char* const other = std::getenv("QX_PROGRAMS");
  return other != nullptr ? other : QX_BIN_FOLDER;
}

// The project's own tools; others (curl, rm, ffmpeg) come from the machine anyway. They are copied
// because a linker may rewrite a program in place, and tools running from it would crash.
void install_built_tools(const std::string& folder) {
  for (const char* program : tool_programs) {
    const fs::path built = built_program(program);
    if (!fs::exists(built)) { continue; }
    std::error_code error;
    fs::copy_file(built, folder + "/" + program, error);
    EXPECT_FALSE(error) << "cannot copy " << built << ": " << error.message();
  }
}

void write_default_plans(const private_root& root) {
  root.plan(tool::quote, tool_plan().print("*QUOTE\n.. 1080\n.. 720\n.. 480\n"));
  root.plan(tool::transcode, tool_plan()
                                 .catch_signal(SIGUSR1)
                                 .catch_signal(SIGUSR2)
                                 .print("Encoding: frame=50/100\n")
                                 .write("{-o}", "stand-in video\n")
                                 .print("Encoding: frame=100/100\n"));
  root.plan(tool::startitem, tool_plan().metadata("file type=video/mp4\n"));
  root.plan(tool::grab, tool_plan().write("{-o}", "\xff\xd8\xff\xe0 stand-in picture\xff\xd9"));
  root.plan(tool::rm, tool_plan().remove_trees());
  root.plan(tool::curl, tool_plan().read_stdin());
  root.plan(tool::wget, tool_plan().write("{--output-document}", "stand-in video\n"));
}

std::string metadata_file_of(std::string_view media_file) {
  const fs::path file(media_file);
  return file.parent_path() / ("." + file.filename().string() + ".metadata") / "metadata";
}

std::string joined(const name_values& entries) {
  std::string text;
  for (const auto& [name, value] : entries) {
    text.append(name).append("=").append(value).append("\n");
  }
  return text;
}

}  // namespace

std::string built_program(std::string_view name) {
  return folder_of_programs() / name;
}

private_root::private_root(tool_set tools, const script_set& scripts)
    : folder_(make_temporary_folder()) {
  make_folders(tools, scripts);
  start_keeper();
  write_default_plans(*this);
}

// The keeper cannot end while a zombie is left in its namespace, and processes from spawn() have
// this process as their parent.
private_root::~private_root() {
  close(life_fd_);
  for (const pid_t pid : spawned_) {
    waitpid(pid, nullptr, 0);
  }
  if (keeper_ > 0) { waitpid(keeper_, nullptr, 0); }
}

void private_root::make_folders(tool_set tools, const script_set& scripts) {
  std::error_code error;
  for (const char* name :
       {"tools", "mnt/main/tv", "mnt/media", "run/stand_ins/plans", "run/stand_ins/calls",
        "run/stand_ins/triggers", "run/stand_ins/marks"}) {
    fs::create_directories(scratch(name), error);
  }
  chmod(folder_.c_str(), 0755);
  tools == tool_set::stand_ins ? install_stand_ins(scratch("tools"))
                               : install_built_tools(scratch("tools"));
  const fs::path client = built_program("qx_vod_ctl");
  if (fs::exists(client)) { link_or_copy(client, scratch("tools/qx_vod_ctl")); }
  for (const auto& [name, text] : scripts) {
    write_file(scratch("tools/" + name), text);
    chmod(scratch("tools/" + name).c_str(), 0755);
  }
}

void private_root::start_keeper() {
  const auto keeper = qx_test::start_keeper(folder_, std::getenv("QX_KEEP_ROOT") != nullptr);
  keeper_ = keeper.pid;
  life_fd_ = keeper.life_fd;
  ASSERT_EQ(keeper.error, "") << "no private root";
}

std::string private_root::path(std::string_view inside) const {
  return "/proc/" + std::to_string(keeper_) + "/root" + std::string(inside);
}

void private_root::write(std::string_view inside, std::string_view content) const {
  write_file(path(inside), content);
}

std::string private_root::read(std::string_view inside) const {
  return read_file(path(inside));
}

bool private_root::exists(std::string_view inside) const {
  return qx_test::exists(path(inside));
}

void private_root::write_source(std::string_view inside, std::string_view file_type) const {
  write(inside, "stand-in source\n");
  if (!file_type.empty()) { write_metadata(inside, {{"file type", std::string(file_type)}}); }
}

void private_root::write_metadata(std::string_view media_file, const name_values& entries) const {
  write(metadata_file_of(media_file), joined(entries));
}

void private_root::write_config(const name_values& entries) const {
  write("/mnt/main/tv/vod.conf", joined(entries));
}

void private_root::write_queue_file(std::string_view json) const {
  write("/mnt/main/tv/vod.queue.js", json);
}

std::string private_root::queue_file() const {
  return read("/mnt/main/tv/vod.queue.js");
}

// The service rewrites the file in place, so a reader may see it half written: it is read again
// until its last line is there, or until any write would have finished.
std::map<std::string, std::string> private_root::job_status(int job_id) const {
  const std::string file = "/mnt/main/tv/fileops/jobs/" + std::to_string(job_id) + "/status";
  std::map<std::string, std::string> entries;
  const auto is_whole = [&] {
    entries.clear();
    for (const auto& line : lines_of(read(file))) {
      const auto equals = line.find('=');
      if (equals != std::string::npos) {
        entries[line.substr(0, equals)] = line.substr(equals + 1);
      }
    }
    return !exists(file) || entries.count("entry id") != 0;
  };
  wait_until(is_whole, std::chrono::seconds(1));
  return entries;
}

void private_root::plan(std::string_view tool_name, const tool_plan& what) const {
  write_file(scratch("run/stand_ins/plans/" + std::string(tool_name)), what.text());
}

void private_root::plan_call(std::string_view tool_name, int number, const tool_plan& what) const {
  plan(std::string(tool_name) + "#" + std::to_string(number), what);
}

void private_root::release(std::string_view name) const {
  write_file(scratch("run/stand_ins/triggers/" + std::string(name)), "");
}

bool private_root::wait_for_mark(std::string_view name) const {
  const std::string mark = scratch("run/stand_ins/marks/" + std::string(name));
  return wait_until([&] { return qx_test::exists(mark); });
}

std::vector<tool_call> private_root::calls(std::string_view tool_name) const {
  return read_tool_calls(scratch("run/stand_ins/calls"), tool_name);
}

tool_call private_root::wait_for_call(std::string_view tool_name, int number) const {
  tool_call found;
  const bool came = wait_until([&] {
    for (const auto& call : calls(tool_name)) {
      if (call.number == number) { found = call; }
    }
    return found.number == number;
  });
  EXPECT_TRUE(came) << "no run " << number << " of " << tool_name;
  return found;
}

void private_root::break_tool(std::string_view program) const {
  const std::string file = "/usr/bin/" + std::string(program);
  EXPECT_EQ(run_inside([&] { return mount("/dev/null", file.c_str(), nullptr, MS_BIND, nullptr); }),
            0);
}

void private_root::mount_small_disk(std::string_view inside, unsigned long bytes) const {
  const std::string folder(inside);
  const std::string options = "mode=0777,size=" + std::to_string(bytes);
  std::error_code error;
  fs::create_directories(path(inside), error);
  EXPECT_EQ(run_inside([&] { return mount("tmpfs", folder.c_str(), "tmpfs", 0, options.c_str()); }),
            0);
}

}  // namespace qx_test
