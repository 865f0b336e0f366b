#include "tools/qxmi_vod_transcode/segment_commands.h"

#include <cmath>
#include <cstdio>

#include "tools/qxmi_vod_transcode/encode_parts.h"

namespace {

constexpr double microsecond = 1e-6;

// The encoder's delay of one packet, which a file of bare packets does not state.
constexpr const char* sound_delay = "-0.021333";

std::string name_of(const char* form, std::int64_t segment) {
  char name[32];
  std::snprintf(name, sizeof name, form, static_cast<int>(segment));
  return name;
}

// Seconds with six decimals.
std::string seconds_text(std::int64_t microseconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6f", static_cast<double>(microseconds) * microsecond);
  return text;
}

// "A,B,...": where the engine begins a new file, after `first` and then after each `step`.
std::string cut_list(std::int64_t first, std::int64_t step, std::int64_t count) {
  std::string text = std::to_string(first);
  for (std::int64_t cut = 1; cut < count; ++cut) {
    text += "," + std::to_string(first + cut * step);
  }
  return text;
}

class run_arguments {
public:
  run_arguments(const source_media& media, const encode_settings& settings,
                const segment_plan& plan, const segment_run& run, const std::string& folder)
      : media_(media), settings_(settings), plan_(plan), run_(run), folder_(folder),
        arguments_(encode_beginning(settings)) {
    append(arguments_, {"-filter_complex_threads", std::to_string(settings.threads)});
  }

  argument_list make(const std::string& input_url) {
    if (run_.is_whole()) {
      add_whole_input(input_url);
    } else {
      append(arguments_, {"-copyts"});
      if (run_.has_pictures()) {
        add_input_from(input_url, plan_.frame_time_us(run_.first_frame(plan_)), 0);
      }
      if (run_.has_sound(plan_)) {
        const std::int64_t sound_start = plan_.sound_start_us(run_.sounds.first);
        add_input_from(input_url, sound_start, sound_start);
      }
    }
    append(arguments_, {"-map_metadata", "-1", "-map_chapters", "-1"});
    if (run_.has_pictures()) { add_picture(); }
    if (run_.has_sound(plan_)) { add_sound(); }
    if (run_.has_pictures()) { add_marks(); }
    return arguments_;
  }

private:
  // As in one piece: the engine follows a clock that jumps.
  void add_whole_input(const std::string& url) {
    append(arguments_, {"-threads", std::to_string(settings_.threads)});
    if (media_.lead > 0.0) {
      append(arguments_, {"-itsoffset", "-" + std::to_string(media_.lead)});
    }
    add_clock(arguments_, media_);
    add_input(arguments_, url, {}, media_.depth);
  }

  // `from` is the first moment that is needed and `zero` the one that gets the time 0, both counted
  // from the beginning of the result. The shift is the engine's own of a whole run, to the last
  // digit, so that every frame falls on the same place of the grid.
  void add_input_from(const std::string& url, std::int64_t from, std::int64_t zero) {
    const std::int64_t lead = std::llround(media_.lead / microsecond);
    const std::int64_t start = std::llround((media_.beginning - media_.lead) / microsecond);
    // The engine would replace a shift that equals the start of the file by one for the streams
    // that are mapped, here only one of two. A microsecond is less than a tick of that clock.
    const std::int64_t difference = media_.jump_limit > 0.0 ? 1 : 0;
    const std::int64_t place = from + lead - std::llround(run_.warm_up / microsecond);
    append(arguments_, {"-threads", std::to_string(settings_.threads)});
    append(arguments_, {"-itsoffset", seconds_text(difference - (start + lead + zero))});
    if (place > 0) { append(arguments_, {"-noaccurate_seek", "-ss", seconds_text(place)}); }
    add_clock(arguments_, media_);
    add_input(arguments_, url, {}, media_.depth);
  }

  std::int64_t lead_frames() const { return plan_.lead_frames(run_.pictures.first); }

  // Of an open run, the last one that the output may have; else that of the segment after its last
  // one that has a sum.
  std::int64_t last_frame() const {
    return run_.pictures.is_open()
               ? static_cast<std::int64_t>(std::ceil(settings_.time_limit * plan_.rate.value()))
               : plan_.first_frame(run_.pictures.end) + marked_frames;
  }

  std::string picture_graph() const {
    const std::int64_t first = run_.first_frame(plan_);
    const std::string begin = std::to_string(first);
    const std::string cut = run_.is_whole() ? ""
                                            : "trim=start_pts=" + begin +
                                                  ":end_pts=" + std::to_string(last_frame()) +
                                                  ",setpts=PTS-" + begin + ",";
    const std::string split =
        run_.pictures.is_open()
            ? ",split[picture][all];"
            : ",split[more][all];[more]trim=end_pts=" +
                  std::to_string(plan_.first_frame(run_.pictures.end) - first) + "[picture];";
    return "[0:" + std::to_string(media_.picture->index) + "]" + filters_to_grid(media_) + cut +
           filters_from_grid(media_, settings_) + split + "[all]select=lt(mod(pts+" +
           std::to_string(plan_.frames - lead_frames() % plan_.frames) + "\\," +
           std::to_string(plan_.frames) + ")\\," + std::to_string(marked_frames) + ")[marks]";
  }

  void add_picture() {
    append(arguments_, {"-filter_complex", picture_graph(), "-map", "[picture]"});
    add_picture_encoder(arguments_, media_, settings_);
    end_at_limit();
    append(arguments_, {"-segment_format", "mp4", "-reset_timestamps", "1", "-segment_frames",
                        cut_list(lead_frames() > 0 ? lead_frames() : plan_.frames, plan_.frames,
                                 cuts(run_.pictures))});
    append(arguments_, {"-segment_start_number",
                        std::to_string(run_.pictures.first - (lead_frames() > 0 ? 1 : 0))});
    add_output(arguments_, "segment", folder_ + "v%06d.mp4");
  }

  void add_sound() {
    add_sound_source(arguments_, media_, run_.is_whole() || !run_.has_pictures() ? 0 : 1);
    add_sound_encoder(arguments_, media_);
    const std::int64_t lead = plan_.lead_packets(run_.sounds.first);
    if (run_.is_whole()) {
      end_at_limit();
    } else {
      append(arguments_, {"-frames:a", std::to_string(last_packet() + lead -
                                                      plan_.first_packet(run_.sounds.first))});
    }
    if (plan_.sound_is_whole) {
      add_output(arguments_, "mp4", folder_ + whole_sound_name(0));
    } else {
      add_sound_segments(lead);
    }
    if (run_.seeks_sound(plan_)) { add_landing(); }
  }

  void add_sound_segments(std::int64_t lead) {
    append(arguments_,
           {"-segment_format", "adts", "-segment_frames",
            cut_list(lead > 0 ? lead : plan_.packets, plan_.packets, cuts(run_.sounds))});
    append(arguments_,
           {"-segment_start_number", std::to_string(run_.sounds.first - (lead > 0 ? 1 : 0))});
    append(arguments_, {"-segment_list", folder_ + run_sound_times, "-segment_list_type", "csv"});
    add_output(arguments_, "segment", folder_ + "s%06d.adts");
  }

  void add_landing() {
    const std::string input = run_.has_pictures() ? "1:" : "0:";
    append(arguments_, {"-map", input + std::to_string(media_.sound->index), "-c", "copy",
                        "-copypriorss", "1", "-frames:a", "1", "-flush_packets", "1"});
    add_output(arguments_, "framecrc", folder_ + run_landing);
  }

  // With more threads the engine would hold some of these pictures back until the next ones come,
  // a segment later.
  void add_marks() {
    append(arguments_, {"-map", "[marks]", "-fps_mode:v", "passthrough", "-threads:v", "1",
                        "-flush_packets", "1"});
    end_at_limit();
    add_output(arguments_, "framemd5", folder_ + run_marks);
  }

  // With the source's own clock the engine would end at once; the filters end such a run.
  void end_at_limit() {
    if (run_.is_whole()) { append(arguments_, {"-t", std::to_string(settings_.time_limit)}); }
  }

  std::int64_t last_packet() const {
    return run_.sounds.is_open()
               ? static_cast<std::int64_t>(
                     std::ceil(settings_.time_limit * sound_output_rate / sound_packet_samples))
               : plan_.first_packet(run_.sounds.end);
  }

  std::int64_t cuts(segment_range range) const {
    return range.is_open() ? plan_.most_segments(settings_.time_limit)
                           : range.end - range.first + 1;
  }

  const source_media& media_;
  const encode_settings& settings_;
  const segment_plan& plan_;
  const segment_run& run_;
  const std::string& folder_;
  argument_list arguments_;
};

}  // namespace

bool segment_run::seeks_sound(const segment_plan& plan) const {
  const double start = static_cast<double>(plan.sound_start_us(sounds.first)) * microsecond;
  return !is_whole() && has_sound(plan) && start > warm_up;
}

std::string picture_segment_name(std::int64_t segment) {
  return name_of("v%06d.mp4", segment);
}

std::string sound_segment_name(std::int64_t segment) {
  return name_of("s%06d.adts", segment);
}

std::string whole_sound_name(std::int64_t segment) {
  return name_of("s%06d.m4a", segment);
}

argument_list run_command(const source_media& media, const encode_settings& settings,
                          const segment_plan& plan, const segment_run& run,
                          const std::string& input_url, const std::string& folder_url) {
  return run_arguments(media, settings, plan, run, folder_url).make(input_url);
}

std::string join_list(const segment_plan& plan, std::int64_t count) {
  std::string text = "ffconcat version 1.0\n";
  for (std::int64_t segment = 0; segment < count; ++segment) {
    const std::int64_t length = plan.picture_time_us(segment + 1) - plan.picture_time_us(segment);
    text += "file " + picture_segment_name(segment) + "\nduration " + seconds_text(length) + "\n";
  }
  return text;
}

argument_list join_command(const segment_plan& plan, const std::string& list_url,
                           const std::string& sound_url, const std::string& output_url) {
  argument_list arguments = ffmpeg_command();
  add_segment_list(arguments, list_url);
  if (!sound_url.empty() && plan.sound_is_whole) {
    add_input(arguments, sound_url, "mov");
  } else if (!sound_url.empty()) {
    append(arguments, {"-itsoffset", sound_delay});
    add_input(arguments, sound_url, "aac");
  }
  append(arguments, {"-map_metadata", "-1", "-map_chapters", "-1", "-map", "0:v"});
  if (!sound_url.empty()) { append(arguments, {"-map", "1:a"}); }
  append(arguments, {"-c", "copy", "-movflags", "+faststart"});
  add_output(arguments, "mp4", output_url);
  return arguments;
}

argument_list decode_command(const std::string& url, double begin, double seconds) {
  argument_list arguments = ffmpeg_command();
  append(arguments, {"-xerror", "-ss", std::to_string(begin)});
  add_input(arguments, url);
  append(arguments, {"-t", std::to_string(seconds), "-f", "null", "-"});
  return arguments;
}
