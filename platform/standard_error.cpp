// Writes lines of text to a descriptor that may be full.
#include "platform/standard_error.h"

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// How a write is kept from blocking. Setting O_NONBLOCK on descriptor 2 is not an option: the flag
// applies to every process that shares the open file, including children and a user's shell.
enum class write_mode {
  plain,   // files, which do not block
  send,    // sockets: a flag on each write
  opened,  // pipes and terminals: reopened non-blocking, for this process alone
  polled,  // if reopening is not allowed: polled before each write
};

class line_channel {
public:
  line_channel() {
    struct stat status {};
    if (fstat(STDERR_FILENO, &status) != 0) { return; }
    if (S_ISSOCK(status.st_mode)) { mode_ = write_mode::send; }
    if (S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode)) { open_again(); }
  }

  void take(std::string_view text) {
    for (std::size_t end = 0; (end = text.find('\n')) != std::string_view::npos;) {
      line_ += text.substr(0, end + 1);
      text.remove_prefix(end + 1);
      put_line();
      line_.clear();
    }
    line_ += text;
  }

  // Gives up the line that is being printed.
  void drop_line() {
    line_.clear();
    ++dropped_;
  }

  // Returns true once everything due before the next line has been written.
  bool flush() {
    // The rest of a partly written line comes first, so that no other line ends up in the middle of
    // it.
    if (!rest_.empty() && !write_out(rest_)) { rest_.clear(); }
    if (!rest_.empty()) { return false; }
    if (dropped_ == 0) { return true; }
    const std::string count = std::to_string(dropped_);
    if (!put("Standard error was full, lines dropped: " + count + "\n")) { return false; }
    dropped_ = 0;
    return rest_.empty();
  }

private:
  void open_again() {
    const int fd = open("/proc/self/fd/2", O_WRONLY | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    mode_ = fd < 0 ? write_mode::polled : write_mode::opened;
    if (fd >= 0) { fd_ = fd; }
  }

  void put_line() {
    if (!flush() || !put(line_)) { ++dropped_; }
  }

  // Returns false if none of the text could be written.
  bool put(std::string text) {
    const std::size_t size = text.size();
    write_out(text);
    if (text.size() == size) { return false; }
    rest_ = std::move(text);
    return true;
  }

  // Removes the part that could be written from the text. Returns false if there is no reader.
  bool write_out(std::string& text) const {
    ssize_t count = 0;
    while (!text.empty() && (count = write_some(text)) > 0) {
      text.erase(0, static_cast<std::size_t>(count));
    }
    return count >= 0 || errno == EAGAIN;
  }

  ssize_t write_some(const std::string& text) const {
    if (mode_ == write_mode::send) {
      return send(fd_, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    }
    if (mode_ != write_mode::polled) { return write(fd_, text.data(), text.size()); }
    pollfd room = {fd_, POLLOUT, 0};
    if (poll(&room, 1, 0) <= 0) {
      errno = EAGAIN;
      return -1;
    }
    return write(fd_, text.data(), text.size() < PIPE_BUF ? text.size() : PIPE_BUF);
  }

  int fd_ = STDERR_FILENO;
  write_mode mode_ = write_mode::plain;
  std::string line_;  // the line being printed
  std::string rest_;  // the unwritten part of a line
  std::uint64_t dropped_ = 0;
};

// Never destroyed: the last prints happen after the last destructor.
line_channel* channel = nullptr;

// No exception may pass through the C library's stream.
ssize_t take_text(void*, const char* bytes, std::size_t size) {
  try {
    channel->take({bytes, size});
  } catch (const std::bad_alloc&) { channel->drop_line(); }
  return static_cast<ssize_t>(size);
}

}  // namespace

void open_standard_error() {
  cookie_io_functions_t functions = {};
  functions.write = take_text;
  channel = new (std::nothrow) line_channel;
  if (channel == nullptr) { return; }
  FILE* const file = fopencookie(nullptr, "w", functions);
  if (file == nullptr) { return; }
  setvbuf(file, nullptr, _IONBF, 0);
  stderr = file;
}

void flush_standard_error() {
  if (channel == nullptr) { return; }
  try {
    channel->flush();
  } catch (const std::bad_alloc&) {
    return;  // the lines that were dropped are counted until they can be told
  }
}
