#include "tests/trust/checkpoint/damages.h"

#include <csignal>
#include <filesystem>

#include "tests/support/wait_until.h"
#include "tests/trust/checkpoint/folder_damage.h"

namespace qx_test {

namespace {

namespace fs = std::filesystem;

constexpr long some_segments = 3;
constexpr const char* join_argument = "concat";

}  // namespace

damaged_folders::damaged_folders(film_bench& film, film_bench& other) : film_(film) {
  make_some(film);
  folders_.push_back(keep(film, "some", false));
  name_ = fs::path(film.segment_folder()).filename();
  make_all(film);
  folders_.push_back(keep(film, "resumed", true));
  make_all(film);
  folders_.push_back(keep(film, "all", true));
  make_all(other);
  foreign_.push_back(keep(other, "other", true));
  film.configure(4);
  make_all(film);
  foreign_.push_back(keep(film, "longer", true));
  film.configure();
}

// So slowly that it does not end before it is killed.
void damaged_folders::make_some(film_bench& film) {
  film.tool().reset();
  tool_run run = film.start({"--cpu-cap", "10"});
  wait_until([&] { return film.finished() >= some_segments || film.is_done(); });
  film.found().expect(!film.is_done(), film.about("was not killed in time"));
  run.signal_group(SIGKILL);
  run.wait();
}

void damaged_folders::make_all(film_bench& film) {
  film.tool().reset();
  film.tool().hold(join_argument);
  tool_run run = film.start();
  film.found().expect(film.tool().held() > 0, film.about("was not joined"));
  run.signal_group(SIGKILL);
  run.wait();
  film.tool().reset();
}

std::string damaged_folders::keep(film_bench& film, const std::string& as, bool clear) {
  std::string path = kept_.file(as);
  fs::copy(film.segment_folder(), path, fs::copy_options::recursive);
  if (clear) { film.clear(); }
  return path;
}

void damaged_folders::damage_and_run() {
  const std::string& kept = folders_[random_below(static_cast<unsigned>(folders_.size()))];
  const std::string folder = film_.results().file(name_);
  fs::copy(kept, folder, fs::copy_options::recursive);
  std::string what = damage_folder(folder, foreign_);
  if (random_below(4) == 0) { what += ", and " + damage_folder(folder, foreign_); }
  const std::string when = "after " + what + " (" + fs::path(kept).filename().string() + ")";
  tool_run run = film_.start();
  const int status = run.wait().status;
  film_.found().expect(status == 0, film_.about("failed " + when + ": " + run.errors()));
  if (status == 0) { film_.expect_right_result(when); }
  film_.clear();
}

}  // namespace qx_test
