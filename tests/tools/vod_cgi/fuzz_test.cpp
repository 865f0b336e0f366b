// The gateway's parsers on a hundred thousand made-up queries and bodies; the same ones every time.
#include <algorithm>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "tools/vod_cgi/cgi_answer.h"
#include "tools/vod_cgi/control_request.h"
#include "tools/vod_cgi/page_command.h"
#include "tools/vod_cgi/page_query.h"
#include "tools/vod_cgi/queue_view.h"

namespace {

// Pieces of such texts, so that the inputs are nearly valid.
constexpr const char* pieces[] = {"c=",         "vodsrv",
                                  "&",          "vc=",
                                  "list",       "add",
                                  "*name:",     ":",
                                  "\n",         "\r\n",
                                  "..",         "/",
                                  "%0a",        "=",
                                  "-",          " ",
                                  "\x01",       "\xc3\xa4",
                                  "a",          "0",
                                  "{\"",        "\":\"",
                                  "\",\"",      "\"}",
                                  "file",       "profile",
                                  "queue",      "search=",
                                  "first=",     "%4",
                                  "+",          "entry id",
                                  "input file", "0f8b1c2d-0000-4abc-8def-0123456789ab"};

class made_up_text {
public:
  std::string next() {
    std::string text;
    for (std::size_t i = pick(24); i > 0; --i) {
      text += pick(20) == 0 ? std::string(1, static_cast<char>(pick(256)))
                            : std::string(pieces[pick(std::size(pieces))]);
    }
    return text;
  }

private:
  std::size_t pick(std::size_t below) { return random_() % below; }
  std::mt19937 random_{20260101};
};

bool is_plain(const std::string& text) {
  return std::none_of(text.begin(), text.end(),
                      [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; });
}

TEST(cgi_fuzz, queries_give_known_commands_or_none) {
  made_up_text texts;
  for (int i = 0; i < 100000; ++i) {
    const std::string query = texts.next();
    const std::string command = command_of_query(query);
    ASSERT_TRUE(command.empty() || command == "list" || command == "add") << query;
  }
}

TEST(cgi_fuzz, bodies_give_plain_pairs_and_paths_of_uploads_only) {
  made_up_text texts;
  for (int i = 0; i < 100000; ++i) {
    const std::string body = texts.next();
    name_values pairs;
    std::string error;
    if (!read_pairs(body, pairs, error)) { continue; }
    for (const auto& [name, value] : pairs) {
      ASSERT_TRUE(!name.empty() && is_plain(name) && is_plain(value)) << body;
      ASSERT_NE(name, "*name") << body;
    }
  }
}

TEST(cgi_fuzz, no_value_adds_a_line_to_the_answer) {
  made_up_text texts;
  for (int i = 0; i < 100000; ++i) {
    cgi_answer answer;
    answer.pairs = {{texts.next(), texts.next()}};
    const std::string text = cgi_text(answer);
    const std::string block = text.substr(text.find("\r\n\r\n") + 4);
    ASSERT_EQ(std::count(block.begin(), block.end(), '\n'), 2) << block;
    ASSERT_EQ(block.find('\r'), std::string::npos) << block;
  }
}

TEST(cgi_fuzz, queries_of_the_page_are_in_range_or_refused) {
  made_up_text texts;
  for (int i = 0; i < 100000; ++i) {
    const std::string query = "c=queue&" + texts.next();
    queue_query wanted;
    std::string error;
    if (read_queue_query(query, wanted, error)) {
      ASSERT_TRUE(is_plain(wanted.search) && is_plain(wanted.show + wanted.state)) << query;
      ASSERT_TRUE(wanted.first >= 0 && wanted.count >= 1 && wanted.count <= most_shown) << query;
    }
  }
}

TEST(cgi_fuzz, commands_of_the_page_have_known_plain_fields_or_are_refused) {
  made_up_text texts;
  for (int i = 0; i < 100000; ++i) {
    const std::string body = "{\"file\":\"" + texts.next() + "\"}";
    page_command command;
    std::string error;
    if (!read_page_command("add", body, command, error)) { continue; }
    for (const auto& [name, value] : command.fields) {
      ASSERT_TRUE(name == "input file" || name == "transcode profile") << body;
      ASSERT_TRUE(is_plain(value)) << body;
    }
  }
}

TEST(cgi_fuzz, jobs_of_any_kind_are_shown_without_their_command_lines) {
  made_up_text texts;
  for (int i = 0; i < 20000; ++i) {
    const json11::Json job = json11::Json::object{
        {"entry id", texts.next()},           {"transcode state", texts.next()},
        {"input file", texts.next()},         {"output file", texts.next()},
        {"transcode progress", texts.next()}, {"process argv", json11::Json::array{"secret"}}};
    queue_query wanted;
    wanted.search = texts.next();
    listed_item listed;
    read_item(job, listed.item);
    const std::string view =
        view_of_queue({listed}, {{std::nullopt}, 0}, wanted, vod_folder{"/nowhere/"}).dump();
    ASSERT_EQ(view.find("secret"), std::string::npos) << view;
  }
}

}  // namespace
