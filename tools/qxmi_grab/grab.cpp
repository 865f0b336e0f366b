#include "tools/qxmi_grab/grab.h"

#include <chrono>
#include <cstdint>
#include <cstdio>

#include "tools/command_line/command_line.h"
#include "tools/media/field_survey.h"
#include "tools/media/media_probe.h"
#include "tools/media/output_file.h"
#include "tools/media/picture_filters.h"
#include "tools/media/process_runner.h"
#include "tools/media/source_file.h"
#include "tools/media/time_budget.h"
#include "tools/media/tool_signals.h"
#include "tools/qxmi_grab/frame_search.h"

namespace {

constexpr std::chrono::seconds picture_time_limit{120};
constexpr std::uint64_t largest_picture = std::uint64_t{64} << 20;  // bytes

std::string no_picture_at(double moment) {
  char text[80];
  std::snprintf(text, sizeof text, "has no frame at %.3f s", moment);
  return text;
}

class grab_job {
public:
  grab_job(const std::string& tool, const grab_options& options) : tool_(tool), options_(options) {}

  int run() {
    std::string error;
    if (!source_.open(options_.input, error)) { return fail(options_.input, error); }
    if (!probe_media(options_.input, media_, error)) { return fail(options_.input, error); }
    doubt_lengths(media_);
    if (source_.is_same_as(options_.output)) { return fail(options_.output, "is the source"); }
    survey_fields(options_.input, media_);
    if (!output_.create(options_.output, error)) { return fail(options_.output, error); }
    if (!make(error)) { return fail(options_.input, error); }
    if (!source_.unchanged()) { return fail(options_.input, "changed while it was read"); }
    if (!output_.commit(error)) { return fail(options_.output, error); }
    return exit_success;
  }

private:
  int fail(const std::string& file, const std::string& cause) const {
    // A user who stopped the tool needs no reason.
    return stop_signal() != 0 ? exit_failure : report_failure(tool_, file, cause);
  }

  bool make(std::string& error) {
    if (const video_stream* picture = media_.picture()) { return make_frame(*picture, error); }
    const video_stream* cover = media_.cover();
    if (cover != nullptr && make_picture(*cover, 0.0, error)) { return true; }
    return stop_signal() == 0 && make_drawing(error);
  }

  bool make_frame(const video_stream& picture, std::string& error) {
    const double moment = options_.moment ? *options_.moment : random_moment(picture);
    return make_picture(picture, moment, error);
  }

  // The beginning where nothing else can be found: a single frame, a film of unknown length.
  double random_moment(const video_stream& picture) const {
    double duration = media_.duration;
    std::string ignored;
    if (media_.duration_estimated) {
      measure_duration(options_.input, media_, picture.index, picture.frame_rate.value(), duration,
                       ignored);
    }
    const time_window window = moments_of(media_, picture, duration);
    if (window.end <= window.begin) { return 0.0; }
    std::mt19937 random(std::random_device{}());
    return find_moment(source_, media_, picture, window, random).value_or(0.0);
  }

  bool make_picture(const video_stream& stream, double moment, std::string& error) {
    const picture_source from = {source_.url(), stream, plan_seek(media_, moment), media_.depth};
    picture_target to = {output_.url(), shape_of(stream, options_.height, options_.clip),
                         options_.quality, needs_light_mapped(stream)};
    bool made = run_engine(picture_command(from, to), picture_budget(picture_time_limit), error);
    if (!made && to.map_light && stop_signal() == 0) {
      // An engine built without the mapper, or a transfer it does not know: dull colours are
      // better than no picture.
      to.map_light = false;
      made = run_engine(picture_command(from, to), picture_budget(picture_time_limit), error);
    }
    return made && verify(to.shape.made, no_picture_at(moment), error);
  }

  bool make_drawing(std::string& error) {
    const audio_stream* sound = media_.sound();
    if (sound == nullptr) {
      error = "contains neither video nor audio";
      return false;
    }
    picture_target to;
    to.url = output_.url();
    to.shape.made = drawing_size(options_.height);
    to.quality = options_.quality;
    // A drawing needs every sample of the sound.
    return run_engine(drawing_command(source_.url(), sound->index, to),
                      sound_budget(media_.duration, source_.data_size()), error) &&
           verify(to.shape.made, "cannot be drawn as a waveform", error);
  }

  bool run_engine(const argument_list& command, const time_budget& budget,
                  std::string& error) const {
    program_request request = confined_request(command, source_, output_, largest_picture);
    set_budget(request, budget);
    const program_result result = run_program(request);
    if (!result.success()) { error = engine_cause(result, source_.url()); }
    return result.success();
  }

  // The engine ends with status 0 when it found no frame.
  bool verify(picture_size wanted, const std::string& otherwise, std::string& error) const {
    media_info made;
    const bool whole =
        probe_media(output_.temporary_path(), made, error, probe_kinds::stills_too) && made.still &&
        made.video[0].coded.width == wanted.width && made.video[0].coded.height == wanted.height;
    if (!whole) { error = otherwise; }
    return whole;
  }

  const std::string& tool_;
  const grab_options& options_;
  source_file source_;
  media_info media_;
  output_file output_;
};

}  // namespace

int grab(const std::string& tool, const grab_options& options) {
  return grab_job(tool, options).run();
}
