// The body of a request to the gateway, read from a file as the gateway reads it from its standard
// input. The first line is the content length that the client announced.
#include <algorithm>

#include <sys/mman.h>
#include <unistd.h>

#include "platform/clock.h"
#include "platform/file_bytes.h"
#include "platform/unique_fd.h"
#include "tests/fuzz/fuzz_target.h"
#include "tools/vod_cgi/cgi_input.h"
#include "tools/vod_cgi/control_request.h"
#include "tools/vod_cgi/page_command.h"

namespace {

constexpr std::uint64_t patience_us = 1000000;

bool has_control_character(const std::string& text) {
  return std::any_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; });
}

bool receive(const std::string& length, const std::string& sent, std::string& body) {
  const unique_fd file(memfd_create("body", MFD_CLOEXEC));
  fuzz_expect(write_all(file.get(), sent) && lseek(file.get(), 0, SEEK_SET) == 0,
              "the body is there");
  return read_body(file.get(), length, monotonic_clock_us() + patience_us, body) == body_result::ok;
}

void read_other_server_s_body(const std::string& body) {
  name_values pairs;
  std::string error;
  if (!read_pairs(body, pairs, error)) {
    fuzz_expect(!error.empty(), "a refusal has a cause");
    return;
  }
  const std::string upload = uploaded_file(pairs);
  fuzz_expect(upload.empty() || upload.rfind(upload_directory, 0) == 0, "an upload is an upload");
  fuzz_expect(upload.find("/../") == std::string::npos, "an upload is in its folder");
}

void read_page_body(const std::string& word, const std::string& body) {
  page_command command;
  std::string error;
  if (!read_page_command(word, body, command, error)) {
    fuzz_expect(!error.empty(), "a refusal has a cause");
    return;
  }
  fuzz_expect(!has_control_character(command.id), "an id is plain text");
  for (const auto& [name, value] : command.fields) {
    fuzz_expect(!has_control_character(name), "a field is one of the service's");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::size_t end = std::min(text.find('\n'), text.size());
  std::string body;
  if (!receive(text.substr(0, end), text.substr(std::min(end + 1, text.size())), body)) {
    return 0;
  }
  fuzz_expect(body.size() <= cgi_body_limit, "a body is within its limit");
  read_other_server_s_body(body);
  for (const char* word : {"add", "modify", "pause", "remove"}) {
    read_page_body(word, body);
  }
  return 0;
}

std::vector<std::string> fuzz_seeds() {
  const std::string id = "0f8b1c2d-0000-4abc-8def-0123456789ab";
  return {"\n*name:" + id + "\ntranscode profile:720\ndelete on finish:1\n\nrest",
          "\n{\"file\":\"/mnt/media/clip.mpg\",\"profile\":\"720\",\"deletes_source\":true}",
          "\n{\"id\":\"" + id + "\"}",
          "12\nentry id:" + id.substr(0, 3),
          "99999999999999999999\nx:y\n",
          "\n*name:../../../../etc/passwd-0123456789abcdef\n"};
}
