// Crowds of clients, clients that flood, clients that never read: the service survives and does its
// work.
#include <atomic>
#include <memory>
#include <thread>

#include <sys/resource.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "tests/control/hostile_bytes.h"
#include "tests/support/test_machine.h"
#include "tests/support/wait_until.h"

using namespace qx_test;
using namespace std::chrono_literals;

namespace {

using steady = std::chrono::steady_clock;
using strings = std::vector<std::string>;
using crowd = std::vector<std::unique_ptr<raw_connection>>;

constexpr std::size_t most_clients = 256;

// Close to the largest request; in JSON each of its bytes takes six.
const std::string huge_value(1000000, '\x01');

// Processor time used by the process, in clock ticks.
long cpu_ticks(pid_t pid) {
  const std::string status = read_file("/proc/" + std::to_string(pid) + "/stat");
  std::istringstream fields(status.substr(status.rfind(')') + 2));
  std::vector<std::string> values(std::istream_iterator<std::string>(fields), {});
  return std::stol(values.at(11)) + std::stol(values.at(12));
}

#ifdef __SANITIZE_ADDRESS__
constexpr long allowed_growth_kib = 512L * 1024;  // freed memory stays in use for a while
#else
constexpr long allowed_growth_kib = 64L * 1024;
#endif

// Memory used by the process.
long resident_kib(pid_t pid) {
  const std::string status = read_file("/proc/" + std::to_string(pid) + "/status");
  return std::stol(status.substr(status.find("VmRSS:") + 6));
}

// A client that sends its requests at once and reads the replies at 60 KB a second, fast enough not
// to count as one that has stopped reading.
class slow_reader {
public:
  slow_reader(const std::string& socket_path, const std::string& requests)
      : connection_(socket_path) {
    EXPECT_TRUE(connection_.send(requests));
    reader_ = std::thread([this] {
      std::string bytes(60000, '\0');
      ssize_t got = 0;
      while (!stop_ && (got = read(connection_.fd(), bytes.data(), bytes.size())) > 0) {
        bytes_read_ += got;
        std::this_thread::sleep_for(1s);
      }
    });
  }
  ~slow_reader() {
    stop_ = true;
    reader_.join();
  }
  slow_reader(const slow_reader&) = delete;
  slow_reader& operator=(const slow_reader&) = delete;

  bool wait_for_bytes(long count) const {
    return wait_until([&] { return bytes_read_ >= count; });
  }

private:
  raw_connection connection_;
  std::atomic<bool> stop_{false};
  std::atomic<long> bytes_read_{0};
  std::thread reader_;
};

}  // namespace

class hostile_clients : public ::testing::Test {
protected:
  hostile_clients() { machine.start(); }

  crowd connect_many(std::size_t count) const {
    crowd clients;
    for (std::size_t i = 0; i < count; ++i) {
      clients.push_back(std::make_unique<raw_connection>(machine.client.socket_path()));
    }
    return clients;
  }
  static bool is_served(const raw_connection& client) {
    return client.send(good_request()) && client.receive().status() == "OK";
  }
  bool service_answers() const { return machine.client.request("test").status() == "OK"; }
  std::size_t connections() const {
    const auto open = machine.service.open_descriptors();
    return static_cast<std::size_t>(std::count_if(
               open.begin(), open.end(),
               [](const auto& each) { return each.second.rfind("socket:", 0) == 0; })) -
           1;
  }
  // Items that make a page of the listing several hundred KiB long.
  void add_bulky_items() const {
    for (int i = 0; i < 16; ++i) {
      machine.client.add({{"input file", "/mnt/" + std::string(4000, 'a') + "/x"},
                          {"transcode profile", std::string(4000, '\x01')}});
    }
  }
  // An item that stays, and survives a restart, unlike one in "init".
  std::string add_cancelled_item(const name_values& pairs) const {
    std::string id = machine.client.add(pairs);
    EXPECT_EQ(machine.client.command("cancel", id).status(), "OK");
    return id;
  }
  static std::string list_requests(int count) {
    request_packet list;
    list.words = {"list"};
    std::string all;
    for (int i = 0; i < count; ++i) {
      all += list.encoded();
    }
    return all;
  }
  test_machine machine;
};

TEST_F(hostile_clients, up_to_256_are_served_at_once) {
  const crowd clients = connect_many(most_clients);
  for (const auto& client : clients) {
    ASSERT_TRUE(is_served(*client));
  }
  const raw_connection one_more(machine.client.socket_path());
  EXPECT_TRUE(one_more.closed_by_peer());
  EXPECT_TRUE(is_served(*clients.front()) && is_served(*clients.back()));
}

TEST_F(hostile_clients, three_hundred_leave_room_when_they_disconnect) {
  {
    const crowd clients = connect_many(300);
    EXPECT_TRUE(wait_until([&] { return connections() == most_clients; }));
    for (std::size_t i = 0; i < most_clients; ++i) {
      EXPECT_TRUE(is_served(*clients[i])) << i;
    }
    for (std::size_t i = most_clients; i < clients.size(); ++i) {
      EXPECT_TRUE(clients[i]->closed_by_peer()) << i;
    }
  }
  EXPECT_TRUE(wait_until([&] { return connections() == 0; }));
  EXPECT_TRUE(service_answers());
}

TEST_F(hostile_clients, that_come_and_go_leak_nothing) {
  for (int i = 0; i < 2000; ++i) {
    const raw_connection short_visit(machine.client.socket_path());
  }
  EXPECT_TRUE(service_answers());
  EXPECT_TRUE(wait_until([&] { return connections() == 0; }));
}

TEST_F(hostile_clients, that_take_all_descriptors_do_not_stop_or_busy_the_service) {
  const rlimit few{24, 24};
  ASSERT_EQ(prlimit(machine.service.pid(), RLIMIT_NOFILE, &few, nullptr), 0);
  {
    const crowd clients = connect_many(60);
    EXPECT_TRUE(is_served(*clients.front()));
    const long before = cpu_ticks(machine.service.pid());
    const auto begin = steady::now();
    wait_until([&] { return steady::now() - begin > 2s; });
    EXPECT_LT(cpu_ticks(machine.service.pid()) - before, 50) << "hundredths of a second of 2 s";
    EXPECT_TRUE(is_served(*clients.front()));
  }
  EXPECT_TRUE(service_answers());
}

TEST_F(hostile_clients, that_take_all_descriptors_do_not_stop_a_job) {
  machine.root.write_source("/mnt/media/clip.mpg");
  const rlimit few{32, 32};
  ASSERT_EQ(prlimit(machine.service.pid(), RLIMIT_NOFILE, &few, nullptr), 0);
  const raw_connection patient(machine.client.socket_path());
  const auto id = machine.client.add_ready("/mnt/media/clip.mpg", {{"paused", "1"}});
  machine.client.wait_for_item(
      id, [](const auto& item) { return item["ready state"] == "ready to transcode"; });
  const crowd clients = connect_many(60);
  request_packet resume;
  resume.words = {"resume"};
  resume.pairs = {{"entry id", id}};
  ASSERT_TRUE(patient.send(resume.encoded()));
  EXPECT_EQ(patient.receive().status(), "OK");
  machine.root.wait_for_call(tool::grab);
  machine.root.wait_for_call(tool::transcode);
}

TEST_F(hostile_clients, that_flood_do_not_stop_a_job) {
  machine.root.write_source("/mnt/media/clip.mpg");
  std::atomic<bool> stop{false};
  std::vector<std::thread> flood;
  for (int i = 0; i < 4; ++i) {
    flood.emplace_back([&] {
      const raw_connection client(machine.client.socket_path());
      const std::string requests = good_request() + good_request() + good_request();
      while (!stop && client.send(requests)) {
        for (int reply = 0; reply < 3; ++reply) {
          client.receive();
        }
      }
    });
  }
  const auto id = machine.client.add_ready("/mnt/media/clip.mpg");
  EXPECT_EQ(machine.client.wait_for_transcode_state(id, "done")["state"], "Transcode complete");
  stop = true;
  for (auto& client : flood) {
    client.join();
  }
}

TEST_F(hostile_clients, may_send_many_requests_before_they_read) {
  constexpr int requests = 1000;
  const raw_connection client(machine.client.socket_path());
  std::thread sender([&] {
    for (std::uint64_t id = 0; id < requests; ++id) {
      request_packet packet;
      packet.words = {"test"};
      packet.request_id = id;
      EXPECT_TRUE(client.send(packet.encoded()));
    }
    client.finish_sending();
  });
  for (std::uint64_t id = 0; id < requests; ++id) {
    ASSERT_EQ(client.receive().request_id, id);
  }
  EXPECT_TRUE(client.closed_by_peer());
  sender.join();
}

TEST_F(hostile_clients, that_never_read_delay_nobody_and_are_given_up) {
  add_bulky_items();
  const crowd never_reading = connect_many(30);
  for (const auto& client : never_reading) {
    ASSERT_TRUE(client->send(list_requests(20)));
  }
  const auto begin = steady::now();
  EXPECT_TRUE(service_answers());
  EXPECT_LT(steady::now() - begin, 30s) << "one after the other they hold it for 150 seconds";
  EXPECT_TRUE(wait_until([&] { return connections() == 0; }));
}

TEST_F(hostile_clients, that_never_finish_a_request_leave_the_service_small) {
  const long before = resident_kib(machine.service.pid());
  const std::string half = request_with_data(1000000).substr(0, 900000);
  const crowd half_senders = connect_many(255);
  for (const auto& client : half_senders) {
    client->send(half);
  }
  EXPECT_TRUE(service_answers());
  EXPECT_LT(resident_kib(machine.service.pid()) - before, allowed_growth_kib);
}

TEST_F(hostile_clients, that_leave_without_reading_do_not_delay_the_service) {
  add_bulky_items();
  for (int i = 0; i < 20; ++i) {
    const raw_connection hostile(machine.client.socket_path());
    ASSERT_TRUE(hostile.send(list_requests(5)));
  }
  const auto begin = steady::now();
  EXPECT_TRUE(service_answers());
  EXPECT_LT(steady::now() - begin, 30s) << "one after the other they hold it for 100 seconds";
}

TEST_F(hostile_clients, that_leave_many_requests_do_not_keep_the_service_busy) {
  add_bulky_items();
  for (int i = 0; i < 40; ++i) {
    const raw_connection hostile(machine.client.socket_path());
    ASSERT_TRUE(hostile.send(list_requests(200)));
  }
  const auto begin = steady::now();
  EXPECT_TRUE(service_answers());
  EXPECT_LT(steady::now() - begin, 60s) << "8000 pages that nobody reads take minutes";
}

TEST_F(hostile_clients, that_read_slowly_get_their_complete_reply) {
  add_bulky_items();
  const raw_connection slow(machine.client.socket_path());
  ASSERT_TRUE(slow.send(list_requests(1)));
  const auto begin = steady::now();
  wait_until([&] { return steady::now() - begin > 2s; });
  EXPECT_EQ(slow.receive().json()["total"], json11::Json(16));
}

TEST_F(hostile_clients, that_read_a_little_at_a_time_do_not_delay_the_shutdown) {
  add_bulky_items();
  const slow_reader hostile(machine.client.socket_path(), list_requests(50));
  ASSERT_TRUE(hostile.wait_for_bytes(100000)) << "it has the service sending";
  machine.service.signal(SIGTERM);
  EXPECT_EQ(machine.service.wait_for_exit(30s).status, 0);
}

TEST_F(hostile_clients, that_read_a_little_at_a_time_do_not_starve_items) {
  machine.root.write_source("/mnt/media/clip.mpg");
  add_bulky_items();
  const slow_reader hostile(machine.client.socket_path(), list_requests(50));
  ASSERT_TRUE(hostile.wait_for_bytes(100000)) << "it has the service sending";
  machine.client.add_ready("/mnt/media/clip.mpg");
  machine.root.wait_for_call(tool::startitem);
}

TEST_F(hostile_clients, with_huge_values_cannot_make_an_endless_reply) {
  strings ids;
  for (int i = 0; i < 3; ++i) {
    ids.push_back(add_cancelled_item({{"transcode profile", huge_value}}));
  }
  EXPECT_FALSE(machine.client.request("list").received()) << "a page of 18 MB is not sent";
  EXPECT_TRUE(machine.service.wait_for_stderr("Failed to send packet to client\n"));
  EXPECT_EQ(machine.client.list({{"start", "1"}, {"end", "2"}})["total"].int_value(), 3);
  EXPECT_EQ(machine.client.command("remove", ids[0]).status(), "OK");
  EXPECT_TRUE(wait_until([&] { return machine.client.list()["total"].int_value() == 2; }));
}

// They are refused before the queue file becomes too long to be read back.
TEST_F(hostile_clients, with_huge_values_lose_nothing_at_the_next_start) {
  const name_values huge = {{"input file", "/mnt/a"}, {"transcode profile", huge_value}};
  for (int i = 0; i < 4; ++i) {
    add_cancelled_item(huge);
  }
  EXPECT_EQ(machine.client.request("add", huge).status(),
            "One or more parameters were not accepted");
  machine.service.restart();
  EXPECT_EQ(machine.client.list({{"end", "0"}})["total"].int_value(), 4);
}

TEST_F(hostile_clients, with_the_longest_possible_paths_lose_nothing_at_the_next_start) {
  constexpr int count = 479;
  const std::string longest_path = "/mnt/" + std::string(3834, 'a') + "/" + std::string(255, 'b');
  for (int i = 0; i < count; ++i) {
    add_cancelled_item({{"input file", longest_path}, {"transcode profile", "1080"}});
  }
  machine.service.restart();
  EXPECT_EQ(machine.client.list()["total"].int_value(), count);
}
