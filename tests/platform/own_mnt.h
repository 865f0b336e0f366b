// An empty /mnt for one test, for code that uses fixed paths below it.
#pragma once

#include <functional>

namespace qx_test {

// Runs the body in a child process with a private, empty file system of `size_kib` KiB mounted on
// /mnt. Failed expectations in the body are printed and fail the test.
void in_own_mnt(const std::function<void()>& body, int size_kib = 4096);

}  // namespace qx_test
