#include "tests/trust/checkpoint/seams.h"

#include <algorithm>
#include <csignal>

#include "tests/support/checkpoint/film_checks.h"
#include "tests/support/wait_until.h"
#include "tests/trust/checkpoint/film_bench.h"

namespace qx_test {

namespace {

// Of likeness (SSIM) beside one piece. A film that gets too few bits everywhere shows how full an
// encoder believes the decoder's buffer to be.
constexpr double most_loss = 0.002;
constexpr double most_loss_in_noise = 0.004;
constexpr unsigned most_kills = 3;

const char* const encoder =
    "-c:v libx264 -preset ultrafast -crf 16 -pix_fmt yuv420p -c:a aac -ac 2";

// An encoder with several threads gives another result each time.
film_kind repeatable_film(const std::string& name, const std::string& arguments) {
  film_kind kind = {name, arguments, "160x90"};
  kind.options = {"--max-threads", "1"};
  return kind;
}

film_kind ordinary_film() {
  return repeatable_film("plain.mkv", encoder);
}

// It needs all of the highest bit rate, and more.
film_kind noisy_film() {
  film_kind kind = repeatable_film("noise.mkv", std::string("-vf noise=alls=50:allf=t ") + encoder);
  kind.least_psnr = 15.0;
  return kind;
}

struct seam_figures {
  long seams = 0;
  std::vector<double> losses;
  std::vector<double> fills;
};

void kill_after(film_bench& film, long segments) {
  film.tool().reset();
  tool_run run = film.start({"--cpu-cap", "20"});
  wait_until([&] { return film.is_done() || film.finished() >= segments; });
  run.signal_group(SIGKILL);
  run.wait();
}

void judge(const film_bench& film, double tolerance, seam_figures& sums) {
  film.expect_right_result("with seams");
  const double loss =
      loss_at_seams(film.output(), film.reference(), film.source(), film.segment_frames());
  const double fill = lowest_buffer_fill(film.output());
  film.found().expect(loss <= tolerance,
                      film.about("lost likeness at a seam: " + std::to_string(loss)));
  film.found().expect(fill >= 0.0, film.about("overran the bit rate: " + std::to_string(fill)));
  sums.losses.push_back(loss);
  sums.fills.push_back(fill);
  film.clear();
}

void measure(film_bench& film, double tolerance, seam_figures& sums) {
  long finished = 0;
  const long kills = 1 + random_below(most_kills);
  for (long i = 0; i < kills && !film.is_done() && finished + 1 < all_segments; ++i) {
    kill_after(film, finished + 1 + random_below(2));
    finished = film.finished();
    ++sums.seams;
  }
  film.finish("after kills", film.is_done() ? 0 : finished);
  judge(film, tolerance, sums);
}

// Each segment has an engine of its own.
void measure_engines(film_bench& film, double tolerance, seam_figures& sums) {
  film.configure(2, 2);
  film.finish("with two engines at work", 0);
  film.configure();
  sums.seams += all_segments - 1;
  judge(film, tolerance, sums);
}

void measure_film(findings& found, const film_kind& kind, double tolerance, long count) {
  film_bench film(found, kind);
  seam_figures sums;
  for (long i = 0; i < count; ++i) {
    measure(film, tolerance, sums);
    measure_engines(film, tolerance, sums);
  }
  std::printf("checkpoints: %s: %ld seams, at which the likeness (SSIM) falls by at most %.4f; "
              "the decoder's buffer is filled to at least %.0f %%, in one piece to %.0f %%\n",
              kind.name.c_str(), sums.seams, percentile(sums.losses, 1.0),
              100.0 * percentile(sums.fills, 0.0), 100.0 * lowest_buffer_fill(film.reference()));
}

}  // namespace

void measure_seams(findings& found, long count) {
  measure_film(found, ordinary_film(), most_loss, count);
  measure_film(found, noisy_film(), most_loss_in_noise, count);
}

}  // namespace qx_test
