// Figures: a median of several measurements each, printed as one line of a table with its goal.
#pragma once

#include <functional>
#include <string>

#include <sys/types.h>

namespace bench {

// How often each figure is measured.
constexpr int measurements = 5;

enum class better { less, more };

struct goal {
  double value;
  better direction;
};

// The median of `measurements` results of the function.
double median_of(const std::function<double()>& measure);

// Prints the table's head.
void print_head();

// Prints one line: the figure with its unit, the goal, and whether the figure reaches it.
void print_figure(const std::string& name, double value, const std::string& unit, goal wanted);

// Nanoseconds of processor time that the process (its first thread) has used; -1 if there is no
// such process.
double processor_ns(pid_t pid);

// Nanoseconds of the monotonic clock.
double wall_ns();

}  // namespace bench
