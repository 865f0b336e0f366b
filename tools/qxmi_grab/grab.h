// Makes one JPEG out of a media file.
#pragma once

#include <optional>
#include <string>

struct grab_options {
  std::string input;
  std::string output;
  int height = 0;                // lines wanted
  bool clip = false;             // cut to 16:9
  int quality = 75;              // 1 to 100
  std::optional<double> moment;  // seconds from the beginning; none is a random one
};

// Grabs a frame of the video; of audio alone, its cover or else a drawing of its waveform. Returns
// the tool's exit status; a failure has been reported under the name `tool`.
int grab(const std::string& tool, const grab_options& options);
