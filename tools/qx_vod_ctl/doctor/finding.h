// The doctor's results, one finding for each check.
#pragma once

#include <string>
#include <vector>

#include <json11.hpp>

enum class finding_result { ok, warning, problem };

struct finding {
  std::string check;  // the subject, one or two words
  finding_result result = finding_result::ok;
  std::string text;    // the result in words
  std::string advice;  // how to fix it, in plain words; empty if there is nothing to fix
};

using finding_list = std::vector<finding>;

finding fine(std::string check, std::string text);
finding warning(std::string check, std::string text, std::string advice);
finding problem(std::string check, std::string text, std::string advice);

// Appends all of `more`.
void append(finding_list& findings, finding_list more);

bool has_problem(const finding_list& findings);

// A line for each finding, beginning with its result, and below it how to fix it; the totals come
// last. With `colour` the results are coloured by terminal sequences.
std::string findings_text(const finding_list& findings, bool colour);

// An array of objects with the keys "check", "result" ("ok", "warning", "problem"), "text" and
// "advice".
json11::Json findings_json(const finding_list& findings);
