#include "tools/qxmi_vod_transcode/random_word.h"

#include <cstdint>
#include <random>

#include "tools/qxmi_vod_transcode/content_sum.h"

std::string random_word() {
  std::random_device random;
  return hexadecimal((std::uint64_t{random()} << 32U) | random());
}

const std::string& process_word() {
  static const std::string word = random_word();
  return word;
}
