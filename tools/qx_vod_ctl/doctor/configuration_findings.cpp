// Judges the configuration file.
#include <algorithm>
#include <cstdlib>
#include <set>

#include "platform/paths.h"
#include "platform/text.h"
#include "platform/transcode_settings.h"
#include "tools/client/secret_mask.h"
#include "tools/qx_vod_ctl/doctor/configuration.h"
#include "tools/qx_vod_ctl/doctor/file_owner.h"

namespace {

constexpr const char* check = "configuration";
constexpr std::size_t most_named = 5;  // lines or keys that one finding names
constexpr std::size_t longest_key = 40;

const std::string file_name = path_vod_conf;

// "3, 4, 5 and 12 more"
std::string named(const std::vector<std::string>& names) {
  std::string text;
  for (std::size_t i = 0; i < names.size() && i < most_named; ++i) {
    text += (i == 0 ? "" : ", ") + names[i];
  }
  if (names.size() > most_named) {
    text += " and " + std::to_string(names.size() - most_named) + " more";
  }
  return text;
}

std::string named(const std::vector<int>& lines) {
  std::vector<std::string> names(lines.size());
  std::transform(lines.begin(), lines.end(), names.begin(),
                 [](int line) { return std::to_string(line); });
  return named(names);
}

std::string key_text(const configuration_pair& pair, const secret_mask& secrets) {
  const std::string name = secrets.masked(pair.name).substr(0, longest_key);
  return "line " + std::to_string(pair.line) + " \"" + name + "\"";
}

// A password may be left of a "=" by accident, too.
secret_mask secrets_of(const configuration& parsed) {
  const std::string* const password = parsed.value(setting_password);
  return secret_mask({password == nullptr ? "" : *password});
}

bool is_whole_number(const std::string& value) {
  const std::size_t digits = value.find_first_not_of("0123456789");
  return !value.empty() && value.size() <= 9 && digits == std::string::npos;
}

void judge_lines(const configuration& parsed, finding_list& findings) {
  if (!parsed.no_pairs.empty()) {
    findings.push_back(
        warning(check, "ignored, not of the form \"name = value\": line " + named(parsed.no_pairs),
                "write \"name = value\", or begin the line with #"));
  }
  if (!parsed.too_long.empty()) {
    findings.push_back(
        warning(check, "longer than 1022 bytes and read in pieces: line " + named(parsed.too_long),
                "shorten them"));
  }
  if (parsed.has_nul) {
    findings.push_back(warning(check, "contains NUL bytes; the rest of their lines is ignored",
                               "rewrite the file as plain text"));
  }
}

void judge_keys(const configuration& parsed, finding_list& findings) {
  std::vector<std::string> unknown;
  std::vector<std::string> wrong_case;
  const secret_mask secrets = secrets_of(parsed);
  for (const auto& pair : parsed.pairs) {
    if (pair.known || !pair.whole) { continue; }
    (is_known_key(lower_case(pair.name)) ? wrong_case : unknown).push_back(key_text(pair, secrets));
  }
  if (!wrong_case.empty()) {
    findings.push_back(warning(check, "ignored because of capital letters: " + named(wrong_case),
                               "write the keys in lower case"));
  }
  if (!unknown.empty()) {
    findings.push_back(warning(
        check, "unknown, so ignored: " + named(unknown),
        "the known keys are max profile, fullspeed, transcode server address, user and password"));
  }
}

void judge_repeated(const configuration& parsed, finding_list& findings) {
  std::vector<std::string> repeated;
  std::set<std::string> seen;
  for (const auto& pair : parsed.pairs) {
    if (pair.known && !seen.insert(pair.name).second) {
      repeated.push_back("line " + std::to_string(pair.line) + " \"" + pair.name + "\"");
    }
  }
  if (repeated.empty()) { return; }
  findings.push_back(warning(check,
                             "given more than once, only the last counts: " + named(repeated),
                             "remove the lines that you do not need"));
}

void judge_numbers(const configuration& parsed, finding_list& findings) {
  const std::string* const highest = parsed.value(setting_max_profile);
  if (highest != nullptr && (!is_whole_number(*highest) || std::atoi(highest->c_str()) == 0)) {
    const int read = std::atoi(highest->c_str());
    const std::string meaning = read > 0 ? "means " + std::to_string(read) : "means no limit";
    findings.push_back(warning(check, "\"max profile = " + *highest + "\" " + meaning,
                               "give the maximum height in lines, such as 720, or remove it"));
  }
  const std::string* const speed = parsed.value(setting_fullspeed);
  if (speed != nullptr && *speed != "0" && *speed != "1") {
    const bool on = std::strtol(speed->c_str(), nullptr, 10) > 0;
    findings.push_back(warning(check, "\"fullspeed = " + *speed + "\" means " + (on ? "1" : "0"),
                               "write 1 to use the whole machine, 0 to leave room for others"));
  }
}

void judge_address(const std::string& address, finding_list& findings) {
  if (address.find_first_of("/@ \t") != std::string::npos) {
    findings.push_back(problem(check, std::string("\"") + setting_address + "\" is not an address",
                               "give only a host name or address, without http:// or a user name"));
  } else if (address.find(':') != std::string::npos && address.find(']') != address.size() - 1) {
    findings.push_back(warning(check,
                               std::string("\"") + setting_address +
                                   "\" contains a port, which would be used for FTP as well",
                               "run both servers on their standard ports and give only the host"));
  }
}

// Seen with the FTP client's version 3.2.6: it takes no more of each, and the upload fails.
constexpr std::size_t longest_login = 121;

void judge_lengths(const configuration& parsed, finding_list& findings) {
  for (const char* key : {setting_address, setting_user, setting_password}) {
    const std::string* const value = parsed.value(key);
    if (value == nullptr || value->size() <= longest_login) { continue; }
    findings.push_back(
        problem(check, std::string("\"") + key + "\" is too long for the FTP client",
                "choose one of at most " + std::to_string(longest_login) + " bytes"));
  }
}

bool has_text(const std::string* value) {
  return value != nullptr && !value->empty();
}

void judge_server(const configuration& parsed, finding_list& findings) {
  const std::string* const address = parsed.value(setting_address);
  const std::string* const user = parsed.value(setting_user);
  const std::string* const password = parsed.value(setting_password);
  if (address == nullptr && user == nullptr && password == nullptr) { return; }
  std::vector<std::string> missing;
  if (!has_text(address)) { missing.emplace_back(setting_address); }
  if (!has_text(user)) { missing.emplace_back(setting_user); }
  if (password == nullptr) { missing.emplace_back(setting_password); }
  if (!missing.empty()) {
    findings.push_back(warning(check, "no remote transcoding, missing: " + named(missing),
                               "give address, user and password, or none of them"));
  }
  if (has_text(address)) { judge_address(*address, findings); }
}

void judge_access(const text_file& file, bool has_password, finding_list& findings) {
  const std::string writer = foreign_writer(file.status);
  const mode_t readers = S_IRGRP | S_IROTH;
  const std::string mend = "chown root:root " + file_name + "; chmod 600 " + file_name;
  if (!writer.empty()) {
    findings.push_back(problem(check, file_name + " can be changed by " + writer, mend));
  }
  if (has_password && (file.status.st_mode & readers) != 0) {
    findings.push_back(problem(check,
                               file_name + " contains a password and is readable by others, mode " +
                                   mode_text(file.status.st_mode),
                               mend));
  }
}

finding unreadable(const text_file& file) {
  const std::string text =
      file_name + " " +
      (file.error == EINVAL || file.error == EFBIG ? file.cause()
                                                   : "cannot be read: " + file.cause());
  if (file.error == EACCES) { return warning(check, text, "run it again as root"); }
  return problem(check, text,
                 "replace it with a text file of \"name = value\" lines, or remove it");
}

}  // namespace

finding_list check_configuration(const text_file& file) {
  if (file.missing()) {
    return {fine(check, file_name + " does not exist: all settings have their defaults")};
  }
  if (!file.read()) { return {unreadable(file)}; }
  const configuration parsed = read_configuration(file.text);
  finding_list findings;
  judge_access(file, parsed.value(setting_password) != nullptr, findings);
  judge_lines(parsed, findings);
  judge_keys(parsed, findings);
  judge_repeated(parsed, findings);
  judge_numbers(parsed, findings);
  judge_server(parsed, findings);
  judge_lengths(parsed, findings);
  if (findings.empty()) { findings.push_back(fine(check, file_name)); }
  return findings;
}
