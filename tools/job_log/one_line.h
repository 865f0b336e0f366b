// Text from outside, made fit for one line.
#pragma once

#include <string>
#include <string_view>

// `text` with its control characters made visible, as \n or \xNN.
std::string on_one_line(std::string_view text);
