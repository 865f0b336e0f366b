#include "tests/trust/faulty_machine.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/wait_until.h"

namespace qx_test {

namespace {

constexpr int answer_deadline_ms = 1500;
constexpr std::chrono::seconds recovery_deadline{8};

fault_plan* map_plan(const std::string& path) {
  const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  EXPECT_EQ(ftruncate(fd, sizeof(fault_plan)), 0);
  void* const place = mmap(nullptr, sizeof(fault_plan), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  EXPECT_NE(place, MAP_FAILED);
  close(fd);
  return static_cast<fault_plan*>(place);
}

}  // namespace

std::string fault::text() const {
  return std::string(fault_call_names[static_cast<int>(call)]) + " " + std::to_string(first) +
         (forever ? " and all after" : "");
}

// The library is copied to where the private root sees it.
faulty_machine::faulty_machine() : plan_(map_plan(machine.root.scratch("fault_plan"))) {
  write_file(machine.root.scratch("faults.so"), read_file(QX_FAULT_INJECTOR));
  machine.service.set_environment(
      {"LD_PRELOAD=" + machine.root.scratch("faults.so"),
       std::string(fault_plan_variable) + "=" + machine.root.scratch("fault_plan")});
}

faulty_machine::~faulty_machine() {
  disarm();
  munmap(plan_, sizeof(fault_plan));
}

void faulty_machine::arm(const fault& what) {
  disarm();
  for (auto& seen : plan_->seen) {
    seen = 0;
  }
  plan_->injected = 0;
  plan_->first = what.first;
  plan_->forever = what.forever;
  plan_->armed = static_cast<int>(what.call);
}

void faulty_machine::disarm() {
  plan_->armed = static_cast<int>(fault_call::none);
}

std::vector<long> faulty_machine::calls_made() const {
  std::vector<long> made;
  for (const auto& seen : plan_->seen) {
    made.push_back(seen);
  }
  return made;
}

reply_packet faulty_machine::request(std::string_view command, const name_values& pairs) const {
  request_packet packet;
  packet.words = {std::string(command)};
  packet.pairs = pairs;
  const raw_connection connection(machine.client.socket_path());
  if (!connection.connected() || !connection.send(packet.encoded())) { return {}; }
  pollfd readable{connection.fd(), POLLIN, 0};
  return poll(&readable, 1, answer_deadline_ms) > 0 ? connection.receive() : reply_packet{};
}

bool faulty_machine::answers() const {
  return wait_until([this] { return request("test").status() == "OK"; }, recovery_deadline);
}

}  // namespace qx_test
