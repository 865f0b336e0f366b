// A folder that only its owner can enter, for files that hold secrets or are not finished; gone
// with this object, with all it holds.
#pragma once

#include <string>
#include <string_view>

class private_folder {
public:
  private_folder() = default;
  ~private_folder();
  private_folder(const private_folder&) = delete;
  private_folder& operator=(const private_folder&) = delete;

  // Creates it below "/run", which is only in memory, or else below "/tmp"; mode 0700. False with
  // the cause in `error`. Once per object.
  bool create(std::string& error);

  const std::string& path() const { return path_; }

  // Writes the file `name`, which may lie in subfolders that are made for it, readable by its owner
  // only. False with the cause in `error`.
  bool write(const std::string& name, std::string_view content, std::string& error) const;

private:
  std::string path_;
};
