// Whether a transport stream's clock is found even.
#include <fstream>

#include <fcntl.h>

#include <gtest/gtest.h>

#include "platform/unique_fd.h"
#include "tests/support/media/tool_run.h"
#include "tools/media/transport_clock.h"

using namespace qx_test;

namespace {

constexpr long long ticks_a_second = 90000;

// A packet of carrier 256 with nothing but the clock in it.
std::string clock_packet(long long ticks, int carrier) {
  std::string packet(188, '\xff');
  packet[0] = 'G';
  packet[1] = static_cast<char>(carrier >> 8);
  packet[2] = static_cast<char>(carrier & 0xff);
  packet[3] = '\x20';
  packet[4] = static_cast<char>(183);
  packet[5] = '\x10';
  const unsigned long long clock = static_cast<unsigned long long>(ticks) & 0x1ffffffffULL;
  for (int n = 0; n < 4; ++n) {
    packet[static_cast<std::size_t>(6 + n)] = static_cast<char>(clock >> (25 - 8 * n));
  }
  packet[10] = static_cast<char>((clock & 1) << 7 | 0x7e);
  packet[11] = '\0';
  return packet;
}

// Ten clock packets a second and filling between them.
std::string run(long long begin, long long seconds, int filling = 10, int carrier = 256) {
  std::string bytes;
  const std::string empty = std::string("G\x1f\xff\x10") + std::string(184, '\xff');
  for (long long n = 0; n < 10 * seconds; ++n) {
    bytes += clock_packet(begin + n * ticks_a_second / 10, carrier);
    for (int m = 0; m < filling; ++m) {
      bytes += empty;
    }
  }
  return bytes;
}

bool is_even(const std::string& bytes) {
  const scratch_folder folder;
  std::ofstream(folder.file("x.ts"), std::ios::binary) << bytes;
  const unique_fd fd(open(folder.file("x.ts").c_str(), O_RDONLY | O_CLOEXEC));
  return transport_clock_is_even(fd.get());
}

}  // namespace

TEST(transport_clock, that_runs_continuously_is_even) {
  EXPECT_TRUE(is_even(run(1000, 600)));
}

TEST(transport_clock, that_wraps_around_is_even) {
  EXPECT_TRUE(is_even(run((1LL << 33) - 20 * ticks_a_second, 60)));
}

TEST(transport_clock, with_packets_of_other_lengths_is_even) {
  std::string longer;
  const std::string plain = run(0, 60);
  for (std::size_t at = 0; at < plain.size(); at += 188) {
    longer += std::string(4, '\0') + plain.substr(at, 188);
  }
  EXPECT_TRUE(is_even(longer));
}

TEST(transport_clock, that_jumps_is_not_even) {
  const long long begin = 1000 * ticks_a_second;
  EXPECT_FALSE(is_even(run(begin, 300) + run(9 * begin, 300)));
  EXPECT_FALSE(is_even(run(begin, 300) + run(0, 300)));
  EXPECT_FALSE(is_even(run(begin, 300) + run(begin, 300)));
}

TEST(transport_clock, that_jumps_between_the_places_is_not_even) {
  const long long begin = 1000 * ticks_a_second;
  EXPECT_FALSE(is_even(run(begin, 50, 400) + run(2 * begin, 50, 400)));
}

TEST(transport_clock, that_changes_its_carrier_is_not_even) {
  const long long begin = 1000 * ticks_a_second;
  EXPECT_FALSE(is_even(run(begin, 300) + run(begin + 300 * ticks_a_second, 300, 10, 300)));
}

TEST(transport_clock, that_changes_its_carrier_early_is_not_even) {
  EXPECT_FALSE(is_even(run(0, 5, 0) + run(5 * ticks_a_second, 60, 0, 300)));
}

TEST(transport_clock, of_each_of_two_programs_is_followed) {
  std::string both;
  const std::string one = run(0, 60, 0);
  const std::string other = run(500 * ticks_a_second, 60, 0, 300);
  for (std::size_t at = 0; at < one.size(); at += 188) {
    both += one.substr(at, 188) + other.substr(at, 188);
  }
  EXPECT_TRUE(is_even(both));
}

TEST(transport_clock, that_is_missing_is_not_even) {
  EXPECT_FALSE(is_even(std::string(100000, 'x')));
}
