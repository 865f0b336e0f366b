#include "tools/qxmi_vod_transcode/segment_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string_view>

#include <sys/stat.h>
#include <unistd.h>

#include "tools/qxmi_vod_transcode/content_sum.h"

namespace {

constexpr std::size_t read_size = 1U << 18;
constexpr std::uint64_t longest_description = 65536;  // bytes
constexpr std::uint64_t avc_fields = 78;              // bytes of a sample entry before its boxes
constexpr std::size_t adts_header = 7;

// Calls `take(bytes)` for the whole file piece by piece until it returns false.
template <typename Take>
bool read_through(int file, Take take) {
  std::string buffer(read_size, '\0');
  off_t at = 0;
  while (true) {
    const ssize_t count = pread(file, buffer.data(), buffer.size(), at);
    if (count < 0 && errno == EINTR) { continue; }
    if (count <= 0) { return count == 0; }
    if (!take(std::string_view(buffer).substr(0, static_cast<std::size_t>(count)))) {
      return false;
    }
    at += count;
  }
}

bool read_at(int file, std::uint64_t at, char* bytes, std::size_t size) {
  return pread(file, bytes, size, static_cast<off_t>(at)) == static_cast<ssize_t>(size);
}

std::uint64_t big_endian(const char* bytes, int count) {
  std::uint64_t value = 0;
  for (int i = 0; i < count; ++i) {
    value = value << 8 | static_cast<unsigned char>(bytes[i]);
  }
  return value;
}

// ---- MP4: boxes in boxes

struct box {
  std::string type;
  std::uint64_t begin = 0;  // of its content
  std::uint64_t end = 0;
};

// The box at `at`; nothing if it does not end at `end` or before.
std::optional<box> box_at(int file, std::uint64_t at, std::uint64_t end) {
  char head[16];
  if (at + 8 > end || !read_at(file, at, head, 8)) { return {}; }
  std::uint64_t size = big_endian(head, 4);
  std::uint64_t head_size = 8;
  if (size == 1) {
    if (at + 16 > end || !read_at(file, at, head, 16)) { return {}; }
    size = big_endian(head + 8, 8);
    head_size = 16;
  }
  if (size < head_size || size > end - at) { return {}; }
  return box{std::string(head + 4, 4), at + head_size, at + size};
}

// The only box of that type in `within`; nothing if there is none or more, or if the boxes do not
// fill it exactly.
std::optional<box> only_box(int file, const box& within, std::string_view type) {
  std::optional<box> found;
  std::uint64_t at = within.begin;
  while (at < within.end) {
    const std::optional<box> next = box_at(file, at, within.end);
    if (!next || (next->type == type && found)) { return {}; }
    if (next->type == type) { found = next; }
    at = next->end;
  }
  return found;
}

std::optional<box> sample_table(int file, std::uint64_t size) {
  std::optional<box> found = box{"file", 0, size};
  for (const char* type : {"moov", "trak", "mdia", "minf", "stbl"}) {
    found = only_box(file, *found, type);
    if (!found) { break; }
  }
  return found;
}

bool add_range(int file, std::uint64_t begin, std::uint64_t end, content_sum& sum) {
  if (end < begin || end - begin > longest_description) { return false; }
  std::string bytes(end - begin, '\0');
  if (!read_at(file, begin, bytes.data(), bytes.size())) { return false; }
  sum.add(bytes);
  return true;
}

// Codec, size and parameter sets; the bit rate, which is next to them, differs by segment.
bool read_description(int file, const box& table, std::string& description) {
  const std::optional<box> entries = only_box(file, table, "stsd");
  if (!entries) { return false; }
  const std::optional<box> entry = box_at(file, entries->begin + 8, entries->end);
  if (!entry || entry->type != "avc1" || entry->end - entry->begin < avc_fields) { return false; }
  const std::uint64_t boxes = entry->begin + avc_fields;
  const std::optional<box> parameters = only_box(file, {"avc1", boxes, entry->end}, "avcC");
  content_sum sum;
  if (!parameters || !add_range(file, entry->begin, boxes, sum) ||
      !add_range(file, parameters->begin, parameters->end, sum)) {
    return false;
  }
  description = hexadecimal(sum.value());
  return true;
}

bool count_samples(int file, const box& table, segment_content& content) {
  const std::optional<box> sizes = only_box(file, table, "stsz");
  char head[12];
  if (!sizes || sizes->end - sizes->begin < sizeof head ||
      !read_at(file, sizes->begin, head, sizeof head)) {
    return false;
  }
  content.frames = static_cast<std::int64_t>(big_endian(head + 8, 4));
  return content.frames > 0;
}

bool read_sum(int file, segment_content& content) {
  content_sum sum;
  const bool complete = read_through(file, [&sum](std::string_view bytes) {
    sum.add(bytes);
    return true;
  });
  content.sum = sum.value();
  return complete;
}

// ---- ADTS: packets with a header each

class adts_counter {
public:
  // False once something is no packet.
  bool take(std::string_view bytes) {
    rest_.append(bytes);
    std::size_t at = 0;
    while (rest_.size() - at >= adts_header) {
      const std::size_t length = packet_length(rest_.data() + at);
      if (length < adts_header) { return false; }
      if (rest_.size() - at < length) { break; }
      at += length;
      ++packets_;
    }
    rest_.erase(0, at);
    return true;
  }

  bool is_complete() const { return rest_.empty() && packets_ > 0; }
  std::int64_t packets() const { return packets_; }

private:
  static std::size_t packet_length(const char* head) {
    constexpr std::uint64_t mark = 0xfff0;
    constexpr std::uint64_t mark_bits = 0xfff6;
    if ((big_endian(head, 2) & mark_bits) != mark) { return 0; }
    return static_cast<std::size_t>(big_endian(head + 3, 3) >> 5 & 0x1fff);
  }

  std::string rest_;
  std::int64_t packets_ = 0;
};

bool file_size(int file, std::uint64_t& size) {
  struct stat status = {};
  if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) { return false; }
  size = static_cast<std::uint64_t>(status.st_size);
  return true;
}

}  // namespace

bool read_picture_segment(int file, segment_content& content) {
  if (!file_size(file, content.bytes)) { return false; }
  const std::optional<box> table = sample_table(file, content.bytes);
  return table && count_samples(file, *table, content) &&
         read_description(file, *table, content.description) && read_sum(file, content);
}

bool read_whole_sound(int file, segment_content& content) {
  if (!file_size(file, content.bytes)) { return false; }
  const std::optional<box> table = sample_table(file, content.bytes);
  return table && count_samples(file, *table, content) && read_sum(file, content);
}

bool read_sound_segment(int file, segment_content& content) {
  if (!file_size(file, content.bytes)) { return false; }
  content_sum sum;
  adts_counter counter;
  const bool complete = read_through(file, [&](std::string_view bytes) {
    sum.add(bytes);
    return counter.take(bytes);
  });
  content.sum = sum.value();
  content.frames = counter.packets();
  return complete && counter.is_complete();
}
