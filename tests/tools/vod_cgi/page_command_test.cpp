// The queue page's commands, who may give them, and the form of the answers.
#include <gmock/gmock.h>

#include "tools/vod_cgi/page_answer.h"
#include "tools/vod_cgi/page_command.h"
#include "tools/vod_cgi/request_source.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::Pair;
using testing::StartsWith;

class cgi_page_command : public testing::Test {
protected:
  bool read(const char* word, const std::string& body) {
    return read_page_command(word, body, command, error);
  }

  page_command command;
  std::string error;
};

TEST_F(cgi_page_command, to_add_becomes_the_services_fields) {
  ASSERT_TRUE(read("add", R"({"file": "/mnt/a", "profile": "720", "deletes_source": true})"));
  EXPECT_THAT(command.fields,
              ElementsAre(Pair("delete on finish", "1"), Pair("input file", "/mnt/a"),
                          Pair("transcode profile", "720")));
}

TEST_F(cgi_page_command, names_files_by_their_bytes) {
  ASSERT_TRUE(read("add", R"({"file": "/mnt/caf\udce9"})"));
  EXPECT_THAT(command.fields, ElementsAre(Pair("input file", "/mnt/caf\xe9")));
}

TEST_F(cgi_page_command, for_a_job_names_it) {
  ASSERT_TRUE(read("pause", R"({"id": "abc"})"));
  EXPECT_EQ(command.id, "abc");
  EXPECT_FALSE(read("pause", "{}"));
  EXPECT_FALSE(read("pause", R"({"id": ""})"));
}

TEST_F(cgi_page_command, to_modify_changes_only_two_fields) {
  EXPECT_TRUE(read("modify", R"({"id": "abc", "profile": "480", "deletes_source": false})"));
  EXPECT_FALSE(read("modify", R"({"id": "abc", "file": "/mnt/b"})"));
  EXPECT_FALSE(read("modify", R"({"id": "abc", "transcode state": "ready"})"));
}

class cgi_bad_page_body : public testing::TestWithParam<const char*> {};

TEST_P(cgi_bad_page_body, is_refused) {
  page_command command;
  std::string error;
  EXPECT_FALSE(read_page_command("add", GetParam(), command, error));
  EXPECT_NE(error, "");
}

INSTANTIATE_TEST_SUITE_P(bodies, cgi_bad_page_body,
                         testing::Values("", "[]", "{", "7", R"({"file": 7})", R"({"id": "a"})",
                                         R"({"file": "/mnt/a\nb"})", R"({"file": "/mnt/a\u0000"})",
                                         R"({"file": "/mnt/a", "profile": "../../x"})",
                                         R"({"deletes_source": "1"})", R"({"entry id": "a"})",
                                         R"({"file": {"file": "/mnt/a"}})"));

TEST_F(cgi_page_command, is_one_of_seven) {
  EXPECT_FALSE(read("list", R"({"id": "a"})"));
  EXPECT_FALSE(read("test", "{}"));
  EXPECT_FALSE(read("", "{}"));
}

cgi_input from(const char* origin, const char* fetch_site, const char* mark) {
  cgi_input input;
  input.host = "vod.example:8080";
  input.origin = origin;
  input.fetch_site = fetch_site;
  input.page_mark = mark;
  return input;
}

TEST(cgi_source, without_a_browsers_headers_is_a_program) {
  EXPECT_EQ(source_of(from("", "", "")), request_source::program);
}

TEST(cgi_source, of_its_own_host_with_its_mark_is_the_page) {
  EXPECT_EQ(source_of(from("http://vod.example:8080", "", "1")), request_source::own_page);
  EXPECT_EQ(source_of(from("https://VOD.example:8080", "same-origin", "1")),
            request_source::own_page);
}

TEST(cgi_source, of_another_host_is_foreign) {
  EXPECT_EQ(source_of(from("http://evil.example", "", "1")), request_source::foreign_page);
  EXPECT_EQ(source_of(from("http://vod.example", "", "1")), request_source::foreign_page);
  EXPECT_EQ(source_of(from("http://evil.example/://vod.example:8080", "", "1")),
            request_source::foreign_page);
  EXPECT_EQ(source_of(from("null", "", "1")), request_source::foreign_page);
}

TEST(cgi_source, of_another_site_is_foreign_whatever_its_origin) {
  for (const char* site : {"cross-site", "same-site", "none", "x"}) {
    EXPECT_EQ(source_of(from("http://vod.example:8080", site, "1")), request_source::foreign_page);
  }
}

TEST(cgi_source, of_a_browser_without_the_mark_is_foreign) {
  EXPECT_EQ(source_of(from("http://vod.example:8080", "same-origin", "")),
            request_source::foreign_page);
}

TEST(cgi_page_answer, is_json_with_a_tag_of_its_body) {
  const std::string text = page_text({200, json11::Json::object{{"a", 1}}}, "");
  EXPECT_THAT(text, StartsWith("Status: 200 OK\r\n"));
  EXPECT_THAT(text, HasSubstr("\r\nETag: \""));
  EXPECT_THAT(text, EndsWith("Content-Type: application/json\r\n\r\n{\"a\": 1}\n"));
}

TEST(cgi_page_answer, that_the_client_has_is_not_sent_again) {
  const page_answer answer{200, json11::Json::object{{"a", 1}}};
  const std::string text = page_text(answer, "");
  const std::string tag = text.substr(text.find("ETag: ") + 6, 18);
  EXPECT_THAT(page_text(answer, tag), StartsWith("Status: 304 Not Modified\r\n"));
  EXPECT_THAT(page_text(answer, tag), EndsWith("\r\n\r\n"));
  EXPECT_THAT(page_text({200, json11::Json::object{{"a", 2}}}, tag), StartsWith("Status: 200"));
}

TEST(cgi_page_answer, that_refuses_has_no_tag) {
  const std::string text = page_text(page_refusal(409, "ITEM IS BUSY", ""), "");
  EXPECT_THAT(text, StartsWith("Status: 409 Conflict\r\n"));
  EXPECT_THAT(text, Not(HasSubstr("ETag")));
  EXPECT_THAT(text, EndsWith("{\"error\": \"ITEM IS BUSY\", \"text\": \"\"}\n"));
}

}  // namespace
