#include "tools/qx_vod_ctl/terminal_text.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <vector>

#include <unictype.h>
#include <unistr.h>
#include <uniwidth.h>

namespace {

constexpr const char* ellipsis = "\u2026";  // one column

// The first character of a text: its code and bytes; no bytes if the text does not begin with one
// in well-formed UTF-8.
struct character {
  ucs4_t code = 0;
  std::size_t length = 0;
};

character first_character(std::string_view text) {
  character first;
  const int length =
      u8_mbtoucr(&first.code, reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
  first.length = length > 0 ? static_cast<std::size_t>(length) : 0;
  return first;
}

// False for characters that control the terminal, end a line, or turn the direction of the text
// around them.
bool is_shown_as_it_is(ucs4_t code) {
  return !uc_is_general_category_withtable(code, UC_CATEGORY_MASK_Cc | UC_CATEGORY_MASK_Zl |
                                                     UC_CATEGORY_MASK_Zp) &&
         !uc_is_property_bidi_control(code);
}

// Characters without a known width take one column in every terminal seen.
std::size_t width_of(ucs4_t code) {
  const int columns = uc_width(code, "UTF-8");
  return columns < 0 ? 1 : static_cast<std::size_t>(columns);
}

struct glyph {
  std::string_view bytes;
  std::size_t width;
};

// The characters of a printable text; a byte that does not belong to one is taken as one.
std::vector<glyph> glyphs_of(std::string_view text) {
  std::vector<glyph> glyphs;
  while (!text.empty()) {
    const character first = first_character(text);
    const std::size_t length = std::max<std::size_t>(first.length, 1);
    glyphs.push_back({text.substr(0, length), first.length > 0 ? width_of(first.code) : 1});
    text.remove_prefix(length);
  }
  return glyphs;
}

// As many characters from the front as fit, with the marks that belong to the last of them.
std::string head(const std::vector<glyph>& glyphs, std::size_t width) {
  std::string text;
  for (const auto& [bytes, taken] : glyphs) {
    if (taken > width) { break; }
    width -= taken;
    text += bytes;
  }
  return text;
}

// As many from the end as fit. Marks whose character did not fit go with it.
std::string tail(const std::vector<glyph>& glyphs, std::size_t width) {
  std::string text;
  std::string marks;
  for (auto at = glyphs.rbegin(); at != glyphs.rend() && at->width <= width; ++at) {
    marks.insert(0, at->bytes);
    if (at->width == 0) { continue; }
    width -= at->width;
    text.insert(0, marks);
    marks.clear();
  }
  return text;
}

std::string escaped(char byte) {
  if (byte == '\n') { return "\\n"; }
  char hexadecimal[5];
  std::snprintf(hexadecimal, sizeof hexadecimal, "\\x%02x", static_cast<unsigned char>(byte));
  return hexadecimal;
}

}  // namespace

std::string printable(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    const character first = first_character(text);
    if (first.length > 0 && is_shown_as_it_is(first.code)) {
      shown += text.substr(0, first.length);
      text.remove_prefix(first.length);
    } else {
      shown += escaped(text.front());
      text.remove_prefix(1);
    }
  }
  return shown;
}

std::size_t columns(std::string_view text) {
  std::size_t width = 0;
  for (const auto& character : glyphs_of(text)) {
    width += character.width;
  }
  return width;
}

std::string cut_end(std::string_view text, std::size_t width) {
  if (columns(text) <= width) { return std::string(text); }
  return width == 0 ? "" : head(glyphs_of(text), width - 1) + ellipsis;
}

std::string cut_middle(std::string_view text, std::size_t width) {
  if (columns(text) <= width) { return std::string(text); }
  if (width < 4) { return cut_end(text, width); }
  const auto glyphs = glyphs_of(text);
  const std::size_t front = (width - 1) / 2;
  return head(glyphs, front) + ellipsis + tail(glyphs, width - 1 - front);
}

std::string padded(std::string text, std::size_t width) {
  const std::size_t taken = columns(text);
  return text.append(taken < width ? width - taken : 0, ' ');
}
