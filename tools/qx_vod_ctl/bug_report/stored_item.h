// An item as the queue file keeps it, for when there is no service to ask.
#pragma once

#include <string>

#include <json11.hpp>

// Finds the item named by `given` in the queue file's text: an entry id, a unique prefix of one, or
// "job:N". Null with the cause in `error`, in words that follow the given name.
json11::Json find_stored_item(const std::string& queue, const std::string& given,
                              std::string& error);
