// An empty /mnt for one test, for what lives at fixed places below it.
#pragma once

#include <functional>

namespace qx_test {

// Runs the body in a child whose /mnt is an empty file system of its own, of `size_kib`. What the
// body expects in vain is printed and fails the test.
void in_own_mnt(const std::function<void()>& body, int size_kib = 4096);

}  // namespace qx_test
