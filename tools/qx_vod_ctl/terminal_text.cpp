// Texts of unknown origin on a terminal.
#include "tools/qx_vod_ctl/terminal_text.h"

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cwchar>
#include <vector>

namespace {

constexpr const char* ellipsis = "\u2026";  // one column

unsigned char byte_at(std::string_view text, std::size_t index) {
  return static_cast<unsigned char>(text[index]);
}

bool is_continuation(unsigned char byte) {
  return (byte & 0xC0) == 0x80;
}

// What the second byte must be for the character to be written in its one right way and to lie
// within Unicode; 0x80 to 0x9F behind C2 are the second set of control characters.
bool second_byte_fits(unsigned char first, unsigned char second) {
  switch (first) {
  case 0xC2:
  case 0xE0:
    return second >= 0xA0;
  case 0xED:
    return second < 0xA0;
  case 0xF0:
    return second >= 0x90;
  case 0xF4:
    return second < 0x90;
  default:
    return true;
  }
}

std::size_t length_by_first_byte(unsigned char first) {
  if (first >= 0x20 && first < 0x7F) { return 1; }
  if (first >= 0xC2 && first < 0xE0) { return 2; }
  if (first >= 0xE0 && first < 0xF0) { return 3; }
  return first >= 0xF0 && first < 0xF5 ? 4 : 0;
}

char32_t code_point(std::string_view character) {
  constexpr unsigned char first_byte_masks[] = {0x7F, 0x7F, 0x1F, 0x0F, 0x07};
  char32_t code = byte_at(character, 0) & first_byte_masks[character.size()];
  for (std::size_t i = 1; i < character.size(); ++i) {
    code = code << 6 | (byte_at(character, i) & 0x3FU);
  }
  return code;
}

// Characters that turn the direction of whatever stands around them, or that end a line.
bool disturbs_line(char32_t code) {
  return code == 0x061C || code == 0x200E || code == 0x200F || (code >= 0x2028 && code <= 0x202E) ||
         (code >= 0x2066 && code <= 0x2069);
}

// The bytes of the character in front that may be shown as it is; 0 where there is none.
std::size_t character_length(std::string_view text) {
  const std::size_t length = length_by_first_byte(byte_at(text, 0));
  if (length > text.size()) { return 0; }
  for (std::size_t i = 1; i < length; ++i) {
    if (!is_continuation(byte_at(text, i))) { return 0; }
  }
  if (length < 2) { return length; }
  return second_byte_fits(byte_at(text, 0), byte_at(text, 1)) &&
                 !disturbs_line(code_point(text.substr(0, length)))
             ? length
             : 0;
}

// The C library knows the widths of characters, but only in a locale whose set has them; the
// user's may be any, and only this thread's is changed while one looks.
class unicode_locale {
public:
  unicode_locale() : before_(uselocale(known())) {}
  ~unicode_locale() { uselocale(before_); }
  unicode_locale(const unicode_locale&) = delete;
  unicode_locale& operator=(const unicode_locale&) = delete;

  // What is not known to the locale takes one column in every terminal seen.
  std::size_t width(char32_t code) const {
    const int columns = wcwidth(static_cast<wchar_t>(code));
    return columns < 0 ? 1 : static_cast<std::size_t>(columns);
  }

private:
  static locale_t known() {
    static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t{});
    return locale;
  }

  locale_t before_;
};

struct glyph {
  std::string_view bytes;
  std::size_t width;
};

// The characters of a printable text; a byte that begins none stands for itself.
std::vector<glyph> glyphs_of(std::string_view text) {
  const unicode_locale locale;
  std::vector<glyph> glyphs;
  while (!text.empty()) {
    const std::size_t length =
        std::clamp<std::size_t>(length_by_first_byte(byte_at(text, 0)), 1, text.size());
    const std::string_view bytes = text.substr(0, length);
    glyphs.push_back({bytes, locale.width(code_point(bytes))});
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

std::string escaped(unsigned char byte) {
  if (byte == '\n') { return "\\n"; }
  char hexadecimal[5];
  std::snprintf(hexadecimal, sizeof hexadecimal, "\\x%02x", static_cast<unsigned>(byte));
  return hexadecimal;
}

}  // namespace

std::string printable(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    const std::size_t length = character_length(text);
    if (length > 0) {
      shown += text.substr(0, length);
    } else {
      shown += escaped(byte_at(text, 0));
    }
    text.remove_prefix(std::max<std::size_t>(length, 1));
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
