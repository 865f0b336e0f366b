// Shutdown of the shipped service, with and without children that take their time.
#include <algorithm>
#include <csignal>
#include <cstring>
#include <thread>
#include <utility>

#include <poll.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "tests/support/test_machine.h"
#include "tests/support/wait_until.h"

using namespace qx_test;
using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Gt;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::Pair;

namespace {

using steady = std::chrono::steady_clock;

constexpr char interrupted[] = "Transcode will restart when transcode service resumes";

// A plan that survives SIGTERM. The mark is only set once it does: the call is recorded earlier.
tool_plan stubborn() {
  return tool_plan().catch_signal(SIGTERM).mark("stubborn");
}

}  // namespace

class shutdown_of_service : public ::testing::Test {
protected:
  // A service with one item whose transcoder follows the plan.
  void start_transcode(const tool_plan& plan) {
    machine.root.plan(tool::transcode, plan);
    machine.root.write_source("/mnt/media/clip.mpg", "video/mp4");
    machine.start();
    id = machine.client.add_ready("/mnt/media/clip.mpg");
    call = machine.root.wait_for_call(tool::transcode);
    machine.client.wait_for_state_text(id, "Transcoding file...");
  }
  json11::Json queue_file() const {
    std::string error;
    return json11::Json::parse(machine.root.queue_file(), error);
  }
  // Sends the signal after the service has taken every earlier one.
  void signal_alone(int number) {
    const std::string status = "/proc/" + std::to_string(machine.service.pid()) + "/status";
    ASSERT_TRUE(wait_until(
        [&] { return read_file(status).find("ShdPnd:\t0000000000000000") != std::string::npos; }));
    machine.service.signal(number);
  }

  // Adds jobs whose listing is much longer than a connection buffers. They are cancelled, because
  // new ones are dropped after a while.
  void add_long_jobs() const {
    for (int i = 0; i < 10; ++i) {
      const auto job = machine.client.add({{"transcode profile", std::string(900000, 'p')}});
      EXPECT_EQ(machine.client.command("cancel", job).status(), "OK");
    }
  }
  // Asks for the listing, and waits until the reply has begun to arrive.
  void begin_listing(const raw_connection& connection) const {
    request_packet list;
    list.words = {"list"};
    ASSERT_TRUE(connection.send(list.encoded()));
    pollfd entry{connection.fd(), POLLIN, 0};
    ASSERT_EQ(poll(&entry, 1, 60000), 1);
  }

  // Reads the reply with pauses. Returns its size, and false if it was cut off.
  static std::pair<std::size_t, bool> read_slowly(const raw_connection& connection) {
    constexpr std::size_t header_size = 32;
    std::string reply;
    std::size_t size = header_size;
    char bytes[65536];
    ssize_t got = 1;
    while (reply.size() < size && got > 0) {
      std::this_thread::sleep_for(5ms);
      got = read(connection.fd(), bytes, sizeof(bytes));
      reply.append(bytes, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
      std::uint32_t body = 0;
      if (reply.size() >= header_size) { std::memcpy(&body, reply.data() + 4, sizeof(body)); }
      size = header_size + body;
    }
    return {reply.size(), reply.size() == size};
  }

  test_machine machine;
  std::string id;
  tool_call call;
};

TEST_F(shutdown_of_service, follows_each_of_three_signals) {
  for (const int number : {SIGINT, SIGTERM, SIGQUIT}) {
    machine.start();
    machine.service.signal(number);
    EXPECT_EQ(machine.service.wait_for_exit().status, 0) << number;
    EXPECT_FALSE(machine.root.exists("/run/vod.transcode.service"));
    const auto lines = machine.service.stderr_lines();
    EXPECT_THAT(lines, Contains("Shutting down transcode queue processes"));
    EXPECT_EQ(lines.back(), "Shutting down transcode queue");
  }
}

TEST_F(shutdown_of_service, writes_the_queue) {
  machine.root.write_source("/mnt/media/clip.mpg");
  machine.service.set_uptime(10);
  machine.start();
  id = machine.client.add_ready("/mnt/media/clip.mpg");
  machine.service.stop();
  EXPECT_EQ(queue_file()["list"][0]["entry id"].string_value(), id);
}

TEST_F(shutdown_of_service, is_quick_when_the_children_obey) {
  start_transcode(tool_plan().wait("never"));
  const auto begin = steady::now();
  EXPECT_EQ(machine.service.stop().status, 0);
  EXPECT_LT(steady::now() - begin, 9s);
  EXPECT_EQ(queue_file()["list"][0]["transcode state"].string_value(), "transcoding");
  EXPECT_EQ(queue_file()["list"][0]["state"].string_value(), interrupted);
  EXPECT_TRUE(machine.root.processes().empty());
}

TEST_F(shutdown_of_service, reaches_processes_started_by_a_tool) {
  start_transcode(tool_plan().grandchild().wait("never"));
  const auto grandchild = [&] { return machine.root.outer_pid(call.grandchild()); };
  ASSERT_TRUE(wait_until([&] { return call.grandchild() > 0; }));
  ASSERT_NE(grandchild(), -1);
  machine.service.stop();
  EXPECT_TRUE(wait_until([&] { return machine.root.processes().empty(); }));
}

TEST_F(shutdown_of_service, kills_a_stubborn_transcoder_after_ten_seconds) {
  start_transcode(stubborn().wait("never"));
  const int job = machine.client.item(id)["fileops job id"].int_value();
  const auto begin = steady::now();
  ASSERT_TRUE(machine.root.wait_for_mark("stubborn"));
  machine.service.signal(SIGTERM);
  EXPECT_TRUE(wait_until([&] { return call.signals() == std::vector<int>{SIGTERM}; }));
  EXPECT_EQ(machine.service.wait_for_exit().status, 0);
  EXPECT_GE(steady::now() - begin, 10s);
  EXPECT_THAT(machine.service.stderr_lines(), Contains("proc=1 stdout=0"));
  EXPECT_EQ(queue_file()["list"][0]["state"].string_value(), interrupted);
  EXPECT_EQ(machine.root.job_status(job)["state"], interrupted);
  EXPECT_TRUE(wait_until([&] { return machine.root.processes().empty(); }));
}

TEST_F(shutdown_of_service, serves_clients_while_it_waits) {
  start_transcode(stubborn().wait("end"));
  ASSERT_TRUE(machine.root.wait_for_mark("stubborn"));
  machine.service.signal(SIGTERM);
  ASSERT_TRUE(machine.service.wait_for_stderr("proc=1 stdout=0\n"));
  EXPECT_EQ(machine.client.state_text(id), interrupted);
  EXPECT_EQ(machine.client.request("test").status(), "OK");
  machine.root.release("end");
  EXPECT_EQ(machine.service.wait_for_exit().status, 0);
}

TEST_F(shutdown_of_service, delivers_a_long_reply_whole) {
  machine.start();
  add_long_jobs();
  const raw_connection connection(machine.client.socket_path());
  begin_listing(connection);
  machine.service.signal(SIGTERM);
  ASSERT_TRUE(machine.service.wait_for_stderr("Shutting down transcode queue\n"));
  EXPECT_EQ(connection.receive().json()["total"].int_value(), 10);
  EXPECT_EQ(machine.service.wait_for_exit().status, 0);
}

TEST_F(shutdown_of_service, delivers_a_long_reply_while_it_waits) {
  start_transcode(stubborn().wait("end"));
  ASSERT_TRUE(machine.root.wait_for_mark("stubborn"));
  add_long_jobs();
  const raw_connection connection(machine.client.socket_path());
  begin_listing(connection);
  machine.service.signal(SIGTERM);
  ASSERT_TRUE(machine.service.wait_for_stderr("proc=1 stdout=0\n"));
  EXPECT_THAT(read_slowly(connection), Pair(Gt(9000000U), true));
  EXPECT_THAT(machine.service.stderr_lines(), Not(Contains("Shutting down transcode queue")));
  machine.root.release("end");
  EXPECT_EQ(machine.service.wait_for_exit().status, 0);
}

TEST_F(shutdown_of_service, waits_briefly_for_a_client_that_reads_nothing) {
  machine.start();
  add_long_jobs();
  const raw_connection connection(machine.client.socket_path());
  begin_listing(connection);
  const auto begin = steady::now();
  EXPECT_EQ(machine.service.stop().status, 0);
  EXPECT_GE(steady::now() - begin, 2s);
  EXPECT_LT(steady::now() - begin, 9s);
}

TEST_F(shutdown_of_service, starts_no_further_step) {
  machine.root.plan(tool::quote, stubborn().print("*QUOTE\n.. 720\n").wait("end"));
  machine.root.write_source("/mnt/media/clip.mpg", "video/mp4");
  machine.start();
  id = machine.client.add_ready("/mnt/media/clip.mpg");
  call = machine.root.wait_for_call(tool::quote);
  ASSERT_TRUE(machine.root.wait_for_mark("stubborn"));
  machine.service.signal(SIGTERM);
  ASSERT_TRUE(wait_until([&] { return !call.signals().empty(); }));
  machine.root.release("end");
  EXPECT_EQ(machine.service.wait_for_exit().status, 0);
  EXPECT_EQ(machine.root.calls().size(), 1U);
  const auto item = queue_file()["list"][0];
  EXPECT_EQ(item["transcode state"].string_value(), "ready");
  EXPECT_EQ(item["ready state"].string_value(), "query profiles");
  EXPECT_EQ(item["state"].string_value(), "Ready") << "no text for what was not transcoding";
}

TEST_F(shutdown_of_service, is_forced_by_the_twentieth_signal) {
  start_transcode(stubborn().wait("never"));
  const int mixed[] = {SIGTERM, SIGINT, SIGQUIT};
  ASSERT_TRUE(machine.root.wait_for_mark("stubborn"));
  machine.service.signal(SIGTERM);
  ASSERT_TRUE(machine.service.wait_for_stderr("proc=1 stdout=0\n"));
  for (int sent = 1; sent < 19; ++sent) {
    signal_alone(mixed[sent % 3]);
  }
  ASSERT_TRUE(machine.service.wait_for_stderr("proc=1 stdout=0\nproc=1 stdout=0\n"));
  EXPECT_TRUE(machine.service.running()) << "19 signals are not enough";
  signal_alone(SIGTERM);
  EXPECT_EQ(machine.service.wait_for_exit().signal, SIGABRT);
}

TEST_F(shutdown_of_service, makes_the_transcode_start_over_at_the_next_start) {
  machine.root.plan_call(tool::transcode, 2,
                         tool_plan().write("{-o}", "video").print("Encoding: frame=1/1\n"));
  start_transcode(tool_plan().wait("never"));
  machine.service.restart();
  const auto item = machine.client.wait_for_transcode_state(id, "done");
  EXPECT_EQ(item["state"].string_value(), "Transcode complete");
  EXPECT_EQ(machine.root.calls(tool::transcode).size(), 2U);
}

TEST_F(shutdown_of_service, reaps_children_that_end_in_its_grace_period) {
  start_transcode(tool_plan().wait("never"));
  machine.service.stop();
  EXPECT_THAT(machine.service.stderr_text(),
              HasSubstr("Queue item '" + id + "' process terminated (status=0xf)\n"));
}
