#include "tests/support/failing_memory.h"

#include <cstdlib>
#include <new>

namespace {

long until_failure = 0;  // 0: none will fail
bool goes_on = false;
bool failed = false;

void* allocate(std::size_t size) {
  if (until_failure > 0 && --until_failure == 0) {
    failed = true;
    until_failure = goes_on ? 1 : 0;
    return nullptr;
  }
  return std::malloc(size == 0 ? 1 : size);
}

void* allocate_or_throw(std::size_t size) {
  void* const memory = allocate(size);
  if (memory == nullptr) { throw std::bad_alloc(); }
  return memory;
}

}  // namespace

void* operator new(std::size_t size) {
  return allocate_or_throw(size);
}
void* operator new[](std::size_t size) {
  return allocate_or_throw(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace qx_test {

failing_memory::failing_memory(long nth, failing how) {
  failed = false;
  goes_on = how == failing::from_then_on;
  until_failure = nth;
}

failing_memory::~failing_memory() {
  until_failure = 0;
}

bool failing_memory::has_failed() {
  return failed;
}

}  // namespace qx_test
