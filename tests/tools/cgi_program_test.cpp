// The program as a web server runs it, in front of the service that ships.
#include <string>

#include <gmock/gmock.h>

#include "tests/support/test_machine.h"

using namespace qx_test;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

class cgi_program : public testing::Test {
protected:
  cgi_program() { machine.root.write_source("/mnt/main/tv/upload/" + upload, "video/mp2t"); }

  // A request to the gateway; what a shell would do with the body is kept out of it.
  std::string post(const std::string& command, const std::string& body,
                   const std::string& method = "POST") {
    machine.root.write("/run/body", body);
    return machine.root
        .run({"/bin/sh", "-c",
              "GATEWAY_INTERFACE=CGI/1.1 REQUEST_METHOD=\"$1\" QUERY_STRING=\"$2\" "
              "CONTENT_LENGTH=$(stat -c %s /run/body) exec \"$0\" ignored <\"$3\"",
              QX_VOD_CGI, method, "c=vodsrv&vc=" + command, "/run/body"})
        .out;
  }

  const std::string upload = "0f8b1c2d-0000-4abc-8def-0123456789ab";
  test_machine machine;
};

TEST_F(cgi_program, adds_an_upload_and_tells_its_id) {
  machine.start();
  const std::string text = post("add", "*name:" + upload +
                                           "\ndelete on finish:1\ntranscode profile:720\n"
                                           "transcode state:ready\n\n");
  EXPECT_THAT(text, StartsWith("Status: 200 OK\r\n"));
  const auto item = machine.client.list()["list"][0];
  EXPECT_EQ(item["input file"].string_value(), "/mnt/main/tv/upload/" + upload);
  EXPECT_TRUE(item["delete on finish"].bool_value());
  EXPECT_THAT(text, HasSubstr("\r\n\r\nentry id:" + item["entry id"].string_value() + "\n\n{"));
}

TEST_F(cgi_program, adds_an_upload_once_however_often_it_is_asked) {
  machine.start();
  for (int i = 0; i < 20; ++i) {
    machine.client.add({});
  }
  const std::string request = "*name:" + upload + "\n";
  EXPECT_EQ(post("add", request), post("add", request));
  EXPECT_EQ(machine.client.list()["total"].int_value(), 21);
}

TEST_F(cgi_program, answers_404_for_an_item_that_is_not_there) {
  machine.start();
  const std::string text = post("list", "entry id:nobody\n\n");
  EXPECT_THAT(text, StartsWith("Status: 404 Not Found\r\n"));
  EXPECT_THAT(text, HasSubstr("\r\n\r\nX-comm-error:NOT FOUND\n\n"));
}

TEST_F(cgi_program, answers_400_for_a_source_that_is_not_allowed) {
  machine.start();
  EXPECT_THAT(post("add", "input file:/etc/passwd\ntranscode state:ready\n"),
              HasSubstr("X-comm-error:One or more parameters were not accepted\n"));
  EXPECT_EQ(machine.client.list()["total"].int_value(), 0);
}

TEST_F(cgi_program, passes_no_other_command) {
  machine.start();
  EXPECT_THAT(post("test", ""), StartsWith("Status: 400 Bad Request\r\n"));
}

TEST_F(cgi_program, serves_no_other_method) {
  machine.start();
  EXPECT_THAT(post("list", "", "GET"), StartsWith("Status: 405 Method Not Allowed\r\n"));
}

TEST_F(cgi_program, answers_503_without_a_service) {
  EXPECT_THAT(post("list", ""), StartsWith("Status: 503 Service Unavailable\r\n"));
}

TEST_F(cgi_program, refuses_a_body_over_64_kib) {
  machine.start();
  EXPECT_THAT(post("list", std::string(65537, 'x')),
              StartsWith("Status: 413 Payload Too Large\r\n"));
}

TEST_F(cgi_program, tells_a_person_what_it_is) {
  const auto help = machine.root.run({QX_VOD_CGI, "--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_THAT(help.out, HasSubstr("CGI"));
  EXPECT_EQ(machine.root.run({QX_VOD_CGI}).status, 2);
}

}  // namespace
