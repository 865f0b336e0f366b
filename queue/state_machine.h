// A state machine of named states with guarded setters: the base of the five machines of a job.
#pragma once

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

// E is an enum over 32 bits whose valid values are min .. max-1. Where a machine refines one state
// of another machine, it is valid (`initialized`) only while that other machine is in that state;
// a set on an invalid machine throws, because it means that the caller lost track of the job.
template <typename E, E min, E max>
class vod_state_machine_base {
public:
  E state = min;
  const char* const* names;  // printable names, max of them, indexed by state
  bool initialized = false;

  explicit vod_state_machine_base(const char* const* state_names) : names(state_names) {}
  vod_state_machine_base(const vod_state_machine_base&) = default;
  vod_state_machine_base& operator=(const vod_state_machine_base&) = default;

  // Stores s and returns it. Does not check the range of s.
  // Throws std::runtime_error when the machine is not valid; the state is then unchanged.
  virtual E do_set_state(E s) {
    require_initialized();
    state = s;
    return state;
  }

  // Makes the machine valid, in its first state.
  void init() {
    initialized = true;
    state = min;
  }

  // Sets the state. Throws std::runtime_error when s is out of range or the machine is not valid.
  E set_state(E s) {
    if (s >= max) { throw std::runtime_error("Invalid state machine index"); }
    return do_set_state(s);
  }

  // Sets the state by its printable name, compared exactly. A name that is none of the machine's
  // means the first state: names come from files and clients and must not be able to do harm.
  // Throws std::runtime_error when the machine is not valid.
  E set_state(const std::string& name) { return do_set_state(state_by_name(name)); }

  // The state that a printable name stands for, the first state for an unknown name.
  E state_by_name(const std::string& name) const {
    for (auto i = static_cast<std::uint32_t>(min); i < static_cast<std::uint32_t>(max); ++i) {
      if (std::strcmp(names[i], name.c_str()) == 0) { return static_cast<E>(i); }
    }
    return min;
  }

  // Moves on to the next state. Throws like set_state, also past the last state.
  E advance() { return set_state(static_cast<E>(static_cast<std::uint32_t>(state) + 1)); }

  // The printable name of the current state, "" for a value out of range.
  const char* state_name() const { return state < max ? names[state] : ""; }

protected:
  ~vod_state_machine_base() = default;

  void require_initialized() const {
    if (!initialized) {
      throw std::runtime_error("Attempt to switch state machine when not initialized (class valid "
                               "but initialized=false). Call init() first");
    }
  }
};
