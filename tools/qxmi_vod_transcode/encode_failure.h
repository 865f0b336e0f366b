// Why a transcode failed.
#pragma once

#include <string>

struct encode_failure {
  bool of_output = false;  // it concerns the output rather than the source
  std::string cause;       // in words that follow the file's name
  // Whatever it was may be over by the next try, which can go on with what is finished.
  bool interrupted = false;
  // The source is to blame: making everything once more would end in the same way.
  bool same_again = false;
  // The sound of the source changes its form, which segments of bare packets cannot show.
  bool changes_sound = false;
};

// Whether the file system or a quota is full.
bool lacks_room(const std::string& cause);

// A system call for the output has failed with `error`.
encode_failure system_failure(int error);
