#include "tools/vod_cgi/folded_text.h"

#include <cstdint>

#include <unicase.h>
#include <unistr.h>

std::string folded_text(const std::string& text) {
  std::string folded;
  folded.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    ucs4_t letter = 0;
    const auto* const at = reinterpret_cast<const std::uint8_t*>(&text[i]);
    const int length = u8_mbtoucr(&letter, at, text.size() - i);
    std::uint8_t lower[4] = {};
    const int size = length > 0 ? u8_uctomb(lower, uc_tolower(letter), sizeof(lower)) : 0;
    if (size > 0) {
      folded.append(lower, lower + size);
      i += static_cast<std::size_t>(length);
    } else {
      folded += text[i++];
    }
  }
  return folded;
}
