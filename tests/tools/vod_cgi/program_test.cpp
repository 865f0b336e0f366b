// The program as a web server runs it, in front of the service that ships.
#include <ctime>
#include <string>

#include <gmock/gmock.h>
#include <json11.hpp>

#include "tests/support/test_machine.h"
#include "tests/support/wait_until.h"

using namespace qx_test;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

// The variables of a request, set by a shell before it runs the gateway.
constexpr const char* environment =
    "GATEWAY_INTERFACE=CGI/1.1 REQUEST_METHOD=\"$1\" QUERY_STRING=\"$2\" CONTENT_LENGTH="
    "$(stat -c %s /run/body) ";

class cgi_program : public testing::Test {
protected:
  cgi_program() { machine.root.write_source("/mnt/main/tv/upload/" + upload, "video/mp2t"); }

  // A request to the gateway; the shell cannot interpret the body.
  std::string post(const std::string& command, const std::string& body,
                   const std::string& method = "POST") {
    machine.root.write("/run/body", body);
    return machine.root
        .run({"/bin/sh", "-c", std::string(environment) + "exec \"$0\" ignored <\"$3\"", QX_VOD_CGI,
              method, "c=vodsrv&vc=" + command, "/run/body"})
        .out;
  }

  // A request of the queue page; `headers` as the web server hands them on.
  std::string ask_page(const std::string& method, const std::string& query, const std::string& body,
                       const std::string& headers) {
    machine.root.write("/run/body", body);
    return machine.root
        .run({"/bin/sh", "-c", std::string("env ") + environment + "$3 \"$0\" </run/body",
              QX_VOD_CGI, method, query, headers})
        .out;
  }
  std::string get(const std::string& query, const std::string& headers = "") {
    return ask_page("GET", query, "", headers);
  }
  std::string command(const std::string& word, const std::string& body,
                      const std::string& headers = "HTTP_X_VOD_PAGE=1") {
    return ask_page("POST", "c=command&vc=" + word, body, headers);
  }

  const std::string upload = "0f8b1c2d-0000-4abc-8def-0123456789ab";
  test_machine machine;
};

TEST_F(cgi_program, adds_an_upload_and_returns_its_id) {
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

TEST_F(cgi_program, adds_an_upload_once_even_if_asked_again) {
  machine.start();
  for (int i = 0; i < 20; ++i) {
    machine.client.add({});
  }
  const std::string request = "*name:" + upload + "\n";
  EXPECT_EQ(post("add", request), post("add", request));
  EXPECT_EQ(machine.client.list()["total"].int_value(), 21);
}

TEST_F(cgi_program, hides_this_machines_job_number_and_returns_the_size_of_the_output) {
  machine.root.plan(tool::transcode, tool_plan().write("{-o}", "twelve bytes"));
  machine.start();
  machine.root.write_source("/mnt/media/clip.ts", "video/mp2t");
  const auto id = machine.client.add_ready("/mnt/media/clip.ts");
  const auto item = machine.client.wait_for_transcode_state(id, "done");
  ASSERT_TRUE(item["fileops job id"].is_number());
  const std::string text = post("list", "entry id:" + id + "\n\n");
  EXPECT_THAT(text, Not(HasSubstr("fileops job id")));
  EXPECT_THAT(text, HasSubstr("\"output size\": 12,"));
}

TEST_F(cgi_program, answers_404_for_a_missing_item) {
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

// The moment at which the queue page expects the first job to be ready, as the client writes it.
std::string expected_moment(const std::string& answer) {
  std::string error;
  const auto queue = json11::Json::parse(answer.substr(answer.find("\r\n\r\n") + 4), error);
  const auto moment = static_cast<time_t>(queue["items"][0]["ready_at"].number_value());
  char text[8];
  std::strftime(text, sizeof text, "~%H:%M", std::localtime(&moment));
  return moment == 0 ? "no moment in " + answer : text;
}

TEST_F(cgi_program, expects_a_job_to_be_ready_when_the_client_does) {
  machine.root.plan(tool::transcode, tool_plan().print("Encoding: frame=50/100\n").wait("go"));
  machine.start();
  machine.root.write_source("/mnt/media/clip.ts", "video/mp2t");
  const auto id = machine.client.add_ready("/mnt/media/clip.ts");
  machine.client.wait_for_progress(id, 5000);
  const auto now = static_cast<long>(std::time(nullptr));
  machine.root.write("/run/qx_vod_service/history", "running " + id + " " +
                                                        std::to_string(now - 7200) + " 0 " +
                                                        std::to_string(now - 1) + " 4999\n");
  const std::string before = expected_moment(get("c=queue"));
  const std::string status = machine.root.run({QX_VOD_CTL, "status"}).out;
  const std::string after = expected_moment(get("c=queue"));
  EXPECT_THAT(status, testing::AnyOf(HasSubstr(before), HasSubstr(after)));
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

TEST_F(cgi_program, refuses_the_server_interface_to_foreign_pages) {
  machine.start();
  const auto id = machine.client.add({});
  const std::string text = ask_page("POST", "c=vodsrv&vc=remove", "entry id:" + id + "\n\n",
                                    "HTTP_HOST=vod.example HTTP_ORIGIN=http://evil.example");
  EXPECT_THAT(text, StartsWith("Status: 403 Forbidden\r\n"));
  EXPECT_EQ(machine.client.list()["total"].int_value(), 1);
}

TEST_F(cgi_program, shows_the_page_a_queue_of_512) {
  machine.start();
  for (int i = 0; i < 512; ++i) {
    machine.client.add({});
  }
  const std::string text = get("c=queue&first=500&count=64");
  const std::string body = text.substr(text.find("\r\n\r\n") + 4);
  std::string error;
  const json11::Json seen = json11::Json::parse(body, error);
  EXPECT_EQ(seen["total"].int_value(), 512);
  EXPECT_EQ(seen["groups"]["waiting"].int_value(), 512);
  EXPECT_EQ(seen["items"].array_items().size(), 12U);
  EXPECT_THAT(body, testing::Not(HasSubstr("process")));
}

TEST_F(cgi_program, answers_the_page_that_nothing_changed) {
  machine.start();
  machine.client.add({});
  const std::string text = get("c=queue");
  ASSERT_THAT(text, StartsWith("Status: 200 OK\r\n"));
  const std::string tag = text.substr(text.find("ETag: ") + 6, 18);
  EXPECT_THAT(get("c=queue", "HTTP_IF_NONE_MATCH=" + tag),
              StartsWith("Status: 304 Not Modified\r\n"));
  machine.client.add({});
  EXPECT_THAT(get("c=queue", "HTTP_IF_NONE_MATCH=" + tag), StartsWith("Status: 200 OK\r\n"));
}

TEST_F(cgi_program, adds_a_file_for_the_page) {
  machine.root.write_source("/mnt/media/clip.ts", "video/mp2t");
  machine.start();
  const std::string text = command("add", R"({"file": "/mnt/media/clip.ts", "profile": "480"})");
  EXPECT_THAT(text, StartsWith("Status: 200 OK\r\n"));
  const json11::Json list = machine.client.list();
  EXPECT_EQ(list["list"][0]["transcode profile"].string_value(), "480");
  EXPECT_THAT(text, HasSubstr("{\"id\": \"" + list["list"][0]["entry id"].string_value() + "\"}"));
}

TEST_F(cgi_program, refuses_a_profile_that_the_source_does_not_offer) {
  machine.root.write_source("/mnt/media/clip.ts", "video/mp2t");
  machine.start();
  const std::string added = command("add", R"({"file": "/mnt/media/clip.ts", "profile": "1440"})");
  EXPECT_THAT(added, StartsWith("Status: 409 Conflict\r\n"));
  EXPECT_THAT(added, HasSubstr("\"error\": \"no such profile\""));
  EXPECT_THAT(added, HasSubstr("offered: 1080, 720, 480."));
  EXPECT_EQ(machine.client.list()["total"].int_value(), 0);
}

TEST_F(cgi_program, refuses_a_change_to_a_profile_that_the_source_does_not_offer) {
  machine.root.write_source("/mnt/media/clip.ts", "video/mp2t");
  machine.start();
  const auto id = machine.client.add({{"input file", "/mnt/media/clip.ts"}});
  const std::string changed = "{\"id\": \"" + id + "\", \"profile\": ";
  EXPECT_THAT(command("modify", changed + "\"1440\"}"), HasSubstr("no such profile"));
  EXPECT_EQ(machine.client.item(id)["transcode profile"].string_value(), "");
  EXPECT_THAT(command("modify", changed + "\"720\"}"), StartsWith("Status: 200 OK\r\n"));
  EXPECT_EQ(machine.client.item(id)["transcode profile"].string_value(), "720");
}

TEST_F(cgi_program, opens_no_file_that_the_service_would_refuse) {
  machine.start();
  EXPECT_THAT(command("add", R"({"file": "/etc/passwd", "profile": "1440"})"),
              HasSubstr("Rejected: Forbidden input file"));
  EXPECT_EQ(machine.root.calls(tool::quote).size(), 0U);
}

TEST_F(cgi_program, gives_the_page_the_reason_of_a_refusal_and_leaves_nothing) {
  machine.root.write("/mnt/media/other.ts", "");
  machine.start();
  const std::string text =
      command("add", R"({"file": "/mnt/media/gone.ts", "deletes_source": true})");
  EXPECT_THAT(text, StartsWith("Status: 409 Conflict\r\n"));
  EXPECT_THAT(text, HasSubstr("\"text\": \"Rejected: "));
  EXPECT_TRUE(wait_until([&] {
    const json11::Json list = machine.client.list();
    return list["total"].int_value() == 0;
  }));
}

TEST_F(cgi_program, carries_out_the_pages_commands) {
  machine.start();
  const auto id = machine.client.add({});
  EXPECT_THAT(command("pause", "{\"id\": \"" + id + "\"}"), StartsWith("Status: 200 OK\r\n"));
  EXPECT_TRUE(machine.client.item(id)["paused"].bool_value());
  EXPECT_THAT(command("pause", R"({"id": "nobody"})"), StartsWith("Status: 404 Not Found\r\n"));
}

TEST_F(cgi_program, refuses_commands_without_the_pages_mark_or_from_foreign_pages) {
  machine.start();
  const auto id = machine.client.add({});
  const std::string body = "{\"id\": \"" + id + "\"}";
  for (const char* headers : {"", "HTTP_HOST=a HTTP_ORIGIN=http://a",
                              "HTTP_HOST=a HTTP_ORIGIN=http://b HTTP_X_VOD_PAGE=1",
                              "HTTP_HOST=a HTTP_SEC_FETCH_SITE=cross-site HTTP_X_VOD_PAGE=1"}) {
    EXPECT_THAT(command("pause", body, headers), StartsWith("Status: 403 Forbidden\r\n"))
        << headers;
  }
  EXPECT_FALSE(machine.client.item(id)["paused"].bool_value());
}

TEST_F(cgi_program, keeps_methods_apart) {
  machine.start();
  EXPECT_THAT(ask_page("POST", "c=queue", "", ""), StartsWith("Status: 405"));
  EXPECT_THAT(get("c=command&vc=pause", "HTTP_X_VOD_PAGE=1"), StartsWith("Status: 405"));
}

TEST_F(cgi_program, answers_the_page_that_there_is_no_service) {
  const std::string text = get("c=queue");
  EXPECT_THAT(text, StartsWith("Status: 503 Service Unavailable\r\n"));
  EXPECT_THAT(text, HasSubstr("{\"error\": \"no service\""));
}

TEST_F(cgi_program, explains_itself_to_a_person) {
  const auto help = machine.root.run({QX_VOD_CGI, "--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_THAT(help.out, HasSubstr("CGI"));
  EXPECT_EQ(machine.root.run({QX_VOD_CGI}).status, 2);
}

}  // namespace
