// What an operator can do about a refusal of the service.
#pragma once

#include <string>
#include <string_view>

// The advice on a refusal, by the text of the reply or of the refused item; empty where there is
// nothing to say.
std::string advice_for(std::string_view text);
