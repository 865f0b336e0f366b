// What is left to do when memory runs out: say so, and go on with the next thing.
#pragma once

#include <new>

// Prints "Out of memory: WHAT" as a line on standard error; not again within a second.
// if nothing else was printed in between. The text must be a literal. Needs no memory.
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
