// Writes down what would become of a file.
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "platform/paths.h"
#include "rules/source_rules.h"
#include "tools/client/advice.h"
#include "tools/client/estimate.h"
#include "tools/media/size_text.h"
#include "tools/qx_vod_ctl/check/prospect.h"
#include "tools/qx_vod_ctl/terminal_text.h"

namespace {

constexpr std::size_t label_width = 10;

constexpr std::string_view plain_characters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789%+,-./:=@_";

void add_line(std::string& text, std::string_view label, const std::string& value) {
  text.append(label).append(label_width - label.size(), ' ').append(printable(value)).append("\n");
}

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const auto& name : names) {
    text += (text.empty() ? "" : " ") + name;
  }
  return text;
}

std::string entry(const prospect& found, std::string_view name) {
  for (const auto& [key, value] : found.identity) {
    if (key == name) { return value; }
  }
  return "";
}

void add_part(std::string& text, const std::string& value, const std::string& unit = "") {
  if (!value.empty()) { text += (text.empty() ? "" : ", ") + value + unit; }
}

std::string identity_text(const prospect& found) {
  std::string text = entry(found, entry_file_type);
  const std::string width = entry(found, "width");
  if (!width.empty()) { add_part(text, width + "x" + entry(found, "height")); }
  add_part(text, entry(found, "frame rate"), " fps");
  if (entry(found, "interlaced") == "1") { add_part(text, "interlaced"); }
  add_part(text, entry(found, "video codec"));
  add_part(text, entry(found, "audio codec"));
  add_part(text, entry(found, "audio channels"), " channels");
  add_part(text, entry(found, "duration"), " s");
  const std::string size = entry(found, "size");
  if (!size.empty()) { add_part(text, size_text(std::strtoull(size.c_str(), nullptr, 10))); }
  if (found.identity_stored) { text += " (from its metadata)"; }
  return text;
}

std::string time_text(const work_time& time, const std::string& profile) {
  char speed[40];
  std::snprintf(speed, sizeof speed, "%.1f", time.speed);
  return "about " + duration_text(time.seconds) + " once it starts: jobs with profile " + profile +
         " ran at " + speed + " times playing speed";
}

std::string room_text(const prospect& found) {
  const std::string text = size_text(found.room->free_bytes) + " free for " + path_output_dir;
  const std::uint64_t needed = found.size ? (found.in_segments ? 2 : 1) * found.size->bytes : 0;
  const bool is_enough = found.room->free_bytes + found.segments.bytes >= needed;
  return is_enough ? text : text + ", which may be too little";
}

std::string segments_text(const left_part_sums& segments) {
  return std::to_string(segments.count) + (segments.count == 1 ? " is" : " are") + " finished, " +
         size_text(segments.bytes) +
         ": an interrupted transcode of this file is resumed if nothing else has changed";
}

void add_outcome(std::string& text, const prospect& found) {
  add_line(text, "profile", found.choice.profile + ", because " + found.choice.reason);
  add_line(text, "where", found.server.empty() ? "here" : "on the server " + found.server);
  if (found.size) {
    add_line(text, "size", "at most " + size_text(found.size->bytes) + ": " + found.size->basis);
  }
  if (found.time) { add_line(text, "time", time_text(*found.time, found.choice.profile)); }
  if (found.room) { add_line(text, "room", room_text(found)); }
  if (found.segments.count > 0) { add_line(text, "segments", segments_text(found.segments)); }
  for (const auto& command : found.commands) {
    add_line(text, "command", shell_text(command));
  }
}

json11::Json::object identity_json(const prospect& found) {
  json11::Json::object object;
  for (const auto& [name, value] : found.identity) {
    object[name] = value;
  }
  return object;
}

void add_outcome_json(json11::Json::object& object, const prospect& found) {
  object["profile"] = found.choice.profile;
  object["profile reason"] = found.choice.reason;
  object["server"] = found.server;
  object["commands"] = found.commands;
  if (found.size) {
    object["size at most"] = static_cast<double>(found.size->bytes);
    object["size basis"] = found.size->basis;
  }
  if (found.time) { object["seconds"] = found.time->seconds; }
  if (found.room) { object["free"] = static_cast<double>(found.room->free_bytes); }
  object["finished segments"] = static_cast<double>(found.segments.count);
}

}  // namespace

std::string shell_text(const std::vector<std::string>& arguments) {
  std::string text;
  for (const auto& argument : arguments) {
    if (!text.empty()) { text += ' '; }
    const bool is_plain =
        !argument.empty() && argument.find_first_not_of(plain_characters) == std::string::npos;
    if (is_plain) {
      text += argument;
      continue;
    }
    text += '\'';
    for (const char c : argument) {
      text += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    text += '\'';
  }
  return text;
}

std::string prospect_text(const prospect& found) {
  std::string text;
  add_line(text, "file", found.path);
  if (found.refused.unknown) {
    add_line(text, "accepted", "unknown: " + found.refused.text);
  } else {
    add_line(text, "accepted", found.accepted() ? "yes" : "no: " + found.refused.text);
  }
  const std::string advice = advice_for(found.refused.text);
  if (!advice.empty()) { add_line(text, "", "-> " + advice); }
  if (!found.note.empty()) { add_line(text, "note", found.note); }
  if (!found.identity.empty()) { add_line(text, "identity", identity_text(found)); }
  if (!found.profiles.empty()) { add_line(text, "offered", joined(found.profiles)); }
  if (found.accepted()) { add_outcome(text, found); }
  return text;
}

json11::Json prospect_json(const prospect& found) {
  json11::Json::object object = {{"file", found.path},
                                 {"accepted", found.accepted()},
                                 {"text", found.refused.text},
                                 {"advice", advice_for(found.refused.text)},
                                 {"note", found.note},
                                 {"identity", identity_json(found)},
                                 {"identity stored", found.identity_stored},
                                 {"profiles", found.profiles}};
  if (found.accepted()) { add_outcome_json(object, found); }
  return object;
}
