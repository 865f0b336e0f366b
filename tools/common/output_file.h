// A result that appears under its name only when it is whole: written under a hidden temporary
// name in the same directory, then renamed. Whatever is not committed is removed.
#pragma once

#include <string>

class output_file {
public:
  output_file() = default;
  // Removes the temporary file unless it was committed.
  ~output_file();
  output_file(const output_file&) = delete;
  output_file& operator=(const output_file&) = delete;

  // Creates the temporary file beside `path`, empty, under a name that nobody else has, with the
  // permissions that the umask leaves. An existing `path` stays as it is until commit(); a
  // directory is refused. False with the cause in `error`.
  bool create(const std::string& path, std::string& error);

  // The temporary name, to be written by this process or by an engine. Valid after create().
  const std::string& temporary_path() const { return temporary_; }

  // The temporary name as the engines take it.
  std::string url() const { return "file:" + temporary_; }

  // Brings the content to the disk and gives the file its name, replacing what had it before; not
  // when the tool is asked to stop meanwhile.
  // False with the cause in `error`; the temporary file is then removed with this object.
  bool commit(std::string& error);

private:
  std::string path_;
  std::string temporary_;
};
