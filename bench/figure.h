// Figures: a median of several measurements each, printed as one line of a table with its goal.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace bench {

// How often each figure is measured.
constexpr int measurements = 5;

enum class better { less, more };

struct goal {
  double value;
  better direction;
};

// The median of at least one value; NaN if one of them is.
double median_of(std::vector<double> values);

// Prints to standard error why a figure is missing. Returns NaN, which print_figure() shows as "NOT
// MEASURED".
double not_measured(const std::string& why);

// The median of `measurements` results of the function; NaN as soon as one of them is.
double median_of(const std::function<double()>& measure);

// Prints the table's head.
void print_head();

// Prints one line: the figure with its unit, the goal, and whether the figure reaches it, which NaN
// never does.
void print_figure(const std::string& name, double value, const std::string& unit, goal wanted);

// Prints a figure that has no goal.
void print_figure(const std::string& name, double value, const std::string& unit);

// Whether every figure printed so far has reached its goal.
bool all_goals_reached();

// Nanoseconds of processor time that the process (its first thread) has used, in programs and in
// the kernel; -1 if the process does not exist.
double processor_ns(pid_t pid);

// Nanoseconds of the monotonic clock.
double wall_ns();

}  // namespace bench
