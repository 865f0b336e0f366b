// Decides which sources may be transcoded, and with which text the others are refused. The service
// and "qx_vod_ctl check" both use these functions. Callers gather the facts: they ask the policy
// (platform/forbidden_area.h), open folders and read metadata, in the order of the functions below.
// A function that accepts the source returns an empty text.
#pragma once

#include <optional>
#include <string>

#include <sys/types.h>

// The flags with which the policy is asked about a source and about its folder, and the bits that
// forbid in its answers.
constexpr unsigned source_path_flags = 0;
constexpr unsigned source_path_forbidden = 0x1;
constexpr unsigned source_folder_flags = 0x8080;
constexpr unsigned source_folder_forbidden = 0x200;

// A source's path up to its last "/", and the name that follows.
struct source_place {
  std::string folder;
  std::string name;
};

// Divides the path of a source. Nothing for a path that is not absolute or a name that may not be
// touched: such a path is not accepted at all (status_not_accepted).
std::optional<source_place> place_of_source(const std::string& path);

// Judges a path as it is written. `area` is the policy's answer about it.
std::string path_refusal(const std::string& path, unsigned area);

// Judges a source's folder: whether it could be opened, and the policy's answer about it, which is
// not looked at where it could not.
std::string folder_refusal(bool is_open, unsigned area);

// Judges the file of the source's name in its folder: `error` is the errno of the look-up, 0 if it
// succeeded with the file mode `mode`. Links are not followed.
std::string file_refusal(int error, mode_t mode);

// The metadata entries by which a source is judged.
constexpr char entry_file_type[] = "file type";
constexpr char entry_offline[] = "offline";

// Judges a source by the values of these entries; "" means that the entry is missing. A source
// without a type is not refused: it has to be identified first.
std::string metadata_refusal(const std::string& file_type, const std::string& offline);

// Whether a source of that MIME type is transcoded.
bool is_transcodeable(const std::string& file_type);
