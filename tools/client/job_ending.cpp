#include "tools/client/job_ending.h"

#include <algorithm>
#include <iterator>

#include "rules/states.h"
#include "rules/texts.h"

namespace {

// The texts of the two ways in which users end a job; any other text of a cancelled one is a fault.
constexpr std::string_view cancelled_texts[] = {text_cancelled, text_cancelled_remotely};

}  // namespace

bool job_has_failed(std::string_view state, std::string_view text) {
  const auto* const end = std::end(cancelled_texts);
  return state == name_of(TRANSCODE_CANCELLED) &&
         std::find(std::begin(cancelled_texts), end, text) == end;
}
