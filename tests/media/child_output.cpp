#include "tests/media/child_output.h"

#include <cerrno>

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qx_test {
namespace {

struct started {
  pid_t pid = -1;
  int output = -1;
};

started start(const std::vector<std::string>& argv, int errors) {
  int ends[2] = {-1, -1};
  if (pipe2(ends, O_CLOEXEC) != 0) { return {}; }
  std::vector<char*> words;
  for (const std::string& word : argv) {
    words.push_back(const_cast<char*>(word.c_str()));
  }
  words.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  if (errors >= 0) { posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO); }
  started child;
  const int failed = posix_spawnp(&child.pid, words[0], &actions, nullptr, words.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  child.output = ends[0];
  if (failed != 0) { child.pid = -1; }
  return child;
}

int finish(const started& child) {
  if (child.output >= 0) { close(child.output); }
  int status = 0;
  if (child.pid < 0 || waitpid(child.pid, &status, 0) != child.pid) { return -1; }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

ssize_t read_some(int fd, void* buffer, std::size_t size) {
  ssize_t count = 0;
  do {
    count = read(fd, buffer, size);
  } while (count < 0 && errno == EINTR);
  return count;
}

// False at the end of the output.
bool fill(int fd, std::vector<std::uint8_t>& buffer) {
  std::size_t have = 0;
  while (have < buffer.size()) {
    const ssize_t count = read_some(fd, buffer.data() + have, buffer.size() - have);
    if (count <= 0) { return false; }
    have += static_cast<std::size_t>(count);
  }
  return true;
}

std::string content_of(int fd) {
  std::string text;
  char buffer[4096];
  ssize_t count = 0;
  while ((count = pread(fd, buffer, sizeof buffer, static_cast<off_t>(text.size()))) > 0) {
    text.append(buffer, static_cast<std::size_t>(count));
  }
  return text;
}

}  // namespace

child_result run_child(const std::vector<std::string>& argv, bool keep_errors) {
  const int errors = keep_errors ? memfd_create("errors", MFD_CLOEXEC) : -1;
  const started child = start(argv, errors);
  child_result result;
  char buffer[65536];
  ssize_t count = 0;
  while (child.output >= 0 && (count = read_some(child.output, buffer, sizeof buffer)) > 0) {
    result.output.append(buffer, static_cast<std::size_t>(count));
  }
  result.status = finish(child);
  if (errors >= 0) {
    result.errors = content_of(errors);
    close(errors);
  }
  return result;
}

int read_blocks(const std::vector<std::string>& argv, std::size_t size,
                const std::function<void(const std::uint8_t*)>& block) {
  const started child = start(argv, -1);
  std::vector<std::uint8_t> buffer(size);
  while (child.output >= 0 && fill(child.output, buffer)) {
    block(buffer.data());
  }
  return finish(child);
}

}  // namespace qx_test
