#include "tests/service/many_jobs.h"

#include <algorithm>
#include <filesystem>

#include <gtest/gtest.h>

#include "tests/support/wait_until.h"

namespace qx_test {

namespace {

namespace fs = std::filesystem;

constexpr char jobs_folder[] = "/mnt/main/tv/fileops/jobs";

// The service prints this once for each child that it has reaped.
constexpr char reaped_text[] = " process terminated (status=";

long resident_kib(pid_t pid) {
  for (const auto& line : lines_of(read_file("/proc/" + std::to_string(pid) + "/status"))) {
    if (line.rfind("VmRSS:", 0) == 0) { return std::stol(line.substr(6)); }
  }
  return -1;
}

int entries_in(const std::string& folder) {
  std::error_code error;
  const fs::directory_iterator entries(folder, error);
  return static_cast<int>(std::distance(entries, fs::directory_iterator()));
}

}  // namespace

many_jobs::many_jobs() {
  machine_.root.plan(tool::transcode,
                     tool_plan().print("Encoding: frame=1/2\n").write("{-o}", "video"));
  machine_.start();
}

// Every fifth job needs its metadata made, and every fifth keeps its source.
std::string many_jobs::add_job(int number) const {
  const std::string source = "/mnt/media/clip" + std::to_string(number) + ".mpg";
  const bool has_metadata = number % 5 != 0;
  machine_.root.write_source(source, has_metadata ? "video/mp4" : "");
  return machine_.client.add_ready(source, {{"delete on finish", number % 5 == 1 ? "0" : "1"}});
}

bool many_jobs::has_ended(const std::string& id) const {
  const std::string state = machine_.client.transcode_state(id);
  EXPECT_NE(state, "cancelled") << machine_.client.item(id).dump();
  return state == "done" || state == "cancelled";
}

void many_jobs::remove_all(const std::vector<std::string>& ids) const {
  for (const auto& id : ids) {
    EXPECT_EQ(machine_.client.command("remove", id).status(), "OK");
  }
  EXPECT_TRUE(wait_until([&] { return machine_.client.list()["total"].int_value() == 0; }));
}

int many_jobs::children_started() const {
  const std::string text = machine_.service.stderr_text();
  int count = 0;
  for (auto at = text.find(reaped_text); at != std::string::npos;
       at = text.find(reaped_text, at + 1)) {
    ++count;
  }
  return count;
}

// The stand-ins number their runs by looking at existing records, so thousands of them would be
// slow; and the service's standard error would become hundreds of megabytes.
void many_jobs::forget_round() const {
  std::error_code error;
  fs::resize_file(machine_.root.scratch("service-1.stderr"), 0, error);
  for (const auto& call : fs::directory_iterator(machine_.root.scratch("run/stand_ins/calls"))) {
    fs::remove_all(call, error);
  }
}

int many_jobs::run_round(int jobs) {
  std::vector<std::string> ids;
  for (int i = 0; i < jobs; ++i) {
    ids.push_back(add_job(i));
  }
  for (const auto& id : ids) {
    EXPECT_TRUE(wait_until([&] { return has_ended(id); }, std::chrono::minutes(5)));
  }
  remove_all(ids);
  const int children = children_started();
  forget_round();
  return children;
}

footprint many_jobs::footprint_at_rest() {
  footprint now;
  const auto connections = [&] {
    const auto open = machine_.service.open_descriptors();
    return std::count_if(open.begin(), open.end(), [](const auto& descriptor) {
      return descriptor.second.rfind("socket:", 0) == 0;
    });
  };
  EXPECT_TRUE(wait_until([&] { return connections() == 1; })) << "the listening socket alone";
  now.descriptors = static_cast<int>(machine_.service.open_descriptors().size());
  now.processes = static_cast<int>(machine_.root.processes().size());
  now.job_folders = entries_in(machine_.root.path(jobs_folder));
  now.memory_kib = resident_kib(machine_.service.pid());
  return now;
}

}  // namespace qx_test
