// A result appears when it is whole, or not at all.
#include <csignal>
#include <fstream>
#include <optional>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/unique_fd.h"
#include "tests/support/media/tool_run.h"
#include "tests/support/skip.h"
#include "tools/media/output_file.h"
#include "tools/media/tool_signals.h"

using namespace qx_test;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::string content(const std::string& path) {
  std::ifstream stream(path);
  return {std::istreambuf_iterator<char>(stream), {}};
}

class output_file_test : public testing::Test {
protected:
  scratch_folder folder;
  std::string path = folder.file("result");
  std::string error;
};

}  // namespace

TEST_F(output_file_test, is_hidden_and_beside_its_place_until_it_is_committed) {
  output_file output;
  ASSERT_TRUE(output.create(path, error)) << error;
  ASSERT_EQ(folder.names().size(), 1U);
  EXPECT_EQ(folder.names()[0][0], '.');
  EXPECT_EQ(output.temporary_path(), folder.file(folder.names()[0]));
}

TEST_F(output_file_test, commit_gives_it_its_name) {
  output_file output;
  ASSERT_TRUE(output.create(path, error)) << error;
  std::ofstream(output.temporary_path()) << "whole";
  ASSERT_TRUE(output.commit(error)) << error;
  EXPECT_THAT(folder.names(), ElementsAre("result"));
  EXPECT_EQ(content(path), "whole");
}

TEST_F(output_file_test, is_removed_when_it_is_not_committed) {
  {
    output_file output;
    ASSERT_TRUE(output.create(path, error)) << error;
  }
  EXPECT_THAT(folder.names(), IsEmpty());
}

TEST_F(output_file_test, leaves_an_older_result_alone_until_commit) {
  std::ofstream(path) << "older";
  output_file output;
  ASSERT_TRUE(output.create(path, error)) << error;
  EXPECT_EQ(content(path), "older");
  ASSERT_TRUE(output.commit(error)) << error;
  EXPECT_EQ(content(path), "");
}

TEST_F(output_file_test, is_written_by_one_tool_at_a_time) {
  output_file first;
  output_file second;
  ASSERT_TRUE(first.create(path, error)) << error;
  EXPECT_FALSE(second.create(path, error, 50ms));
  EXPECT_EQ(error, "is being written by another tool");
  std::ofstream(first.temporary_path()) << "whole";
  EXPECT_TRUE(first.commit(error)) << error;
  EXPECT_EQ(content(path), "whole");
}

TEST_F(output_file_test, waits_for_a_tool_that_is_ending) {
  std::optional<output_file> ending(std::in_place);
  ASSERT_TRUE(ending->create(path, error)) << error;
  std::thread end([&] {
    std::this_thread::sleep_for(300ms);  // as long as the end may take
    ending.reset();
  });
  output_file next;
  EXPECT_TRUE(next.create(path, error)) << error;
  end.join();
  EXPECT_EQ(folder.names().size(), 1U);
}

TEST_F(output_file_test, others_in_the_same_folder_can_be_written_at_the_same_time) {
  output_file first;
  output_file second;
  ASSERT_TRUE(first.create(path, error)) << error;
  EXPECT_TRUE(second.create(folder.file("another"), error)) << error;
  EXPECT_TRUE(first.commit(error) && second.commit(error)) << error;
  EXPECT_THAT(folder.names(), testing::UnorderedElementsAre("another", "result"));
}

TEST_F(output_file_test, is_not_blocked_by_a_strangers_file) {
  if (geteuid() != 0) { QX_SKIP_OR_FAIL_IN_CI("not root"); }
  std::string part;
  {
    output_file named;
    ASSERT_TRUE(named.create(path, error)) << error;
    part = named.temporary_path();
  }
  const unique_fd locked(open(part.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  ASSERT_EQ(flock(locked.get(), LOCK_EX), 0);
  ASSERT_EQ(chown(part.c_str(), 4711, 4711), 0);
  output_file output;
  EXPECT_TRUE(output.create(path, error)) << error;
  EXPECT_TRUE(output.commit(error)) << error;
}

TEST_F(output_file_test, that_was_exchanged_is_not_committed) {
  output_file output;
  ASSERT_TRUE(output.create(path, error)) << error;
  ASSERT_EQ(unlink(output.temporary_path().c_str()), 0);
  std::ofstream(output.temporary_path()) << "another";
  EXPECT_FALSE(output.commit(error));
  EXPECT_EQ(error, "was exchanged for another file");
  EXPECT_NE(access(path.c_str(), F_OK), 0);
}

TEST_F(output_file_test, goes_to_the_folder_that_was_opened) {
  const std::string moved = folder.file("moved");
  ASSERT_EQ(mkdir(folder.file("place").c_str(), 0700), 0);
  output_file output;
  ASSERT_TRUE(output.create(folder.file("place/result"), error)) << error;
  ASSERT_EQ(rename(folder.file("place").c_str(), moved.c_str()), 0);
  ASSERT_EQ(mkdir(folder.file("place").c_str(), 0700), 0);
  ASSERT_TRUE(output.commit(error)) << error;
  EXPECT_EQ(access((moved + "/result").c_str(), F_OK), 0);
  EXPECT_NE(access(folder.file("place/result").c_str(), F_OK), 0);
}

TEST_F(output_file_test, replaces_the_unfinished_file_of_a_killed_tool) {
  {
    output_file killed;
    ASSERT_TRUE(killed.create(path, error)) << error;
    ASSERT_EQ(link(killed.temporary_path().c_str(), folder.file("kept").c_str()), 0);
  }
  std::string part;
  {
    output_file named;
    ASSERT_TRUE(named.create(path, error)) << error;
    part = named.temporary_path();
  }
  ASSERT_EQ(rename(folder.file("kept").c_str(), part.c_str()), 0);
  output_file next;
  EXPECT_TRUE(next.create(path, error)) << error;
}

namespace {

// A tool whose service is killed before it commits: the service is a process in between, and the
// kernel sends the tool SIGTERM at its end, as the service asks for each of its children.
class orphaned_tool {
public:
  explicit orphaned_tool(const std::string& path) {
    EXPECT_EQ(pipe2(answers_, O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(orders_, O_CLOEXEC), 0);
    service_ = fork();
    if (service_ == 0) {
      if (fork() == 0) { run(path); }
      pause();
    }
  }
  ~orphaned_tool() {
    for (const int fd : {answers_[0], answers_[1], orders_[0], orders_[1]}) {
      close(fd);
    }
  }
  orphaned_tool(const orphaned_tool&) = delete;
  orphaned_tool& operator=(const orphaned_tool&) = delete;

  char answer() const {
    char letter = 0;
    EXPECT_EQ(read(answers_[0], &letter, 1), 1);
    return letter;
  }
  void kill_service() const {
    EXPECT_EQ(kill(service_, SIGKILL), 0);
    EXPECT_EQ(waitpid(service_, nullptr, 0), service_);
  }
  void order_commit() const { EXPECT_EQ(write(orders_[1], "c", 1), 1); }

private:
  [[noreturn]] void run(const std::string& path) const {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    std::optional<output_file> output(std::in_place);
    std::string error;
    tell(catch_tool_signals() && output->create(path, error) ? 'r' : 'f');
    char order = 0;
    const bool ordered = read(orders_[0], &order, 1) == 1;
    const bool committed = ordered && output->commit(error);
    output.reset();
    tell(committed ? 'c' : 'n');
    _exit(0);
  }
  void tell(char letter) const { static_cast<void>(write(answers_[1], &letter, 1) == 1); }

  int answers_[2] = {-1, -1};
  int orders_[2] = {-1, -1};
  pid_t service_ = -1;
};

}  // namespace

TEST_F(output_file_test, is_not_committed_after_the_service_was_killed) {
  const orphaned_tool tool(path);
  ASSERT_EQ(tool.answer(), 'r') << "ready";
  tool.kill_service();
  tool.order_commit();
  EXPECT_EQ(tool.answer(), 'n') << "not committed";
  EXPECT_THAT(folder.names(), IsEmpty());
}

TEST_F(output_file_test, removes_unfinished_files_of_killed_tools_in_its_folder) {
  std::ofstream(folder.file(".qx-part-12345678")) << "half";
  std::ofstream(folder.file(".qx-other")) << "somebody's";
  output_file output;
  ASSERT_TRUE(output.create(path, error) && output.commit(error)) << error;
  EXPECT_THAT(folder.names(), testing::UnorderedElementsAre(".qx-other", "result"));
}

TEST_F(output_file_test, leaves_anything_but_a_regular_unfinished_file_alone) {
  ASSERT_EQ(mkdir(folder.file(".qx-part-a").c_str(), 0700), 0);
  ASSERT_EQ(symlink("result", folder.file(".qx-part-b").c_str()), 0);
  ASSERT_EQ(mkfifo(folder.file(".qx-part-c").c_str(), 0600), 0);
  output_file output;
  ASSERT_TRUE(output.create(path, error) && output.commit(error)) << error;
  EXPECT_THAT(folder.names(),
              testing::UnorderedElementsAre(".qx-part-a", ".qx-part-b", ".qx-part-c", "result"));
}

TEST_F(output_file_test, is_readable_only_by_its_owner_until_it_is_committed) {
  output_file output;
  ASSERT_TRUE(output.create(path, error)) << error;
  struct stat status = {};
  ASSERT_EQ(stat(output.temporary_path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(output_file_test, has_the_permissions_that_the_umask_leaves) {
  const mode_t before = umask(027);
  output_file output;
  EXPECT_TRUE(output.create(path, error) && output.commit(error)) << error;
  umask(before);
  struct stat status = {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0640U);
}

TEST_F(output_file_test, the_longest_name_fits) {
  output_file output;
  ASSERT_TRUE(output.create(folder.file(std::string(255, 'n')), error)) << error;
  EXPECT_TRUE(output.commit(error)) << error;
}

TEST_F(output_file_test, a_directory_is_refused) {
  output_file output;
  EXPECT_FALSE(output.create(folder.path(), error));
  EXPECT_EQ(error, "Is a directory");
  EXPECT_FALSE(output.create(folder.path() + "/", error));
  EXPECT_THAT(folder.names(), IsEmpty());
}

TEST_F(output_file_test, a_missing_folder_is_reported) {
  output_file output;
  EXPECT_FALSE(output.create(folder.file("no/result"), error));
  EXPECT_EQ(error, "No such file or directory");
}

TEST_F(output_file_test, a_failed_commit_leaves_nothing) {
  {
    output_file output;
    ASSERT_TRUE(output.create(path, error)) << error;
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    EXPECT_FALSE(output.commit(error));
    EXPECT_EQ(error, "Is a directory");
  }
  EXPECT_THAT(folder.names(), ElementsAre("result"));
}
