// Text for comparisons that do not look at the case of letters.
#pragma once

#include <string>

// The text with every letter in lower case, in any script that has two cases. Bytes that are not
// UTF-8 are unchanged.
std::string folded_text(const std::string& text);
