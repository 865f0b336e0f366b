// Folds letters by the C library's tables for UTF-8.
#include "tools/vod_cgi/folded_text.h"

#include <climits>
#include <clocale>
#include <cwchar>
#include <cwctype>

namespace {

// The process-wide locale is the program's own and no output depends on it.
bool has_utf8_tables() {
  static const bool has = setlocale(LC_CTYPE, "C.UTF-8") != nullptr;
  return has;
}

}  // namespace

std::string folded_text(const std::string& text) {
  std::string folded;
  folded.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    wchar_t letter = 0;
    std::mbstate_t state{};
    const std::size_t length =
        has_utf8_tables() ? std::mbrtowc(&letter, &text[i], text.size() - i, &state) : 0;
    if (length == 0 || length > MB_LEN_MAX) {
      const char c = text[i++];
      folded += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
      continue;
    }
    char bytes[MB_LEN_MAX];
    state = {};
    const auto lower = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(letter)));
    const std::size_t written = std::wcrtomb(bytes, lower, &state);
    folded.append(written > MB_LEN_MAX ? text.data() + i : bytes,
                  written > MB_LEN_MAX ? length : written);
    i += length;
  }
  return folded;
}
