// A transcoder whose service is killed right before the result gets its name.
#include <csignal>
#include <filesystem>
#include <fstream>

#include <sys/mount.h>

#include <gtest/gtest.h>

#include "tests/support/checkpoint/stepped_tool.h"
#include "tests/support/media/test_media.h"
#include "tests/support/test_machine.h"
#include "tests/support/wait_until.h"

using namespace qx_test;

namespace {

namespace fs = std::filesystem;

constexpr char film[] = "/mnt/media/film.mp4";
constexpr char outputs[] = "/mnt/main/tv/vod";
constexpr char transcoder[] = "/usr/bin/qxmi_vod_transcode";

class orphaned_tool : public testing::Test {
protected:
  void SetUp() override {
    fs::copy_file(test_media("progressive.mp4"), machine_.root.path(film));
    // Less to do, and not only when the machine has nothing else to do.
    machine_.root.write_metadata(film, {{"file type", "video/mp4"}});
    machine_.root.write_config({{"fullspeed", "1"}});
    put_stepped_tool_in_place();
    tool_.stop_at_flush();
    machine_.start();
    machine_.client.add_ready(film);
    tool_pid_ = machine_.root.outer_pid(tool_.stopped());
    ASSERT_TRUE(wait_until([&] { return process_state(tool_pid_) == 'T'; }));
  }
  void continue_tool() const { ASSERT_EQ(kill(tool_pid_, SIGCONT), 0); }
  bool tool_has_ended() const {
    const char state = process_state(tool_pid_);
    return state == '\0' || state == 'Z';
  }
  // Hidden ones as well.
  std::vector<std::string> files_of_outputs() const {
    std::vector<std::string> files;
    for (const auto& entry : fs::directory_iterator(machine_.root.path(outputs))) {
      if (!entry.is_directory()) { files.push_back(entry.path().filename()); }
    }
    return files;
  }

  test_machine machine_{tool_set::built};
  stepped_tool tool_;
  pid_t tool_pid_ = -1;

private:
  // The service gives its tools an environment of their own, and a priority at which they starve on
  // a crowded machine.
  void put_stepped_tool_in_place() const {
    const std::string script = machine_.root.scratch("stepped");
    std::string text = "#!/bin/sh\nexec nice -n -19 env";
    for (const std::string& entry : tool_.environment()) {
      text += " '" + entry + "'";
    }
    std::ofstream(script) << text << " '" << built_program("qxmi_vod_transcode") << "' \"$@\"\n";
    fs::permissions(script, fs::perms::owner_all);
    const auto put = [&] {
      return mount(script.c_str(), transcoder, nullptr, MS_BIND, nullptr) == 0 ? 0 : 1;
    };
    ASSERT_EQ(machine_.root.run_inside(put), 0);
  }
};

}  // namespace

TEST_F(orphaned_tool, gives_its_result_no_name) {
  machine_.service.kill();
  continue_tool();
  EXPECT_TRUE(wait_until([&] { return tool_has_ended(); }));
  EXPECT_EQ(files_of_outputs(), std::vector<std::string>());
}

TEST_F(orphaned_tool, would_have_named_its_result_if_the_service_had_lived) {
  const std::vector<std::string> unfinished = files_of_outputs();
  ASSERT_EQ(unfinished.size(), 1U);
  EXPECT_EQ(unfinished[0][0], '.');
  continue_tool();
  EXPECT_TRUE(wait_until([&] {
    const std::vector<std::string> files = files_of_outputs();
    return files.size() == 1 && files[0][0] != '.';
  }));
}
