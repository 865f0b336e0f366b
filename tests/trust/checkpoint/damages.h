// Transcodes that find damaged folders of segments.
#pragma once

#include <string>
#include <vector>

#include "tests/trust/checkpoint/film_bench.h"

namespace qx_test {

class damaged_folders {
public:
  // Keeps what transcodes of `film` leave that are killed in the middle, before the join, and
  // before the join after they were resumed; and what those leave of `other`, which has the same
  // size, and of the same film with other settings.
  damaged_folders(film_bench& film, film_bench& other);

  // Damages one of the folders in some way, and runs the tool: the result must be right.
  void damage_and_run();

private:
  std::string keep(film_bench& film, const std::string& as, bool clear);
  void make_some(film_bench& film);
  void make_all(film_bench& film);

  film_bench& film_;
  scratch_folder kept_;
  std::vector<std::string> folders_;
  std::vector<std::string> foreign_;
  std::string name_;  // of the folder beside the result
};

}  // namespace qx_test
