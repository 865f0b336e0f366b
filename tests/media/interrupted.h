// Transcodes that are killed once and then finished.
#pragma once

#include <string>
#include <vector>

namespace qx_test {

struct interrupted_result {
  std::string error;                    // of the tool; empty when it ended well
  bool killed = false;                  // else it had ended before it could be killed
  bool resumed = false;                 // the second run continued the first one's segments
  std::vector<std::string> deviations;  // from a transcode in one piece
};

// How the packets of two transcodes of a source compare: where its pictures are decoded a little
// otherwise each time, the encoder may order and cut them otherwise, but not show them otherwise.
enum class packet_likeness { all, times };

// Transcodes with `tool` and its `arguments`, which do not name the output, into `output`: killed
// once two segments of 2 s are finished, and then finished. Compares the packets with those of a
// transcode in one piece. `folder` is for this alone.
interrupted_result transcode_interrupted(const std::string& folder, const std::string& tool,
                                         const std::vector<std::string>& arguments,
                                         const std::string& output, packet_likeness likeness);

}  // namespace qx_test
