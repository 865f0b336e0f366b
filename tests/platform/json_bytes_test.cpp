// Bytes that are not UTF-8, in JSON and back.
#include <gtest/gtest.h>

#include "platform/json_bytes.h"

namespace {

std::string escaped(std::string text) {
  escape_bytes(text);
  return text;
}

bool is_utf8(std::string_view text) {
  while (!text.empty() && utf8_length(text) != 0) {
    text.remove_prefix(utf8_length(text));
  }
  return text.empty();
}

}  // namespace

TEST(utf8_length, is_that_of_well_formed_sequences_only) {
  EXPECT_EQ(utf8_length("a"), 1U);
  EXPECT_EQ(utf8_length("\xc2\x80"), 2U);
  EXPECT_EQ(utf8_length("\xe0\xa0\x80"), 3U);
  EXPECT_EQ(utf8_length("\xef\xbf\xbd rest"), 3U);
  EXPECT_EQ(utf8_length("\xf4\x8f\xbf\xbf"), 4U);
  for (const char* odd :
       {"", "\x80", "\xbf", "\xc0\x80", "\xc1\xbf", "\xe0\x9f\xbf", "\xed\xa0\x80", "\xed\xbf\xbf",
        "\xf0\x8f\xbf\xbf", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xff", "\xc3", "\xe2\x82",
        "\xe2\x82z", "\xf0\x9f\x98"}) {
    EXPECT_EQ(utf8_length(odd), 0U) << odd;
  }
}

TEST(escape_bytes, leaves_utf8_as_it_is) {
  for (const std::string text :
       {"", "{\"a\": \"b\"}", "\"\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\"", "\"\\udcff\\u2028\""}) {
    EXPECT_EQ(escaped(text), text);
  }
}

TEST(escape_bytes, writes_every_odd_byte_as_half_of_a_pair) {
  EXPECT_EQ(escaped("\"caf\xe9.mpg\""), "\"caf\\udce9.mpg\"");
  EXPECT_EQ(escaped("\x80\xff"), "\\udc80\\udcff");
  EXPECT_EQ(escaped("\xe2\x82\""), "\\udce2\\udc82\"");
  EXPECT_EQ(escaped("\xc3\xa9\xc3"), "\xc3\xa9\\udcc3");
}

TEST(unescape_bytes, gives_every_byte_back) {
  for (int first = 1; first < 256; ++first) {
    for (int second = 1; second < 256; ++second) {
      const std::string bytes = {static_cast<char>(first), static_cast<char>(second)};
      if (bytes.find('\\') != std::string::npos) { continue; }  // would be an escape of its own
      EXPECT_TRUE(is_utf8(escaped(bytes)));
      EXPECT_EQ(unescape_bytes(escaped(bytes)), bytes);
    }
  }
}

TEST(unescape_bytes, gives_back_bytes_that_look_like_an_encoded_half) {
  const std::string bytes = "\xed\xb3\xbf";  // U+DCFF, which UTF-8 does not encode
  EXPECT_EQ(escaped(bytes), "\\udced\\udcb3\\udcbf");
  EXPECT_EQ(unescape_bytes(escaped(bytes)), bytes);
}

TEST(unescape_bytes, takes_digits_in_either_case) {
  EXPECT_EQ(unescape_bytes("\"\\uDCFf\""), "\"\xff\"");
}

TEST(unescape_bytes, leaves_all_other_escapes_alone) {
  for (const std::string text : {R"("\ud83d\udc80")", R"("\\udcff")", R"("\udc7f\udd00\udb00")",
                                 R"("\n\"\udc")", R"("\)", R"("\ud800)", R"(\u)"}) {
    EXPECT_EQ(unescape_bytes(text), text);
  }
}

TEST(unescape_bytes, a_lone_first_half_does_not_hide_what_follows) {
  EXPECT_EQ(unescape_bytes(R"("\ud800 \udcff")"), "\"\\ud800 \xff\"");
  EXPECT_EQ(unescape_bytes(R"("\ud83d\udc80\udcff")"), "\"\\ud83d\\udc80\xff\"");
}
