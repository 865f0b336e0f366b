// What the tools read of the media engine: the report on a file, and progress. Both repeat what the
// file claims.
#include <algorithm>

#include "tests/fuzz/fuzz_target.h"
#include "tools/media/media_info.h"
#include "tools/media/media_report.h"
#include "tools/qxmi_vod_transcode/progress.h"

namespace {

template <typename Stream>
void expect_times(const Stream& stream) {
  fuzz_expect(stream.duration >= 0.0, "a length is a number that is not negative");
}

void read_report(const std::string& report) {
  engine_version(report);
  media_info info;
  if (!read_media_report(report, info)) { return; }
  expect_times(info);
  for (const video_stream& video : info.video) {
    expect_times(video);
    fuzz_expect(video.coded.width > 0 && video.coded.height > 0, "a picture has a size");
    fuzz_expect(video.rotation % 90 == 0, "a picture is turned by right angles");
  }
  for (const audio_stream& audio : info.audio) {
    expect_times(audio);
  }
  info.picture();
  info.sound();
  info.wanted();
  info.right_channel();
}

void read_progress(std::string_view lines) {
  progress_line progress(250, true);
  std::string last = progress.text();
  while (!lines.empty()) {
    const std::size_t end = std::min(lines.find('\n'), lines.size());
    progress.take(lines.substr(0, end));
    lines.remove_prefix(std::min(end + 1, lines.size()));
    fuzz_expect(progress.text().rfind("Encoding: frame=", 0) == 0, "a line has its form");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  read_report(text);
  read_progress(text);
  return 0;
}

std::vector<std::string> fuzz_seeds() {
  const std::string video =
      "{\"index\":0,\"codec_type\":\"video\",\"codec_name\":\"h264\",\"width\":1280,\"height\":720,"
      "\"pix_fmt\":\"yuv420p\",\"sample_aspect_ratio\":\"1:1\",\"r_frame_rate\":\"25/1\","
      "\"avg_frame_rate\":\"25/1\",\"duration\":\"12.5\",\"field_order\":\"tt\",\"disposition\":"
      "{\"default\":1,\"attached_pic\":0},\"side_data_list\":[{\"rotation\":-90}]}";
  const std::string audio =
      "{\"index\":1,\"codec_type\":\"audio\",\"codec_name\":\"aac\",\"channels\":2,"
      "\"sample_rate\":\"48000\",\"channel_layout\":\"stereo\",\"tags\":{\"language\":\"eng\"}}";
  return {"{\"program_version\":{\"version\":\"5.1\"},\"streams\":[" + video + "," + audio +
              "],\"format\":{\"format_name\":\"mpegts\",\"start_time\":\"1.4\",\"duration\":"
              "\"12.5\",\"bit_rate\":\"2000000\"}}",
          "{\"streams\":[" + video +
              "],\"programs\":[{\"program_id\":1,\"streams\":[{\"index\":0}]"
              "}],\"format\":{\"format_name\":\"mov,mp4\",\"duration\":\"1e300\"}}",
          "frame=12\nfps=25.0\nout_time_us=480000\nspeed=1.2x\nprogress=continue\n",
          "frame=99999999999999999999\nfps=nan\nspeed=N/A\nprogress=end\n"};
}
