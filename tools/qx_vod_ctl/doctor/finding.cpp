#include "tools/qx_vod_ctl/doctor/finding.h"

#include <algorithm>
#include <cstddef>

#include "tools/qx_vod_ctl/terminal_text.h"

namespace {

struct mark {
  const char* word;
  const char* colour;
};

// In the order of finding_result.
constexpr mark marks[] = {{"ok", "\x1b[32m"}, {"warning", "\x1b[33m"}, {"problem", "\x1b[31m"}};

constexpr const char* plain = "\x1b[0m";
constexpr std::size_t mark_width = 9;
constexpr std::size_t check_width = 20;

const mark& mark_of(const finding& found) {
  return marks[static_cast<std::size_t>(found.result)];
}

void pad(std::string& line, std::size_t width) {
  line.append(width > columns(line) ? width - columns(line) : 1, ' ');
}

std::string line_of(const finding& found, bool colour) {
  const mark& its = mark_of(found);
  std::string line = its.word;
  pad(line, mark_width);
  line += printable(found.check);
  pad(line, mark_width + check_width);
  if (colour) { line.insert(std::string(its.word).size(), plain).insert(0, its.colour); }
  line += printable(found.text) + "\n";
  if (found.advice.empty()) { return line; }
  return line + std::string(mark_width, ' ') + "-> " + printable(found.advice) + "\n";
}

std::ptrdiff_t count(const finding_list& findings, finding_result result) {
  return std::count_if(findings.begin(), findings.end(),
                       [result](const finding& found) { return found.result == result; });
}

std::string counted(std::ptrdiff_t number, const std::string& noun) {
  return (number == 0 ? "no" : std::to_string(number)) + " " + noun + (number == 1 ? "" : "s");
}

}  // namespace

finding fine(std::string check, std::string text) {
  return {std::move(check), finding_result::ok, std::move(text), ""};
}

finding warning(std::string check, std::string text, std::string advice) {
  return {std::move(check), finding_result::warning, std::move(text), std::move(advice)};
}

finding problem(std::string check, std::string text, std::string advice) {
  return {std::move(check), finding_result::problem, std::move(text), std::move(advice)};
}

void append(finding_list& findings, finding_list more) {
  std::move(more.begin(), more.end(), std::back_inserter(findings));
}

bool has_problem(const finding_list& findings) {
  return count(findings, finding_result::problem) > 0;
}

std::string findings_text(const finding_list& findings, bool colour) {
  std::string text;
  for (const auto& found : findings) {
    text += line_of(found, colour);
  }
  return text + counted(count(findings, finding_result::problem), "problem") + ", " +
         counted(count(findings, finding_result::warning), "warning") + "\n";
}

json11::Json findings_json(const finding_list& findings) {
  json11::Json::array array;
  for (const auto& found : findings) {
    array.emplace_back(json11::Json::object{{"check", found.check},
                                            {"result", mark_of(found).word},
                                            {"text", found.text},
                                            {"advice", found.advice}});
  }
  return array;
}
