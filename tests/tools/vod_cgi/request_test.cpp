// Queries and bodies on their way to the control socket.
#include <gmock/gmock.h>

#include "tools/vod_cgi/control_request.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr char uuid[] = "0f8b1c2d-0000-4abc-8def-0123456789ab";

class cgi_command : public testing::TestWithParam<const char*> {};

TEST_P(cgi_command, is_allowed) {
  EXPECT_EQ(command_of_query(std::string("c=vodsrv&vc=") + GetParam()), GetParam());
}

INSTANTIATE_TEST_SUITE_P(words, cgi_command,
                         testing::Values("add", "list", "ready", "modify", "cancel", "restart",
                                         "pause", "resume", "remove"));

class cgi_bad_query : public testing::TestWithParam<const char*> {};

TEST_P(cgi_bad_query, is_refused) {
  EXPECT_EQ(command_of_query(GetParam()), "");
}

INSTANTIATE_TEST_SUITE_P(queries, cgi_bad_query,
                         testing::Values("", "c=vodsrv", "vc=list", "c=other&vc=list",
                                         "c=vodsrv&vc=test", "c=vodsrv&vc=LIST",
                                         "c=vodsrv&vc=list ", "c=vodsrv&vc=li%73t",
                                         "c=vodsrv&vc=", "c=vodsrv&vc=list&vc=add",
                                         "c=vodsrv&c=vodsrv&vc=list", "xc=vodsrv&xvc=list"));

TEST(cgi_query, takes_its_fields_in_any_order) {
  EXPECT_EQ(command_of_query("vc=list&x=1&c=vodsrv"), "list");
}

class cgi_body : public testing::Test {
protected:
  bool fill(const std::string& body) { return read_pairs(body, pairs, error); }

  name_values pairs;
  std::string error;
};

TEST_F(cgi_body, becomes_pairs_in_order) {
  ASSERT_TRUE(fill("transcode profile:720\ninput file:/mnt/a:b\nx:\n\nnot:this\n"));
  EXPECT_THAT(pairs, ElementsAre(Pair("transcode profile", "720"), Pair("input file", "/mnt/a:b"),
                                 Pair("x", "")));
}

TEST_F(cgi_body, may_be_empty_or_end_without_an_empty_line) {
  ASSERT_TRUE(fill(""));
  EXPECT_THAT(pairs, IsEmpty());
  ASSERT_TRUE(fill("a:b"));
  EXPECT_THAT(pairs, ElementsAre(Pair("a", "b")));
}

TEST_F(cgi_body, may_have_the_line_ends_of_http) {
  ASSERT_TRUE(fill("a:b\r\n\r\nc:d\r\n"));
  EXPECT_THAT(pairs, ElementsAre(Pair("a", "b")));
}

TEST_F(cgi_body, keeps_the_blank_after_a_colon) {
  ASSERT_TRUE(fill("a: b\n"));
  EXPECT_THAT(pairs, ElementsAre(Pair("a", " b")));
}

TEST_F(cgi_body, names_an_upload) {
  ASSERT_TRUE(fill(std::string("*name:") + uuid + "\n"));
  EXPECT_THAT(pairs, ElementsAre(Pair("input file", std::string("/mnt/main/tv/upload/") + uuid)));
}

class cgi_bad_body : public cgi_body, public testing::WithParamInterface<std::string> {};

TEST_P(cgi_bad_body, is_refused_with_a_reason) {
  EXPECT_FALSE(fill(GetParam()));
  EXPECT_NE(error, "");
}

INSTANTIATE_TEST_SUITE_P(bodies, cgi_bad_body,
                         testing::Values("no colon\n", ":value\n", "a:b\nno colon\n",
                                         std::string("a:b\0c\n", 6), "a:b\rc\n", "a:\x7f\n",
                                         "*name:\n", "*name:../../etc/passwd\n",
                                         "*name:/0f8b1c2d-0000-4abc-8def-0123456789ab\n",
                                         "*name:0f8b1c2d-0000-4abc-8def-0123456789a\n",
                                         "*name:0f8b1c2d-0000-4abc-8def-0123456789abc\n",
                                         "*name:0F8B1C2D-0000-4ABC-8DEF-0123456789AB\n",
                                         "*name:0f8b1c2d/0000-4abc-8def-0123456789ab\n",
                                         "*name:0f8b1c2d-0000-4abc-8def-0123456789a.\n"));

}  // namespace
