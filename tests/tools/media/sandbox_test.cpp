// The limits of a program in the sandbox. Each case confines a separate process.
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/unique_fd.h"
#include "tools/media/sandbox.h"

namespace {

constexpr const char* program = "/usr/bin/ffmpeg";

struct files {
  std::string folder;
  unique_fd source;
  unique_fd output;

  files() {
    char name[] = "/tmp/qx-sandbox-XXXXXX";
    folder = mkdtemp(name);
    std::ofstream(folder + "/source") << "media";
    std::ofstream(folder + "/other") << "secret";
    std::ofstream(folder + "/output") << "";
    source.reset(open((folder + "/source").c_str(), O_RDONLY | O_CLOEXEC));
    output.reset(open((folder + "/output").c_str(), O_RDWR | O_CLOEXEC));
  }
  ~files() {
    for (const char* const name : {"/source", "/other", "/output"}) {
      unlink((folder + name).c_str());
    }
    rmdir(folder.c_str());
  }
  files(const files&) = delete;
  files& operator=(const files&) = delete;

  sandbox limits() const {
    sandbox given;
    given.readable = {source.get()};
    given.writable = output.get();
    given.largest_file = 1000;
    return given;
  }
};

std::string name_of(const unique_fd& file) {
  return "/proc/self/fd/" + std::to_string(file.get());
}

// Whether `attempt` gives true in a process that is confined to `limits`.
template <typename Attempt>
void expect_confined(const sandbox& limits, Attempt attempt) {
  EXPECT_EXIT(
      {
        if (!enter_sandbox(limits, program)) { _exit(2); }
        _exit(attempt() ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

bool is_refused(int result, int with) {
  return result == -1 && errno == with;
}

rlim_t limit_of(__rlimit_resource_t resource) {
  rlimit now{};
  return getrlimit(resource, &now) == 0 ? now.rlim_max : RLIM_INFINITY;
}

struct sandbox_files : testing::Test {
  void SetUp() override {
    // The tools work without these rules, and doctor reports that they are missing.
    if (available_sandbox().file_rules == 0) {
      GTEST_SKIP() << "this kernel has no rules for files";
    }
  }
  files given;
};

struct sandbox_calls : testing::Test {
  void SetUp() override { ASSERT_TRUE(available_sandbox().system_calls); }
  files given;
};

}  // namespace

TEST_F(sandbox_files, that_are_given_can_be_read) {
  expect_confined(given.limits(), [this] {
    char bytes[5];
    const unique_fd file(open(name_of(given.source).c_str(), O_RDONLY));
    return read(file.get(), bytes, sizeof bytes) == 5;
  });
}

TEST_F(sandbox_files, that_are_given_to_be_read_cannot_be_written) {
  expect_confined(given.limits(), [this] {
    return is_refused(open(name_of(given.source).c_str(), O_WRONLY), EACCES);
  });
}

TEST_F(sandbox_files, that_are_given_can_be_rewritten_and_read_again) {
  expect_confined(given.limits(), [this] {
    const unique_fd file(open(name_of(given.output).c_str(), O_RDWR | O_CREAT | O_TRUNC, 0666));
    const unique_fd again(open(name_of(given.output).c_str(), O_RDONLY));
    char byte = 0;
    return write(file.get(), "x", 1) == 1 && read(again.get(), &byte, 1) == 1 && byte == 'x';
  });
}

// The folder that is lent for new files, and nothing beside it.
TEST_F(sandbox_files, can_be_made_in_the_work_folder_alone) {
  const std::string made = given.folder + "/work";
  ASSERT_EQ(mkdir(made.c_str(), 0700), 0);
  const unique_fd folder(open(made.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  sandbox limits = given.limits();
  limits.work_folder = folder.get();
  expect_confined(limits, [&] {
    const unique_fd file(open((name_of(folder) + "/new").c_str(), O_RDWR | O_CREAT, 0600));
    return write(file.get(), "x", 1) == 1 &&
           is_refused(open((given.folder + "/new").c_str(), O_RDWR | O_CREAT, 0600), EACCES) &&
           is_refused(open((name_of(folder) + "/../other").c_str(), O_RDONLY), EACCES) &&
           is_refused(mkdir((name_of(folder) + "/sub").c_str(), 0700), EACCES);
  });
  EXPECT_EQ(access((made + "/new").c_str(), F_OK), 0);
  unlink((made + "/new").c_str());
  rmdir(made.c_str());
}

TEST_F(sandbox_files, of_others_cannot_be_opened) {
  expect_confined(given.limits(), [this] {
    return is_refused(open((given.folder + "/other").c_str(), O_RDONLY), EACCES) &&
           is_refused(open("/etc/passwd", O_RDONLY), EACCES) &&
           is_refused(open("/proc/self/environ", O_RDONLY), EACCES) &&
           is_refused(open("/proc/self/root/etc/passwd", O_RDONLY), EACCES);
  });
}

TEST_F(sandbox_files, cannot_be_created_or_removed) {
  expect_confined(given.limits(), [this] {
    return is_refused(open((given.folder + "/new").c_str(), O_WRONLY | O_CREAT, 0600), EACCES) &&
           is_refused(unlink((given.folder + "/other").c_str()), EACCES) &&
           is_refused(rename((given.folder + "/other").c_str(), (given.folder + "/x").c_str()),
                      EACCES);
  });
}

TEST_F(sandbox_files, that_are_programs_cannot_be_executed) {
  expect_confined(given.limits(), [] {
    char* const arguments[] = {nullptr};
    return is_refused(execve("/usr/bin/env", arguments, arguments), EACCES);
  });
}

TEST_F(sandbox_files, grow_to_their_limit) {
  EXPECT_EXIT(
      {
        enter_sandbox(given.limits(), program);
        const std::string bytes(2000, 'x');
        _exit(write(given.output.get(), bytes.data(), bytes.size()) == 1000 &&
                      write(given.output.get(), "x", 1) == 1
                  ? 1
                  : 2);
      },
      testing::KilledBySignal(SIGXFSZ), "");
}

TEST_F(sandbox_calls, to_the_network_are_refused) {
  expect_confined({}, [] {
    int pair[2];
    return is_refused(socket(AF_INET, SOCK_STREAM, 0), EPERM) &&
           is_refused(socket(AF_UNIX, SOCK_STREAM, 0), EPERM) &&
           is_refused(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), EPERM);
  });
}

TEST_F(sandbox_calls, that_make_processes_are_refused) {
  expect_confined({}, [] { return is_refused(fork(), EPERM); });
}

#ifndef __SANITIZE_ADDRESS__  // which reserves more memory than the sandbox allows
TEST_F(sandbox_calls, that_make_threads_are_not) {
  expect_confined({}, [] {
    bool ran = false;
    std::thread([&ran] { ran = true; }).join();
    return ran;
  });
}
#endif

TEST_F(sandbox_calls, that_change_owners_or_permissions_are_refused) {
  expect_confined({}, [] {
    return is_refused(chmod("/tmp", 0777), EPERM) && is_refused(chown("/tmp", 0, 0), EPERM);
  });
}

TEST_F(sandbox_calls, that_empty_files_are_refused) {
  expect_confined(given.limits(), [this] {
    const std::string path = given.folder + "/other";
    const std::string source = name_of(given.source);
    const std::string output = name_of(given.output);
    return is_refused(truncate(path.c_str(), 0), EPERM) &&
           is_refused(open(source.c_str(), O_RDONLY | O_TRUNC | O_CLOEXEC), EPERM) &&
           unique_fd(open(output.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC)).valid();
  });
}

TEST_F(sandbox_calls, that_send_signals_to_others_are_refused) {
  const pid_t other = getpid();
  expect_confined({}, [other] {
    return is_refused(kill(other, 0), EPERM) && is_refused(kill(-1, 0), EPERM) &&
           is_refused(tgkill(other, other, 0), EPERM) &&
           is_refused(static_cast<int>(syscall(SYS_tkill, other, 0)), EPERM) &&
           is_refused(sigqueue(other, 0, {}), EPERM) && kill(getpid(), 0) == 0 &&
           tgkill(getpid(), gettid(), 0) == 0;
  });
}

TEST_F(sandbox_calls, that_have_a_file_send_signals_are_refused) {
  const pid_t other = getpid();
  expect_confined({}, [other] {
    f_owner_ex owner{F_OWNER_PID, other};
    return is_refused(fcntl(STDIN_FILENO, F_SETOWN, other), EPERM) &&
           is_refused(fcntl(STDIN_FILENO, F_SETOWN_EX, &owner), EPERM) &&
           is_refused(fcntl(STDIN_FILENO, F_SETSIG, SIGKILL), EPERM) &&
           fcntl(STDIN_FILENO, F_GETFL) >= 0;
  });
}

// They could take away the processor time of the tool itself.
TEST_F(sandbox_calls, that_limit_others_are_refused) {
  const pid_t other = getpid();
  expect_confined({}, [other] {
    rlimit now{};
    return is_refused(prlimit(other, RLIMIT_CPU, nullptr, &now), EPERM) &&
           prlimit(0, RLIMIT_CPU, nullptr, &now) == 0;
  });
}

TEST_F(sandbox_calls, that_abort_the_program_itself_are_not) {
  EXPECT_EXIT(
      {
        enter_sandbox({}, program);
        std::abort();
      },
      testing::KilledBySignal(SIGABRT), "");
}

TEST(sandbox_limits, are_set) {
  sandbox given;
  given.processor_time = std::chrono::seconds(77);
  expect_confined(given, [] {
    return limit_of(RLIMIT_CORE) == 0 && limit_of(RLIMIT_CPU) == 77 &&
           limit_of(RLIMIT_NOFILE) <= 256 && limit_of(RLIMIT_FSIZE) == 0 &&
           limit_of(RLIMIT_AS) != RLIM_INFINITY && limit_of(RLIMIT_AS) >= rlim_t{4} << 30;
  });
}

TEST(sandbox_limits, keep_lower_ones) {
  expect_confined({}, [] { return true; });
  EXPECT_EXIT(
      {
        rlimit few{};
        few.rlim_cur = few.rlim_max = 20;
        setrlimit(RLIMIT_NOFILE, &few);
        _exit(enter_sandbox({}, program) && limit_of(RLIMIT_NOFILE) == 20 ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

TEST(sandbox_privileges, cannot_be_gained) {
  expect_confined({}, [] { return prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) == 1; });
}
