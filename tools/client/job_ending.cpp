// Tells failed jobs from cancelled ones.
#include "tools/client/job_ending.h"

#include <algorithm>
#include <iterator>

namespace {

// The texts of the two ways in which users end a job; any other text of a cancelled one is a fault.
constexpr std::string_view cancelled_texts[] = {"Cancelled by user",
                                                "Transcode cancelled, remote end cancelled"};

}  // namespace

bool job_has_failed(std::string_view state, std::string_view text) {
  const auto* const end = std::end(cancelled_texts);
  return state == "cancelled" && std::find(std::begin(cancelled_texts), end, text) == end;
}
