// What the doctor found, one finding for each thing looked at.
#pragma once

#include <string>
#include <vector>

#include <json11.hpp>

enum class finding_result { ok, warning, problem };

struct finding {
  std::string check;  // what was looked at, one or two words
  finding_result result = finding_result::ok;
  std::string text;    // what was found
  std::string advice;  // what to mend, in plain words; empty where all is well
};

using finding_list = std::vector<finding>;

finding fine(std::string check, std::string text);
finding warning(std::string check, std::string text, std::string advice);
finding problem(std::string check, std::string text, std::string advice);

// Appends all of `more`.
void append(finding_list& findings, finding_list more);

bool has_problem(const finding_list& findings);

// A line for each finding, beginning with its mark, and below it what to mend; the sums last. With
// `colour` the marks are coloured by the terminal's own sequences.
std::string findings_text(const finding_list& findings, bool colour);

// An array of objects with the keys "check", "result" ("ok", "warning", "problem"), "text" and
// "advice".
json11::Json findings_json(const finding_list& findings);
