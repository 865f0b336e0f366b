// The parser of a remote server's reply, applied to bytes in the output buffer.
#include <cstring>
#include <string_view>

#include <gmock/gmock.h>

#include "platform/sliding_window_v4.h"
#include "queue/queue_item.h"

namespace {

using response_type = QueueItem::CurlVodCGIResponse;
using testing::ElementsAre;
using testing::Pair;

class response_reader : public testing::Test {
protected:
  void print(std::string_view bytes) {
    QueueItem::_std_init_buffer(item.proc_stdout_buffer, proc_buffer_size);
    memcpy(item.proc_stdout_buffer->write_pos, bytes.data(), bytes.size());
    item.proc_stdout_buffer->write_pos += bytes.size();
  }
  std::size_t unread() const { return sliding_window_v4_data_available(item.proc_stdout_buffer); }

  QueueItem item;
  response_type response;
};

TEST_F(response_reader, splits_a_status_line) {
  print("HTTP/1.1 200 OK\r\nrest");
  item.stdout_cgi_stdout_read_http_response(response);
  EXPECT_EQ(response.version, "HTTP/1.1");
  EXPECT_EQ(response.http_status, 200U);
  EXPECT_EQ(response.status_string, "OK");
  EXPECT_EQ(unread(), 4U);
}

TEST_F(response_reader, keeps_every_word_of_the_reason) {
  print("  HTTP/1.0   404   Not Found here\n");
  item.stdout_cgi_stdout_read_http_response(response);
  EXPECT_EQ(response.version, "HTTP/1.0");
  EXPECT_EQ(response.http_status, 404U);
  EXPECT_EQ(response.status_string, "Not Found here");
}

TEST_F(response_reader, ignores_text_after_the_digits_of_the_code) {
  print("HTTP/1.1 404abc Not Found\n");
  item.stdout_cgi_stdout_read_http_response(response);
  EXPECT_EQ(response.http_status, 404U);
  EXPECT_EQ(response.status_string, "Not Found");
}

TEST_F(response_reader, accepts_an_empty_reason_after_a_blank) {
  print("HTTP/1.1 204 \n");
  item.stdout_cgi_stdout_read_http_response(response);
  EXPECT_EQ(response.http_status, 204U);
  EXPECT_EQ(response.status_string, "");
}

TEST_F(response_reader, reads_only_the_version_of_a_line_without_a_reason) {
  print("HTTP/1.1 204\r\n");
  item.stdout_cgi_stdout_read_http_response(response);
  EXPECT_EQ(response.version, "HTTP/1.1");
  EXPECT_EQ(response.http_status, 0U);
  EXPECT_EQ(response.status_string, "");
}

TEST_F(response_reader, sets_nothing_for_one_word) {
  print("HTTP/1.1\n");
  item.stdout_cgi_stdout_read_http_response(response);
  EXPECT_EQ(response.version, "");
}

TEST_F(response_reader, stores_a_negative_code_as_unsigned) {
  print("HTTP/1.1 -1 odd\n");
  item.stdout_cgi_stdout_read_http_response(response);
  EXPECT_EQ(response.http_status, 4294967295U);
}

TEST_F(response_reader, leaves_an_incomplete_line_unread) {
  print("HTTP/1.1 200 OK");
  item.stdout_cgi_stdout_read_http_response(response);
  EXPECT_EQ(response.http_status, 0U);
  EXPECT_EQ(unread(), 15U);
}

TEST_F(response_reader, reads_headers_up_to_the_empty_line) {
  print("A: 1\r\nno colon here\r\nB:2\r\nA:  3 \r\n\r\nbody");
  item.stdout_cgi_stdout_read_http_headers(response);
  EXPECT_THAT(response.http_headers, ElementsAre(Pair("A", "1"), Pair("B", "2"), Pair("A", " 3 ")));
  EXPECT_EQ(unread(), 4U);
}

TEST_F(response_reader, ends_the_content_type_at_its_semicolon) {
  print("Content-Type: application/json; charset=utf-8\n\n");
  item.stdout_cgi_stdout_read_http_headers(response);
  EXPECT_EQ(response.content_type, "application/json");
  EXPECT_THAT(response.http_headers,
              ElementsAre(Pair("Content-Type", "application/json; charset=utf-8")));
}

TEST_F(response_reader, keeps_a_blank_before_the_semicolon) {
  print("content-type: text/plain ;x\n\n");
  item.stdout_cgi_stdout_read_http_headers(response);
  EXPECT_EQ(response.content_type, "text/plain ");
}

TEST_F(response_reader, uses_the_last_content_type_in_any_case) {
  print("Content-type: text/html\nCONTENT-TYPE:text/plain\n\n");
  item.stdout_cgi_stdout_read_http_headers(response);
  EXPECT_EQ(response.content_type, "text/plain");
}

TEST_F(response_reader, stops_at_the_last_complete_line) {
  print("A: 1\nB: 2");
  item.stdout_cgi_stdout_read_http_headers(response);
  EXPECT_THAT(response.http_headers, ElementsAre(Pair("A", "1")));
  std::string text;
  item.stdout_cgi_stdout_read_text_body(text);
  EXPECT_EQ(text, "B: 2");
}

TEST_F(response_reader, keeps_the_blank_of_a_comm_header) {
  print("X-comm-error: NOT FOUND\nentry id:x:y\ncontent-type:z\n\n");
  item.stdout_cgi_stdout_read_comm_headers(response);
  EXPECT_THAT(response.comm_headers,
              ElementsAre(Pair("X-comm-error", " NOT FOUND"), Pair("entry id", "x:y"),
                          Pair("content-type", "z")));
  EXPECT_EQ(response.content_type, "");
}

TEST_F(response_reader, finds_the_first_error_header_by_its_exact_name) {
  response.comm_headers = {{"x-comm-error", "a"}, {"X-comm-error", "b"}, {"X-comm-error", "c"}};
  std::string error = "untouched";
  EXPECT_TRUE(response.comm_get_err(error));
  EXPECT_EQ(error, "b");
}

TEST_F(response_reader, keeps_the_text_without_an_error_header) {
  std::string error = "untouched";
  EXPECT_FALSE(response.comm_get_err(error));
  EXPECT_EQ(error, "untouched");
}

TEST_F(response_reader, parses_all_unread_bytes_as_json) {
  print("{\"a\": 1}");
  item.stdout_cgi_stdout_read_json_body(response);
  EXPECT_EQ(response.json["a"].int_value(), 1);
  EXPECT_EQ(unread(), 8U);
}

TEST_F(response_reader, warns_about_invalid_json) {
  print("{\"a\": ");
  response.json = 5;
  testing::internal::CaptureStderr();
  item.stdout_cgi_stdout_read_json_body(response);
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              testing::MatchesRegex("WARNING: json parse error '.*'\n"));
  EXPECT_TRUE(response.json.is_null());
}

TEST_F(response_reader, keeps_the_json_without_a_body) {
  print("");
  response.json = 5;
  item.stdout_cgi_stdout_read_json_body(response);
  EXPECT_EQ(response.json.int_value(), 5);
}

TEST_F(response_reader, clears_the_text_without_a_body) {
  print("");
  std::string text = "old";
  item.stdout_cgi_stdout_read_text_body(text);
  EXPECT_EQ(text, "");
}

TEST_F(response_reader, changes_nothing_without_a_buffer) {
  std::string text = "old";
  item.stdout_cgi_stdout_read_http_response(response);
  item.stdout_cgi_stdout_read_http_headers(response);
  item.stdout_cgi_stdout_read_comm_headers(response);
  item.stdout_cgi_stdout_read_json_body(response);
  item.stdout_cgi_stdout_read_text_body(text);
  EXPECT_EQ(text, "old");
  EXPECT_EQ(response.version, "");
}

TEST_F(response_reader, dumps_everything_in_order) {
  response.http_status = 404;
  response.version = "HTTP/1.1";
  response.status_string = "Not Found";
  response.http_headers = {{"A", "1"}};
  response.comm_headers = {{"B", "2"}};
  response.json = json11::Json::object{{"c", 3}};
  testing::internal::CaptureStderr();
  response.dump();
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Response:\n"
            "  HTTP status='404' version='HTTP/1.1' status-string='Not Found'\n"
            "  http header 'A' = '1'\n"
            "  comm header 'B' = '2'\n"
            "  Json:{\"c\": 3}\n");
}

TEST_F(response_reader, does_not_dump_null_json) {
  testing::internal::CaptureStderr();
  response.dump();
  EXPECT_EQ(testing::internal::GetCapturedStderr().find("Json"), std::string::npos);
}

}  // namespace
