// Reads JSON that others wrote, within limits, and writes JSON that everyone can read.
#pragma once

#include <cstddef>
#include <string>

#include <json11.hpp>

#include "rules/limits.h"

// The reason why a text with more than deepest_json levels is refused, in the parser's words.
constexpr const char* too_deep_json = "exceeded maximum nesting depth";

// Makes the constants of the JSON library, which it would otherwise make at its first use, in a
// function that must not throw. To be called where running out of memory is handled.
void prepare_json();

// Strings may hold any bytes, as file names do; the text is UTF-8 nevertheless (see json_bytes.h).

// The text of a value.
std::string json_text(const json11::Json& json);

// Parses a text once a look at its shape has shown that it has no more than `most_elements`
// elements and deepest_json levels. Null, with the reason in `error`, if it has, or is not JSON.
// `error` must be empty, and stays so for a text that consists of "null".
json11::Json parse_json(const std::string& text, std::string& error,
                        std::size_t most_elements = most_page_elements);
