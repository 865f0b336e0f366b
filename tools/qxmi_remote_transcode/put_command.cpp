#include "tools/qxmi_remote_transcode/put_command.h"

#include <algorithm>
#include <cctype>
#include <cinttypes>
#include <cstdio>

#include "rules/tool_commands.h"

namespace {

constexpr std::size_t longest_name = 128;

// A server that says nothing for so long is gone.
constexpr const char* silence_limit = "60";

bool is_name_character(unsigned char character) {
  return std::isalnum(character) != 0 || character == '-' || character == '_' || character == '.';
}

}  // namespace

bool is_upload_name(const std::string& name) {
  return !name.empty() && name.size() <= longest_name &&
         std::isalnum(static_cast<unsigned char>(name[0])) != 0 &&
         std::all_of(name.begin(), name.end(), is_name_character);
}

std::string part_suffix(const struct stat& source) {
  char text[80];
  std::snprintf(text, sizeof text, ".%jx-%jx-%lx.part", static_cast<std::uintmax_t>(source.st_size),
                static_cast<std::uintmax_t>(source.st_mtim.tv_sec),
                static_cast<unsigned long>(source.st_mtim.tv_nsec));
  return text;
}

// With its sendfile(), the client (seen with 3.2.6) resumes incorrectly: it appends the file from
// its beginning to the existing part. With -s it reads from the right place, and only then does its
// position in the file show the progress, which the service reads.
//
// It renames after a complete transfer only with -S; a rename by raw commands, -X or -Y, is omitted
// or done at the wrong time if the transfer fails.
std::vector<std::string> put_command(const std::string& login, const std::string& link,
                                     const std::string& suffix, put_mode mode) {
  return {ftp_client_program,
          "-f",
          login,
          "-s",
          "-V",
          "-m",
          "-t",
          silence_limit,
          mode == put_mode::resume ? "-z" : "-Z",
          "-S",
          suffix,
          remote_upload_directory,
          link};
}
