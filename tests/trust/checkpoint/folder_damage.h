// Damages to a folder of finished segments.
#pragma once

#include <string>
#include <vector>

namespace qx_test {

// Damages `folder` in a random way: files are lost, cut, changed, exchanged with their records,
// replaced by folders, links and pipes, or by segments and records of the folders `foreign`; totals
// are forged with a right sum. Returns the words for it.
std::string damage_folder(const std::string& folder, const std::vector<std::string>& foreign);

}  // namespace qx_test
