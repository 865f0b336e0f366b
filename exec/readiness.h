// Parts of the validation of an item.
#pragma once

#include <string>

#include "platform/file_identity.h"

class QueueItem;

// The text with which the source's folder, or the file in it, is refused; "" if both are accepted.
// Stores which file it is, if there is one.
// Blocks as long as the file system of the source does.
std::string refusal_of_source(QueueItem& item, file_identity& file);

// Validates an item as QueueItem::validate_ready() does, but takes a source that does not answer
// for a valid one. For steps that do not need the source.
bool is_valid_or_silent(QueueItem& item);
