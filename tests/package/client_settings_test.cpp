// The packaged settings of curl and wget, tested with the real programs.
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include "platform/unique_fd.h"
#include "tests/platform/test_folder.h"

namespace {

std::string text_of(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

// A server that accepts connections, because its kernel does, and never answers; and the packaged
// settings with every number except 0 replaced by 1, so that their limits are reached soon.
class client_settings : public testing::Test {
protected:
  client_settings() : listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(bind(listener_.get(), generic, sizeof address), 0);
    EXPECT_EQ(listen(listener_.get(), 8), 0);
    socklen_t size = sizeof address;
    getsockname(listener_.get(), generic, &size);
    server_ = "127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/";
    put_settings("curlrc", ".curlrc");
    put_settings("wgetrc", "wgetrc");
  }

  void put_settings(const std::string& packaged, const std::string& installed) {
    std::ofstream(folder_.file(installed))
        << std::regex_replace(text_of(QX_PACKAGING_FOLDER "/clients/" + packaged),
                              std::regex("= [1-9][0-9]*\n"), "= 1\n");
  }

  // The exit status of a client, run with the environment of the unit; 124 if it did not end.
  int run(const std::string& command) {
    const std::string unit = text_of(QX_PACKAGING_FOLDER "/systemd/qx-vod.service");
    std::string environment;
    const std::regex line("\nEnvironment=([^\n]*)");
    for (std::sregex_iterator at(unit.begin(), unit.end(), line), end; at != end; ++at) {
      environment += " " + (*at)[1].str();
    }
    environment =
        std::regex_replace(environment, std::regex("/etc/qx_vod_service"), folder_.path());
    const int status = std::system(("env -i" + environment + " timeout 30 " + command + " >" +
                                    folder_.file("out") + " 2>&1 </dev/null")
                                       .c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  std::string output() { return text_of(folder_.file("out")); }

  qx_test::test_folder folder_;
  unique_fd listener_;
  std::string server_;
};

}  // namespace

TEST_F(client_settings, end_a_request_that_nobody_answers) {
  constexpr int timed_out = 28;
  EXPECT_EQ(run("/usr/bin/curl --silent http://" + server_), timed_out);
  EXPECT_EQ(output(), "") << "an option that it does not know";
}

TEST_F(client_settings, end_a_download_from_a_silent_server) {
  constexpr int network_error = 4;
  EXPECT_EQ(run("/usr/bin/wget --output-document=/dev/null ftp://" + server_ + "far.mp4"),
            network_error)
      << output();
  EXPECT_EQ(output().find("(try: 2)"), std::string::npos) << output();
}
