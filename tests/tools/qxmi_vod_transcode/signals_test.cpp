// The transcoder under the signals of the service, which reach its whole process group.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/media/media_check.h"
#include "tests/support/media/test_media.h"
#include "tests/support/media/tool_run.h"
#include "tests/support/wait_until.h"

using namespace qx_test;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using clock_type = std::chrono::steady_clock;

// Two minutes of film, encoded with little of the machine, so that no test meets its end.
class transcode_signals : public testing::Test {
protected:
  std::vector<std::string> arguments(const std::string& priority, const std::string& cap) const {
    return {"-d", priority, "--cpu-cap", cap,    "--profile", "180",
            "-f", "mp4",    "-o",        output, "--file",    test_media("long.mp4")};
  }

  // The working encoder: it has reported progress.
  static pid_t working_engine(const tool_run& run) {
    const pid_t engine = run.engine();
    EXPECT_TRUE(wait_until([&] { return last_frame(run) > 0; }));
    return engine;
  }

  static long last_frame(const tool_run& run) {
    const std::string text = run.output();
    const std::size_t at = text.rfind("frame=");
    return at == std::string::npos ? 0 : std::stol(text.substr(at + 6));
  }

  static bool gone(pid_t pid) {
    const char state = process_state(pid);
    return state == '\0' || state == 'Z';
  }

  scratch_folder folder;
  std::string output = folder.file("out.mp4");
};

// A settings file for the tools that this process starts.
class given_settings {
public:
  given_settings(const scratch_folder& folder, const std::string& text) {
    std::ofstream(folder.file("media.conf")) << text;
    setenv("QX_MEDIA_CONF", folder.file("media.conf").c_str(), 1);
  }
  ~given_settings() { unsetenv("QX_MEDIA_CONF"); }
  given_settings(const given_settings&) = delete;
  given_settings& operator=(const given_settings&) = delete;
};

}  // namespace

TEST_F(transcode_signals, suspending_stops_the_encoder_s_processor_time) {
  tool_run run("qxmi_vod_transcode", arguments("0", "20"));
  const pid_t engine = working_engine(run);
  run.signal_group(SIGUSR1);
  std::this_thread::sleep_for(200ms);  // the time it may take
  const double then = cpu_seconds(engine);
  // A processor cap continues its encoder every 50 ms; a suspended one must remain suspended.
  EXPECT_FALSE(wait_until([&] { return process_state(engine) != 'T'; }, 700ms));
  EXPECT_DOUBLE_EQ(cpu_seconds(engine), then);
}

TEST_F(transcode_signals, a_suspended_encoder_reports_no_progress) {
  tool_run run("qxmi_vod_transcode", arguments("0", "20"));
  working_engine(run);
  run.signal_group(SIGUSR1);
  std::this_thread::sleep_for(200ms);  // the time it may take
  const std::string before = run.output();
  EXPECT_FALSE(wait_until([&] { return run.output() != before; }, 700ms));
}

TEST_F(transcode_signals, continuing_resumes_the_encoder) {
  tool_run run("qxmi_vod_transcode", arguments("0", "20"));
  working_engine(run);
  run.signal_group(SIGUSR1);
  std::this_thread::sleep_for(200ms);  // the time it may take
  const long before = last_frame(run);
  run.signal_group(SIGUSR2);
  EXPECT_TRUE(wait_until([&] { return last_frame(run) > before; }));
}

TEST_F(transcode_signals, a_transcode_that_was_suspended_succeeds) {
  std::vector<std::string> words = arguments("0", "0");
  std::replace(words.begin(), words.end(), std::string("180"), std::string("240"));
  words.back() = test_media("progressive.mp4");
  tool_run run("qxmi_vod_transcode", words);
  const pid_t engine = run.engine();
  run.signal_group(SIGUSR1);
  EXPECT_TRUE(wait_until([&] { return process_state(engine) == 'T' || gone(engine); }));
  run.signal_group(SIGUSR2);
  EXPECT_EQ(run.wait().status, 0) << run.errors();
  EXPECT_NEAR(number(inspect(output)["format"]["duration"]), 4.0, 0.1);
}

TEST_F(transcode_signals, terminating_ends_within_a_second_and_leaves_nothing) {
  tool_run run("qxmi_vod_transcode", arguments("7", "20"));
  const pid_t engine = working_engine(run);
  const auto begin = clock_type::now();
  run.signal_group(SIGTERM);
  EXPECT_EQ(run.wait().signal, SIGTERM);
  EXPECT_LT(clock_type::now() - begin, 1s);
  EXPECT_TRUE(gone(engine));
  EXPECT_THAT(folder.names(), IsEmpty());
  EXPECT_EQ(run.errors(), "");
}

TEST_F(transcode_signals, terminating_ends_a_suspended_one_as_well) {
  tool_run run("qxmi_vod_transcode", arguments("0", "20"));
  const pid_t engine = working_engine(run);
  run.signal_group(SIGUSR1);
  EXPECT_TRUE(wait_until([&] { return process_state(engine) == 'T'; }));
  const auto begin = clock_type::now();
  run.signal_group(SIGTERM);
  EXPECT_EQ(run.wait().signal, SIGTERM);
  EXPECT_LT(clock_type::now() - begin, 1s);
  EXPECT_TRUE(gone(engine));
  EXPECT_THAT(folder.names(), IsEmpty());
}

TEST_F(transcode_signals, terminating_at_any_moment_leaves_nothing) {
  for (int moment = 0; moment < 12; ++moment) {
    tool_run run("qxmi_vod_transcode", arguments("0", "20"));
    // The moment itself is what varies here: from before main to the encoder's first frames.
    std::this_thread::sleep_for(moment * 20ms);
    run.signal_group(SIGTERM);
    EXPECT_EQ(run.wait().signal, SIGTERM);
    EXPECT_THAT(folder.names(), IsEmpty());
  }
}

TEST_F(transcode_signals, a_second_one_takes_over_from_one_that_ends) {
  tool_run first("qxmi_vod_transcode", arguments("0", "20"));
  working_engine(first);
  kill(first.pid(), SIGSTOP);  // it takes its time
  kill(first.pid(), SIGTERM);
  tool_run second("qxmi_vod_transcode", arguments("0", "20"));
  EXPECT_FALSE(wait_until([&] { return gone(second.pid()); }, 1s)) << second.errors();
  kill(first.pid(), SIGCONT);
  EXPECT_EQ(first.wait().signal, SIGTERM);
  EXPECT_TRUE(wait_until([&] { return last_frame(second) > 0; })) << second.errors();
  // The unfinished output and the folder of its segments.
  EXPECT_THAT(folder.names(),
              ElementsAre(testing::StartsWith(".qx-part-"), testing::StartsWith(".qx-segments-")));
}

TEST_F(transcode_signals, a_second_one_gives_up_and_leaves_the_first_alone) {
  tool_run first("qxmi_vod_transcode", arguments("0", "20"));
  const pid_t engine = working_engine(first);
  first.signal_group(SIGUSR1);
  ASSERT_TRUE(wait_until([&] { return process_state(engine) == 'T'; }));
  const std::vector<std::string> names = folder.names();
  tool_run second("qxmi_vod_transcode", arguments("0", "20"));
  EXPECT_EQ(second.wait().status, 1);
  EXPECT_THAT(second.error_lines(),
              ElementsAre(testing::HasSubstr("out.mp4: is being written by another tool")));
  EXPECT_EQ(folder.names(), names);
  const long before = last_frame(first);
  first.signal_group(SIGUSR2);
  EXPECT_TRUE(wait_until([&] { return last_frame(first) > before; }));
}

TEST_F(transcode_signals, killing_the_group_leaves_no_encoder) {
  tool_run run("qxmi_vod_transcode", arguments("0", "20"));
  const pid_t engine = working_engine(run);
  run.signal_group(SIGKILL);
  EXPECT_EQ(run.wait().signal, SIGKILL);
  EXPECT_TRUE(wait_until([&] { return gone(engine); }));
}

// Without a cap: an encoder that is stopped at that moment would be ended by the kernel anyway, as
// a stopped member of a group without a leader.
TEST_F(transcode_signals, killing_the_tool_alone_leaves_no_encoder) {
  tool_run run("qxmi_vod_transcode", arguments("7", "0"));
  const pid_t engine = working_engine(run);
  kill(run.pid(), SIGKILL);
  EXPECT_EQ(run.wait().signal, SIGKILL);
  EXPECT_TRUE(wait_until([&] { return gone(engine); }, 5s));
}

TEST_F(transcode_signals, a_dead_encoder_is_a_failure) {
  tool_run run("qxmi_vod_transcode", arguments("0", "20"));
  kill(working_engine(run), SIGKILL);
  EXPECT_EQ(run.wait().status, 1);
  EXPECT_THAT(run.error_lines(), ElementsAre(testing::HasSubstr("long.mp4: ended by Killed")));
  EXPECT_THAT(folder.names(), IsEmpty());
}

TEST_F(transcode_signals, the_processor_time_of_the_encoder_is_limited) {
  tool_run run("qxmi_vod_transcode", arguments("0", "20"));
  std::ifstream limits("/proc/" + std::to_string(working_engine(run)) + "/limits");
  std::string text;
  std::getline(limits, text, '\0');
  EXPECT_THAT(text, testing::ContainsRegex("Max cpu time +[0-9]+ +[0-9]+ +seconds"));
}

TEST_F(transcode_signals, a_stalled_encoder_is_ended) {
  const scratch_folder settings;
  const given_settings given(settings, "stall.seconds = 1\n");
  tool_run run("qxmi_vod_transcode", arguments("0", "0"));
  kill(working_engine(run), SIGSTOP);
  EXPECT_EQ(run.wait().status, 1);
  EXPECT_THAT(run.error_lines(), ElementsAre(testing::EndsWith("long.mp4: engine stalled")));
  EXPECT_THAT(folder.names(), IsEmpty());
}

TEST_F(transcode_signals, a_suspended_encoder_is_not_stalled) {
  const scratch_folder settings;
  const given_settings given(settings, "stall.seconds = 1\n");
  tool_run run("qxmi_vod_transcode", arguments("0", "20"));
  const pid_t engine = working_engine(run);
  run.signal_group(SIGUSR1);
  EXPECT_FALSE(wait_until([&] { return gone(engine); }, 3s)) << run.errors();
  const long before = last_frame(run);
  run.signal_group(SIGUSR2);
  EXPECT_TRUE(wait_until([&] { return last_frame(run) > before; })) << run.errors();
}

TEST_F(transcode_signals, the_work_continues_if_nobody_reads_its_progress) {
  std::vector<std::string> words = arguments("0", "0");
  words.back() = test_media("silent.mp4");
  tool_run run("qxmi_vod_transcode", words, "", tool_output::reader_gone);
  EXPECT_EQ(run.wait().status, 0) << run.errors();
  EXPECT_THAT(folder.names(), ElementsAre("out.mp4"));
}

TEST_F(transcode_signals, continuing_a_running_one_does_no_harm) {
  tool_run run("qxmi_vod_transcode", arguments("0", "20"));
  const pid_t engine = working_engine(run);
  run.signal_group(SIGUSR2);
  const long before = last_frame(run);
  EXPECT_TRUE(wait_until([&] { return last_frame(run) > before; }));
  EXPECT_FALSE(gone(engine));
}

TEST_F(transcode_signals, the_lowest_priority_is_idle_for_processor_and_disk) {
  tool_run run("qxmi_vod_transcode", arguments("7", "20"));
  const pid_t engine = working_engine(run);
  EXPECT_EQ(sched_getscheduler(engine), SCHED_IDLE);
  EXPECT_EQ(syscall(SYS_ioprio_get, 1, engine) >> 13, 3);
}

TEST_F(transcode_signals, a_low_priority_is_batch_work) {
  tool_run run("qxmi_vod_transcode", arguments("3", "20"));
  const pid_t engine = working_engine(run);
  EXPECT_EQ(sched_getscheduler(engine), SCHED_BATCH);
  EXPECT_EQ(syscall(SYS_ioprio_get, 1, engine), (2 << 13) | 7);
}

TEST_F(transcode_signals, no_priority_keeps_the_inherited_one) {
  tool_run run("qxmi_vod_transcode", arguments("0", "20"));
  EXPECT_EQ(sched_getscheduler(working_engine(run)), SCHED_OTHER);
}

TEST_F(transcode_signals, the_cap_holds_the_encoder_to_its_share) {
  tool_run run("qxmi_vod_transcode", arguments("0", "15"));
  const pid_t engine = working_engine(run);
  const double then = cpu_seconds(engine);
  const auto begin = clock_type::now();
  EXPECT_FALSE(wait_until([&] { return gone(engine); }, 4s));
  const double passed = std::chrono::duration<double>(clock_type::now() - begin).count();
  const double all = passed * static_cast<double>(sysconf(_SC_NPROCESSORS_ONLN));
  EXPECT_NEAR(100.0 * (cpu_seconds(engine) - then) / all, 15.0, 5.0);
}

TEST_F(transcode_signals, progress_comes_at_least_twice_a_second) {
  tool_run run("qxmi_vod_transcode", arguments("0", "5"));
  working_engine(run);
  const std::size_t lines = run.output_lines().size();
  EXPECT_FALSE(wait_until([&] { return run.output_lines().size() >= lines + 6; }, 1s));
  EXPECT_TRUE(wait_until([&] { return run.output_lines().size() >= lines + 4; }, 2s));
}
