// The folders of segments that nobody uses: left for the next try, or abandoned because no try is
// to be expected.
//
// A folder is abandoned if
//   - nothing in it has changed for a number of days,
//   - its source is another one by now, or has been missing for a day without a change in the
//     folder: what is missing may be on a disk that is not mounted just now,
//   - its result is complete, or it belonged to one run of a tool alone.
// Folders with a lease that was renewed within the last minute are in use by tasks on other
// machines. A source that does not answer in time is not missing.
#pragma once

#include <string>

#include "tools/media/left_parts.h"

enum class left_segments { abandoned, all };

// Such folders in `directory`.
left_part_sums find_left_segments(const std::string& directory, left_segments which, int keep_days);

// Removes them, and returns how many there were. The directory may be open with O_PATH.
left_part_sums remove_left_segments(const std::string& directory, left_segments which,
                                    int keep_days);
left_part_sums remove_left_segments(int directory, left_segments which, int keep_days);

// What is in `directory` of transcodes of `source` as it is now, whether a tool uses it or not: how
// many finished segments of pictures, and the bytes of all files.
left_part_sums find_segments_of(const std::string& source, const std::string& directory);
