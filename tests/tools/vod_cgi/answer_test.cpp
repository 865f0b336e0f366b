// The service's replies on their way to the web server.
#include <fstream>
#include <string>

#include <gmock/gmock.h>

#include "tests/platform/test_folder.h"
#include "tools/vod_cgi/cgi_answer.h"
#include "tools/vod_cgi/control_reply.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

service_reply reply(const char* status, int exit_status, const std::string& data = "") {
  service_reply made;
  made.exit_status = exit_status;
  made.text = status;
  made.data = data;
  return made;
}

TEST(cgi_answer, of_success_is_json_after_its_pairs) {
  service_reply accepted = reply("OK", 0, "{\"state\": \"Ready\"}");
  accepted.pairs = {{"entry id", "abc"}};
  const std::string text = cgi_text(answer_of_reply(accepted));
  EXPECT_THAT(text, StartsWith("Status: 200 OK\r\nContent-Type: application/json\r\n"));
  EXPECT_THAT(text, HasSubstr("\r\n\r\nentry id:abc\n\n{\"state\": \"Ready\"}"));
}

TEST(cgi_answer, of_an_item_not_found_is_404) {
  const std::string text = cgi_text(answer_of_reply(reply("NOT FOUND", exit_no_such_item)));
  EXPECT_THAT(text, StartsWith("Status: 404 Not Found\r\nContent-Type: text/plain\r\n"));
  EXPECT_THAT(text, HasSubstr("\r\n\r\nX-comm-error:NOT FOUND\n\n"));
}

TEST(cgi_answer, of_any_other_refusal_is_400_with_the_items_text) {
  const std::string text = cgi_text(answer_of_reply(reply(
      "ONE OR MORE PARAMETERS CANNOT BE MODIFIED", exit_refused, "{\"state\": \"Rejected: x\"}")));
  EXPECT_THAT(text, StartsWith("Status: 400 Bad Request\r\nContent-Type: text/plain\r\n"));
  EXPECT_THAT(text,
              HasSubstr("X-comm-error:ONE OR MORE PARAMETERS CANNOT BE MODIFIED\n\nRejected: x"));
}

TEST(cgi_answer, contains_no_command_line) {
  const auto item = answer_of_reply(reply("OK", 0, R"({"a": 1, "process argv": ["--user=x:y"]})"));
  EXPECT_EQ(item.body, "{\"a\": 1}");
  const auto page = answer_of_reply(
      reply("OK", 0, R"({"list": [{"process argv": ["secret"], "b": 2}], "total": 1})"));
  EXPECT_EQ(page.body, "{\"list\": [{\"b\": 2}], \"total\": 1}");
}

TEST(cgi_answer, contains_nothing_that_concerns_only_this_machine) {
  const std::string own =
      R"("fileops job id": 7, "process pid": 8, "remote job": {"entry id": "x"})";
  EXPECT_EQ(answer_of_reply(reply("OK", 0, "{\"a\": 1, " + own + "}")).body, "{\"a\": 1}");
  EXPECT_EQ(answer_of_reply(reply("OK", 0, "{\"list\": [{" + own + "}], \"total\": 1}")).body,
            R"({"list": [{}], "total": 1})");
}

// The answer to a job in that state whose output is this.
cgi_answer answer_for_output(const std::string& state, const std::string& output) {
  return answer_of_reply(reply(
      "OK", 0, R"({"output file": ")" + output + R"(", "transcode state": ")" + state + "\"}"));
}

TEST(cgi_answer, of_a_finished_job_has_the_size_of_its_output) {
  const qx_test::test_folder folder;
  const std::string output = folder.file("out.mp4");
  std::ofstream(output) << "twelve bytes";
  EXPECT_THAT(answer_for_output("done", output).body, HasSubstr("\"output size\": 12,"));
  EXPECT_THAT(answer_for_output("cleanup", output).body, Not(HasSubstr("output size")));
  EXPECT_THAT(answer_for_output("done", output + "x").body, Not(HasSubstr("output size")));
}

TEST(cgi_answer, of_data_that_is_not_an_object_is_502) {
  EXPECT_EQ(answer_of_reply(reply("OK", 0, "[1]")).status, 502);
  EXPECT_EQ(answer_of_reply(reply("OK", 0, "{")).status, 502);
}

TEST(cgi_answer, of_too_much_data_is_502) {
  EXPECT_EQ(answer_of_reply(reply("OK", 0, std::string((8U << 20U) + 1, ' '))).status, 502);
}

TEST(cgi_answer, without_data_has_no_body) {
  EXPECT_EQ(answer_of_reply(reply("OK", 0)).body, "");
}

TEST(cgi_answer, contains_no_line_end_from_a_value) {
  cgi_answer answer;
  answer.pairs = {{"entry\nid", "a\r\nX-comm-error:NOT FOUND\n\n{}"}};
  EXPECT_THAT(cgi_text(answer), HasSubstr("\r\n\r\nentry id:a  X-comm-error:NOT FOUND  {}\n\n"));
}

int status_without_a_reply(comm_client_result result) {
  service_reply none;
  none.delivery = result;
  return answer_of_reply(none).status;
}

TEST(cgi_answer, of_no_service_is_503) {
  EXPECT_EQ(status_without_a_reply(comm_client_result::no_service), 503);
  EXPECT_EQ(status_without_a_reply(comm_client_result::gone), 503);
  EXPECT_EQ(status_without_a_reply(comm_client_result::timeout), 504);
  EXPECT_EQ(status_without_a_reply(comm_client_result::malformed), 502);
}

}  // namespace
