#include "tests/tools/qxmi_vod_transcode/segment_bytes.h"

namespace qx_test {
namespace {

std::string number(std::uint32_t value) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) {
    bytes += static_cast<char>(value >> shift);
  }
  return bytes;
}

std::string box(const std::string& type, const std::string& content) {
  return number(static_cast<std::uint32_t>(8 + content.size())) + type + content;
}

std::string file_of(const std::string& entry, std::uint32_t samples, const std::string& content) {
  const std::string table = box("stsd", number(0) + number(1) + entry) +
                            box("stsz", number(0) + number(0) + number(samples));
  return box("ftyp", "isom") + box("mdat", content) +
         box("moov", box("trak", box("mdia", box("minf", box("stbl", table)))));
}

}  // namespace

std::string film(std::uint32_t frames, const std::string& parameters) {
  const std::string entry = box("avc1", std::string(78, 'f') + box("avcC", parameters));
  return file_of(entry, frames, "pictures");
}

std::string whole_sound(std::uint32_t packets) {
  return file_of(box("mp4a", "parameters"), packets, "sound");
}

std::string sound(int packets) {
  std::string bytes;
  for (int packet = 0; packet < packets; ++packet) {
    bytes += std::string("\xff\xf1\x4c\x80\x01\x5f\xfc", 7) + "abc";  // 10 bytes
  }
  return bytes;
}

}  // namespace qx_test
