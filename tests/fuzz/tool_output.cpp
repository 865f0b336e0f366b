// What the service reads of its tools: the profile list, progress lines, and the position of an
// upload. The bytes come in two pieces, since a pipe may divide them anywhere.
#include <algorithm>
#include <cstring>

#include "exec/child_output.h"
#include "platform/sliding_window_v4.h"
#include "queue/queue_item.h"
#include "remote/upload_progress.h"
#include "rules/limits.h"
#include "rules/transcoder_contract.h"
#include "tests/fuzz/fuzz_target.h"

namespace {

// Far smaller than the service's, so that short inputs fill it too.
constexpr std::size_t buffer_size = 256;

class child_output {
public:
  child_output() { QueueItem::_std_init_buffer(item_.proc_stdout_buffer, buffer_size); }

  // Hands the bytes over as a pipe would, and reads every line that is complete.
  void take(std::string_view bytes) {
    while (!bytes.empty()) {
      sliding_window_v4* const buffer = item_.proc_stdout_buffer;
      sliding_window_v4_lazy_flush(buffer);
      const std::size_t count = std::min(bytes.size(), sliding_window_v4_can_write(buffer));
      memcpy(buffer->write_pos, bytes.data(), count);
      buffer->write_pos += count;
      bytes.remove_prefix(count);
      read_lines();
    }
  }

  const std::vector<std::string>& profiles() const { return listing_.profiles(); }

private:
  void read_lines() {
    while (const char* line = item_.proc_stdout_getline()) {
      fuzz_expect(strlen(line) < buffer_size, "a line ends within the buffer");
      fuzz_expect(strchr(line, '\n') == nullptr, "a line is one line");
      listing_.take_line(line);
      read_progress_line(line, count_);
      fuzz_expect(count_.total != 0 || !count_.progress(), "progress needs a total");
    }
    drop_overlong_line(item_.proc_stdout_buffer);
    sliding_window_v4_lazy_flush(item_.proc_stdout_buffer);
    fuzz_expect(sliding_window_v4_can_write(item_.proc_stdout_buffer) > 0, "the child can go on");
  }

  QueueItem item_;
  listing_reader listing_;
  frame_count count_;
};

bool ends_in_carriage_return(const std::string& name) {
  return name.back() == '\r';
}

void read_profiles(const std::vector<std::string>& profiles) {
  if (profiles.empty()) { return; }
  const std::string chosen = choose_profile(profiles, 720).profile;
  fuzz_expect(std::find(profiles.begin(), profiles.end(), chosen) != profiles.end(),
              "the profile that is chosen was offered");
  // Of several carriage returns each reading takes one.
  if (std::any_of(profiles.begin(), profiles.end(), ends_in_carriage_return)) { return; }
  fuzz_expect(profiles_in_listing(listing_text(profiles)) == profiles,
              "a list that was read can be written and reads back the same");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::size_t middle = size == 0 ? 0 : data[0] % size;
  child_output output;
  output.take(text.substr(0, middle));
  output.take(text.substr(middle));
  read_profiles(output.profiles());
  std::uint64_t position = 7;
  fuzz_expect(find_read_position(text, position) || position == 7, "no position changes nothing");
  return 0;
}

std::vector<std::string> fuzz_seeds() {
  return {"*QUOTE\n.. 1080\n.. 720\r\n.. 480\n",
          "noise\n*QUOTE\n..  x\n.. \n.. 2 3\n*QUOTE\n..",
          "Encoding: frame=12/250 fps=24.9 speed=1.2x\nEncoding: frame=13/250 fps=0 speed=9x\r\n",
          "Encoding: frame=18446744073709551615/1\nEncoding: frame=\nEncoding:frame=/ frame=2\n",
          "pos:\t0\nflags:\t0100000\nmnt_id:\t25\npos: 1048576\npos:99999999999999999999\n",
          std::string(300, 'a') + "\nEncoding: frame=1/2"};
}
