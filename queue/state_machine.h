// A state machine with named states and checked setters: the base of the five machines of an item.
#pragma once

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

// E is an enum over 32 bits whose valid values are min .. max-1. A machine that refines one state
// of another is valid (`initialized`) only while the other machine is in that state. Setting an
// invalid machine throws, because the caller has lost track of the item.
template <typename E, E min, E max>
class vod_state_machine_base {
public:
  E state = min;
  const char* const* names;  // printable names, max of them, indexed by state
  bool initialized = false;

  explicit vod_state_machine_base(const char* const* state_names) : names(state_names) {}
  vod_state_machine_base(const vod_state_machine_base&) = default;
  vod_state_machine_base& operator=(const vod_state_machine_base&) = default;

  // Stores s and returns it, without checking its range. Throws std::runtime_error, with the state
  // unchanged, if the machine is not valid.
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

  // Sets the state. Throws std::runtime_error if s is out of range or the machine is not valid.
  E set_state(E s) {
    if (s >= max) { throw std::runtime_error("Invalid state machine index"); }
    return do_set_state(s);
  }

  // Sets the state by its exact name. An unknown name selects the first state, because names come
  // from files and clients and must not do harm. Throws std::runtime_error if the machine is not
  // valid.
  E set_state(const std::string& name) { return do_set_state(state_by_name(name)); }

  // The state with this name, or the first state if the name is unknown.
  E state_by_name(const std::string& name) const {
    for (auto i = static_cast<std::uint32_t>(min); i < static_cast<std::uint32_t>(max); ++i) {
      if (std::strcmp(names[i], name.c_str()) == 0) { return static_cast<E>(i); }
    }
    return min;
  }

  // Sets the next state. Throws like set_state, also if this is the last state.
  E advance() { return set_state(static_cast<E>(static_cast<std::uint32_t>(state) + 1)); }

  // The name of the current state; "" if the value is out of range.
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
