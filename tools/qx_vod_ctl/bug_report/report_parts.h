// Collects the parts of a bug report for its archive: passwords are masked in each part, and every
// missing part is noted with the reason.
#pragma once

#include <string>
#include <string_view>

#include <json11.hpp>

#include "tools/client/secret_mask.h"
#include "tools/qx_vod_ctl/private_folder.h"

class report_parts {
public:
  // `name` is the folder that the archive unpacks to.
  report_parts(std::string name, secret_mask secrets);

  // Creates the directory for the parts, which is removed with this object. False with the cause in
  // `error`.
  bool create(std::string& error);

  void add_text(const std::string& part, const std::string& text);
  void add_json(const std::string& part, const json11::Json& json);
  // Adds the file `name` of `folder`, at most 1 MiB of it, otherwise unchanged; symbolic links are
  // not followed.
  void add_file(const std::string& part, const std::string& folder, const std::string& name);
  void add_missing(const std::string& part, const std::string& reason);

  // Packs all parts, and the list of missing ones, into `archive`. Runs tar; false with the cause
  // in `error`, also if the client was asked to stop.
  bool pack(std::string& archive, std::string& error);

private:
  std::string name_;
  secret_mask secrets_;
  std::string missing_;
  private_folder folder_;
};
