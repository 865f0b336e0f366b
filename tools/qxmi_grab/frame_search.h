// Finds a moment that is worth showing. Blocks for as long as the engine decodes some frames:
// eight where the film is an ordinary one, thirty-two where most of it is black.
#pragma once

#include <optional>
#include <random>
#include <string>
#include <vector>

#include "tools/media/source_file.h"
#include "tools/qxmi_grab/frame_measure.h"
#include "tools/qxmi_grab/grab_command.h"
#include "tools/qxmi_grab/seek_plan.h"

struct candidate {
  double moment = 0.0;  // seconds from the file's beginning
  frame_measure measure;
};

// Which of them to take: of those that are neither black nor flat, the first that is not much less
// sharp than the sharpest, so that chance keeps its say; else the flat one of most contrast; else
// the brightest. Null when there are none.
const candidate* best_candidate(const std::vector<candidate>& candidates);

// The moment to show; nothing when no frame was found at any moment tried. `stream` is one of
// `media`.
std::optional<double> find_moment(const source_file& source, const media_info& media,
                                  const video_stream& stream, time_window window,
                                  std::mt19937& random);
