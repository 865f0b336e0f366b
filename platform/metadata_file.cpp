// Metadata files, read and written.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/metadata_entries.h"
#include "platform/metadata_v4.h"
#include "platform/unique_fd.h"

namespace {

constexpr std::size_t max_file_size = 1U << 20U;

int fail(int error) {
  errno = error;
  return -1;
}

std::string file_path(metadata_v4_context const& context, char const* name) {
  return context.directory + "/" + (name == nullptr ? "metadata" : name);
}

std::string escape(std::string const& value) {
  std::string text;
  for (char const c : value) {
    switch (c) {
    case '\\':
      text += "\\\\";
      break;
    case '\n':
      text += "\\n";
      break;
    case '\r':
      text += "\\r";
      break;
    default:
      text += c;
      break;
    }
  }
  return text;
}

std::string unescape(std::string const& text) {
  std::string value;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char const next = text[i] == '\\' && i + 1 < text.size() ? text[i + 1] : '\0';
    if (next == '\\' || next == 'n' || next == 'r') {
      value += next == '\\' ? '\\' : next == 'n' ? '\n' : '\r';
      ++i;
    } else {
      value += text[i];
    }
  }
  return value;
}

// Reads a regular file whole. Opened non-blocking: the file lies beside media that anybody may have
// put there, and may be a FIFO.
bool read_file(std::string const& path, std::string& text) {
  unique_fd const fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!fd.valid() || fstat(fd.get(), &status) != 0) {
    return false;
  }
  if (!S_ISREG(status.st_mode)) {
    errno = EINVAL;
    return false;
  }
  char block[16384];
  ssize_t got = 0;
  while ((got = read(fd.get(), block, sizeof(block))) != 0) {
    if (got < 0 && errno != EINTR) {
      return false;
    }
    text.append(block, got < 0 ? 0 : static_cast<std::size_t>(got));
    if (text.size() > max_file_size) {
      errno = EINVAL;
      return false;
    }
  }
  return true;
}

// False for a text with a line that is no entry. A value is a C string, so a NUL is none either.
bool parse(std::string const& text, metadata_v4_metadata_context& entries) {
  for (std::size_t begin = 0; begin < text.size();) {
    std::size_t const end = std::min(text.find('\n', begin), text.size());
    std::string const line = text.substr(begin, end - begin);
    std::size_t const equals = line.find('=');
    if (equals == 0 || equals == std::string::npos || line.find('\0') != std::string::npos) {
      return false;
    }
    set_metadata_entry(entries, line.substr(0, equals), unescape(line.substr(equals + 1)));
    begin = end + 1;
  }
  return true;
}

bool write_all(int fd, std::string const& text) {
  for (std::size_t done = 0; done < text.size();) {
    ssize_t const put = write(fd, text.data() + done, text.size() - done);
    if (put < 0 && errno != EINTR) {
      return false;
    }
    done += put < 0 ? 0 : static_cast<std::size_t>(put);
  }
  return true;
}

// Makes a temporary file beside the target with the rights that any new file would get.
unique_fd make_temporary(std::string& path) {
  unique_fd fd(mkostemp(path.data(), O_CLOEXEC));
  if (fd.valid()) {
    mode_t const mask = umask(0);
    umask(mask);
    fchmod(fd.get(), 0666 & ~mask);
  }
  return fd;
}

}  // namespace

int metadata_v4_metadata_context_load_metadata_from_file(metadata_v4_metadata_context* entries,
                                                         metadata_v4_context const* context,
                                                         char const* name) {
  entries->list.clear();
  if (context->directory.empty()) {
    return fail(EINVAL);
  }
  std::string text;
  if (!read_file(file_path(*context, name), text)) {
    return -1;
  }
  if (!parse(text, *entries)) {
    entries->list.clear();
    return fail(EINVAL);
  }
  return 0;
}

int metadata_v4_metadata_context_write_metadata_to_file(metadata_v4_metadata_context const* entries,
                                                        metadata_v4_context const* context,
                                                        char const* name) {
  if (context->directory.empty()) {
    return fail(EINVAL);
  }
  if (mkdir(context->directory.c_str(), 0777) != 0 && errno != EEXIST) {
    return -1;
  }
  std::string text;
  for (auto const& [entry_name, value] : entries->list) {
    text += entry_name + "=" + escape(value) + "\n";
  }
  std::string const path = file_path(*context, name);
  std::string temporary = path + ".XXXXXX";
  unique_fd const fd = make_temporary(temporary);
  if (!fd.valid()) {
    return -1;
  }
  if (write_all(fd.get(), text) && rename(temporary.c_str(), path.c_str()) == 0) {
    return 0;
  }
  int const error = errno;
  unlink(temporary.c_str());
  return fail(error);
}
