#include "tests/tools/qx_vod_ctl/machine.h"

#include <csignal>

#include <sys/stat.h>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include "tests/support/wait_until.h"

using namespace qx_test;

namespace {

constexpr const char* client_path = "/usr/bin/qx_vod_ctl";

std::vector<std::string> joined(std::vector<std::string> first,
                                const std::vector<std::string>& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

json11::Json cancelled_item(const std::string& id) {
  return json11::Json::object{{"entry id", id},
                              {"input file", "/mnt/media/clip.mpg"},
                              {"output file", ""},
                              {"transcode state", "cancelled"},
                              {"state", "Cancelled by user"}};
}

}  // namespace

running_client::running_client(const private_root& root, const std::vector<std::string>& arguments)
    : out_path_(root.scratch("client.out")), err_path_(root.scratch("client.err")) {
  spawn_options options;
  options.stdout_path = out_path_;
  options.stderr_path = err_path_;
  pid_ = root.spawn(joined({client_path}, arguments), options);
}

bool running_client::wait_for_stdout(const std::string& text) const {
  return wait_until([&] { return read_file(out_path_).find(text) != std::string::npos; });
}

bool running_client::wait_for_stderr(const std::string& text) const {
  return wait_until([&] { return read_file(err_path_).find(text) != std::string::npos; });
}

run_result running_client::finish() const {
  int status = 0;
  const bool ended = wait_until([&] { return waitpid(pid_, &status, WNOHANG) == pid_; });
  EXPECT_TRUE(ended) << "the client did not end";
  if (!ended) {
    kill(pid_, SIGKILL);
    waitpid(pid_, &status, 0);
  }
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read_file(out_path_), read_file(err_path_)};
}

run_result ctl_machine::ctl(const std::vector<std::string>& arguments) const {
  return root.run(joined({client_path}, arguments));
}

run_result ctl_machine::ctl_in(const std::string& folder,
                               const std::vector<std::string>& arguments) const {
  return root.run(joined({"/usr/bin/env", "-C", folder, client_path}, arguments));
}

running_client ctl_machine::start_ctl(const std::vector<std::string>& arguments) const {
  return running_client(root, arguments);
}

std::string ctl_machine::add(const std::string& file) const {
  const auto result = ctl({"add", "--", file});
  EXPECT_EQ(result.status, 0) << result.err;
  return chomped(result.out);
}

std::string ctl_machine::add_done(const std::string& file) const {
  root.write_source(file);
  std::string id = add(file);
  client.wait_for_transcode_state(id, "done");
  return id;
}

std::string ctl_machine::add_transcoding(const std::string& file) {
  root.plan(tool::transcode, tool_plan()
                                 .catch_signal(SIGUSR1)
                                 .catch_signal(SIGUSR2)
                                 .print("Encoding: frame=50/100\n")
                                 .wait("go")
                                 .write("{-o}", "stand-in video\n"));
  root.write_source(file);
  std::string id = add(file);
  client.wait_for_progress(id, 5000);
  return id;
}

void ctl_machine::start_with_items(const std::vector<std::string>& ids) {
  root.write_source("/mnt/media/clip.mpg");
  json11::Json::array list;
  for (const auto& id : ids) {
    list.push_back(cancelled_item(id));
  }
  root.write_queue_file(json11::Json(json11::Json::object{{"list", list}}).dump());
  start();
}

void leave_segments(const private_root& root, const std::string& source) {
  struct stat status = {};
  ASSERT_EQ(stat(root.path(source).c_str(), &status), 0);
  const std::string folder = "/mnt/main/tv/vod/.qx-segments-0123456789abcdef";
  root.write(folder + "/source", std::to_string(status.st_size) + " " +
                                     std::to_string(status.st_mtim.tv_sec) + "." +
                                     std::to_string(status.st_mtim.tv_nsec) + "\n" + source);
  root.write(folder + "/v000000.mp4", std::string(1000, 'v'));
  root.write(folder + "/v000001.mp4", std::string(1000, 'v'));
  ASSERT_EQ(chmod(root.path(folder).c_str(), 0700), 0);
}

std::string chomped(std::string text) {
  if (!text.empty() && text.back() == '\n') { text.pop_back(); }
  return text;
}
