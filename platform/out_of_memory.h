// What is left to do when memory runs out: say so, and go on with the next thing.
#pragma once

#include <new>

#include <unistd.h>

// Prints "Out of memory: WHAT" as a line on standard error; not again within a second. The text
// must be a literal. Needs no memory.
void tell_out_of_memory(const char* what);

// Does the work. False if memory ran out meanwhile, after a line with `what`.
template <typename Work>
bool with_memory(const char* what, Work work) {
  try {
    work();
    return true;
  } catch (const std::bad_alloc&) {
    tell_out_of_memory(what);
    return false;
  }
}

// Does the work and returns its result, in a forked child that executes no program. If memory runs
// out, ends the child with status 1: it must never return to the service's own loop.
template <typename Work>
auto in_forked_child(Work work) -> decltype(work()) {
  try {
    return work();
  } catch (const std::bad_alloc&) { _exit(1); }
}
