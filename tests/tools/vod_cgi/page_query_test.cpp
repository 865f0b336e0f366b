// The queries of the queue page.
#include <gmock/gmock.h>

#include "tools/vod_cgi/page_query.h"

namespace {

bool read(const std::string& query, queue_query& wanted) {
  std::string error;
  return read_queue_query(query, wanted, error);
}

TEST(cgi_page_query, names_the_interface_once) {
  EXPECT_EQ(gateway_word("first=1&c=queue"), "queue");
  EXPECT_EQ(gateway_word("c=queue&c=queue"), "");
  EXPECT_EQ(gateway_word("xc=queue"), "");
}

TEST(cgi_page_query, asks_for_the_first_32_of_all_jobs_by_default) {
  queue_query wanted;
  ASSERT_TRUE(read("c=queue", wanted));
  EXPECT_EQ(wanted.first, 0);
  EXPECT_EQ(wanted.count, 32);
  EXPECT_EQ(wanted.show, "");
  EXPECT_EQ(wanted.search, "");
}

TEST(cgi_page_query, is_decoded_as_a_form_encodes_it) {
  queue_query wanted;
  ASSERT_TRUE(
      read("c=queue&first=64&count=16&show=running&state=remote+transcode&search=%C3%A4%26%20b",
           wanted));
  EXPECT_EQ(wanted.first, 64);
  EXPECT_EQ(wanted.count, 16);
  EXPECT_EQ(wanted.show, "running");
  EXPECT_EQ(wanted.state, "remote transcode");
  EXPECT_EQ(wanted.search, "\xc3\xa4& b");
}

class cgi_bad_page_query : public testing::TestWithParam<const char*> {};

TEST_P(cgi_bad_page_query, is_refused) {
  queue_query wanted;
  EXPECT_FALSE(read(GetParam(), wanted));
}

INSTANTIATE_TEST_SUITE_P(queries, cgi_bad_page_query,
                         testing::Values("c=queue&first=-1", "c=queue&first=", "c=queue&first=1x",
                                         "c=queue&first=99999999", "c=queue&count=0",
                                         "c=queue&count=65", "c=queue&other=1", "c=queue&search",
                                         "c=queue&search=a&search=b", "c=queue&search=%0a",
                                         "c=queue&search=%", "c=queue&search=%4",
                                         "c=queue&search=%zz", "c=queue&&first=1"));

TEST(cgi_page_query, searches_for_200_bytes_at_most) {
  queue_query wanted;
  EXPECT_TRUE(read("c=queue&search=" + std::string(200, 'a'), wanted));
  EXPECT_FALSE(read("c=queue&search=" + std::string(201, 'a'), wanted));
}

TEST(cgi_page_query, of_a_command_contains_nothing_else) {
  EXPECT_EQ(read_command_query("c=command&vc=pause"), "pause");
  EXPECT_EQ(read_command_query("c=command&vc=pause&x=1"), "");
  EXPECT_EQ(read_command_query("c=command"), "");
}

}  // namespace
