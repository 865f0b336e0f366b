#include "tests/support/silent_mount.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <vector>

#include <fcntl.h>
#include <linux/fuse.h>
#include <poll.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace qx_test {

namespace {

constexpr char metadata_text[] = "file type=video/mp4\n";
constexpr useconds_t slow_answer_us = 100000;
constexpr std::size_t request_size = std::size_t{1} << 17;

struct node {
  std::uint64_t parent;
  const char* name;
  mode_t mode;
  const char* text;
};

// A node's number is its index plus 1; the root is 1.
constexpr node nodes[] = {
    {0, "", S_IFDIR | 0755, ""},
    {1, "clip.mpg", S_IFREG | 0644, "stand-in source\n"},
    {1, ".clip.mpg.metadata", S_IFDIR | 0755, ""},
    {3, "metadata", S_IFREG | 0644, metadata_text},
    {1, "other.mpg", S_IFREG | 0644, "stand-in source\n"},
    {1, ".other.mpg.metadata", S_IFDIR | 0755, ""},
    {6, "metadata", S_IFREG | 0644, metadata_text},
};

const node& node_of(std::uint64_t number) {
  return nodes[std::min<std::size_t>(number, std::size(nodes)) - 1];
}

fuse_attr attributes_of(std::uint64_t number) {
  fuse_attr attributes{};
  attributes.ino = number;
  attributes.size = strlen(node_of(number).text);
  attributes.mode = node_of(number).mode;
  attributes.mtime = 1700000000;
  attributes.mtimensec = 5;
  attributes.nlink = 1;
  attributes.blksize = 4096;
  return attributes;
}

// The server of the file system, in a process of its own.
class server {
public:
  server(int fuse, int orders, int confirmations)
      : fuse_(fuse), orders_(orders), confirmations_(confirmations) {}

  // Returns when the test has ended.
  void run() {
    std::array<pollfd, 2> sources{pollfd{fuse_, POLLIN, 0}, pollfd{orders_, POLLIN, 0}};
    while (poll(sources.data(), sources.size(), -1) > 0) {
      if (sources[1].revents != 0 && !take_order()) { return; }
      if (sources[0].revents != 0) { take_request(); }
    }
  }

private:
  bool take_order() {
    if (read(orders_, &order_, 1) != 1) { return false; }
    if (order_ != 's') { answer_left(); }
    return write(confirmations_, &order_, 1) == 1;
  }

  void answer_left() {
    for (const auto& request : left_) {
      answer(request);
    }
    left_.clear();
  }

  void take_request() {
    std::vector<char> request(request_size);
    const ssize_t length = read(fuse_, request.data(), request.size());
    if (length < static_cast<ssize_t>(sizeof(fuse_in_header))) { return; }
    request.resize(static_cast<std::size_t>(length));
    if (order_ == 's') {
      left_.push_back(request);
      return;
    }
    if (order_ == 'w') { usleep(slow_answer_us); }
    answer(request);
  }

  void answer(const std::vector<char>& request) {
    const auto& header = *reinterpret_cast<const fuse_in_header*>(request.data());
    const char* const arguments = request.data() + sizeof(header);
    switch (header.opcode) {
    case FUSE_INIT:
      return begin(header.unique);
    case FUSE_LOOKUP:
      return look_up(header, arguments);
    case FUSE_GETATTR: {
      fuse_attr_out out{};
      out.attr = attributes_of(header.nodeid);
      return reply(header.unique, out);
    }
    case FUSE_OPEN:
    case FUSE_OPENDIR:
      return reply(header.unique, fuse_open_out{});
    case FUSE_READ:
      return read_text(header, *reinterpret_cast<const fuse_read_in*>(arguments));
    case FUSE_READDIR:
    case FUSE_RELEASE:
    case FUSE_RELEASEDIR:
      return send(header.unique, 0, "", 0);
    case FUSE_FORGET:
    case FUSE_BATCH_FORGET:
    case FUSE_INTERRUPT:
      return;  // these have no answer
    default:
      return send(header.unique, -ENOSYS, "", 0);
    }
  }

  void begin(std::uint64_t unique) {
    fuse_init_out out{};
    out.major = FUSE_KERNEL_VERSION;
    out.minor = FUSE_KERNEL_MINOR_VERSION;
    out.max_write = 4096;
    reply(unique, out);
  }

  void look_up(const fuse_in_header& header, const char* name) {
    for (std::uint64_t number = 1; number <= std::size(nodes); ++number) {
      if (node_of(number).parent == header.nodeid && strcmp(node_of(number).name, name) == 0) {
        fuse_entry_out out{};
        out.nodeid = number;
        out.attr = attributes_of(number);
        return reply(header.unique, out);
      }
    }
    send(header.unique, -ENOENT, "", 0);
  }

  void read_text(const fuse_in_header& header, const fuse_read_in& range) {
    const std::string_view text = node_of(header.nodeid).text;
    const auto part = text.substr(std::min<std::size_t>(range.offset, text.size()), range.size);
    send(header.unique, 0, part.data(), part.size());
  }

  template <typename Out>
  void reply(std::uint64_t unique, const Out& out) {
    send(unique, 0, reinterpret_cast<const char*>(&out), sizeof(out));
  }

  void send(std::uint64_t unique, int error, const char* bytes, std::size_t size) {
    std::vector<char> packet(sizeof(fuse_out_header));
    packet.insert(packet.end(), bytes, bytes + size);
    fuse_out_header header{};
    header.len = static_cast<std::uint32_t>(packet.size());
    header.error = error;
    header.unique = unique;
    memcpy(packet.data(), &header, sizeof(header));
    // Refused if the process that asked is gone.
    static_cast<void>(write(fuse_, packet.data(), packet.size()) < 0);
  }

  int fuse_;
  int orders_;
  int confirmations_;
  char order_ = 'a';
  std::vector<std::vector<char>> left_;
};

int mount_and_serve(const std::string& inside, int orders, int confirmations) {
  const int fuse = open("/dev/fuse", O_RDWR | O_CLOEXEC);
  const std::string options = "fd=" + std::to_string(fuse) + ",rootmode=40000,user_id=0,group_id=0";
  if (fuse < 0 || mount("share", inside.c_str(), "fuse", MS_NOSUID | MS_NODEV, options.c_str())) {
    return 1;
  }
  const char ready = 'a';
  if (write(confirmations, &ready, 1) != 1) { return 1; }
  server(fuse, orders, confirmations).run();
  return 0;
}

}  // namespace

silent_mount::silent_mount(const private_root& root, std::string_view inside) {
  std::error_code error;
  std::filesystem::create_directories(root.path(inside), error);
  int orders[2];
  int confirmations[2];
  if (pipe2(orders, O_CLOEXEC) != 0 || pipe2(confirmations, O_CLOEXEC) != 0) { return; }
  server_ = fork();
  if (server_ == 0) {
    close(orders[1]);  // so that the end of the test ends the server
    const std::string folder(inside);
    _exit(root.run_inside([&] { return mount_and_serve(folder, orders[0], confirmations[1]); }));
  }
  close(orders[0]);
  close(confirmations[1]);
  orders_ = orders[1];
  confirmations_ = confirmations[0];
  char ready = 0;
  is_mounted_ = read(confirmations_, &ready, 1) == 1;
}

silent_mount::~silent_mount() {
  close(orders_);
  close(confirmations_);
  waitpid(server_, nullptr, 0);
}

void silent_mount::send(char order) const {
  char confirmation = 0;
  EXPECT_EQ(write(orders_, &order, 1), 1);
  EXPECT_EQ(read(confirmations_, &confirmation, 1), 1) << "the server of the mount has ended";
}

}  // namespace qx_test
