// Advice for an operator whose request the service refused.
#pragma once

#include <string>
#include <string_view>

// The advice for a refusal, by the text of the reply or of the refused item; empty if there is
// none.
std::string advice_for(std::string_view text);
