// The connection to a service that is absent, silent or odd.
#include <cstdlib>
#include <filesystem>
#include <thread>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "platform/unique_fd.h"
#include "tools/client/service_connection.h"

using ::testing::HasSubstr;
using namespace std::chrono_literals;

namespace {

// A socket in a private folder. It accepts connections only into its backlog, unless it is asked to
// answer.
class odd_service {
public:
  odd_service() {
    EXPECT_NE(mkdtemp(folder_), nullptr);
    path_ = std::string(folder_) + "/socket";
  }
  ~odd_service() {
    if (answering_.joinable()) { answering_.join(); }
    std::filesystem::remove_all(folder_);
  }
  odd_service(const odd_service&) = delete;
  odd_service& operator=(const odd_service&) = delete;

  const std::string& path() const { return path_; }

  void listen() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path_.copy(address.sun_path, sizeof address.sun_path - 1);
    socket_.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(bind(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(socket_.get(), 4), 0);
  }
  void stop_listening() { socket_.reset(); }

  // Reads something from one client, sends it `bytes` and closes the connection.
  void answer_once(const std::string& bytes) {
    answering_ = std::thread([this, bytes] {
      const unique_fd client(accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC));
      char request[4096];
      EXPECT_GT(recv(client.get(), request, sizeof request, 0), 0);
      EXPECT_EQ(send(client.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
                static_cast<ssize_t>(bytes.size()));
    });
  }

private:
  char folder_[16] = "/tmp/qx.XXXXXX";
  std::string path_;
  unique_fd socket_;
  std::thread answering_;
};

std::string reply_bytes(std::uint64_t result_code, const std::string& status) {
  comm_socket_v4_packet packet;
  packet.request_id = 1;
  packet.result_code = result_code;
  packet.words = {"test", status};
  packet.nv_pairs = {{"name", "first"}, {"name", "second"}};
  packet.data = "data";
  std::string wire;
  EXPECT_TRUE(comm_packet_v4_encode(packet, comm_packet_v4_reply, wire));
  return wire;
}

service_reply reply_to(const std::string& bytes) {
  odd_service service;
  service.listen();
  service.answer_once(bytes);
  return service_connection(service.path()).request("test", {});
}

}  // namespace

TEST(service_connection, missing_socket_means_no_service) {
  const odd_service service;
  const auto reply = service_connection(service.path()).request("test", {});
  EXPECT_EQ(reply.exit_status, exit_no_service);
  EXPECT_EQ(reply.text, "no service at " + service.path());
}

TEST(service_connection, left_over_socket_means_no_service) {
  odd_service service;
  service.listen();
  service.stop_listening();
  EXPECT_EQ(service_connection(service.path()).request("test", {}).exit_status, exit_no_service);
}

TEST(service_connection, silence_ends_at_the_deadline) {
  odd_service service;
  service.listen();
  const auto reply = service_connection(service.path(), 50ms).request("test", {});
  EXPECT_EQ(reply.exit_status, exit_no_service);
  EXPECT_EQ(reply.text, "the service does not answer");
}

TEST(service_connection, end_before_the_answer_is_reported) {
  const auto reply = reply_to("");
  EXPECT_EQ(reply.exit_status, exit_no_service);
  EXPECT_THAT(reply.text, HasSubstr("closed the connection"));
}

TEST(service_connection, malformed_reply_is_reported) {
  const auto reply = reply_to(std::string(64, 'x'));
  EXPECT_EQ(reply.exit_status, exit_no_service);
  EXPECT_THAT(reply.text, HasSubstr("malformed"));
}

TEST(service_connection, acceptance_carries_pairs_and_data) {
  const auto reply = reply_to(reply_bytes(0, "OK"));
  EXPECT_TRUE(reply.accepted());
  EXPECT_EQ(reply.text, "OK");
  EXPECT_EQ(reply.data, "data");
  EXPECT_EQ(reply.pair("name"), "second");
  EXPECT_EQ(reply.pair("other"), "");
}

TEST(service_connection, refusals_are_distinguished) {
  const auto missing = reply_to(reply_bytes(1000, "NOT FOUND"));
  EXPECT_EQ(missing.exit_status, exit_no_such_item);
  const auto busy = reply_to(reply_bytes(1000, "ITEM IS BUSY"));
  EXPECT_EQ(busy.exit_status, exit_refused);
  EXPECT_EQ(busy.text, "ITEM IS BUSY");
}

TEST(service_connection, request_that_cannot_be_sent_is_reported) {
  odd_service service;
  service.listen();
  const auto reply = service_connection(service.path()).request("add", {{"n", {'\0', 'x'}}});
  EXPECT_EQ(reply.exit_status, exit_no_service);
  EXPECT_THAT(reply.text, HasSubstr("cannot be sent"));
}
