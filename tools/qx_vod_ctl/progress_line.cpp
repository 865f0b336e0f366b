#include "tools/qx_vod_ctl/progress_line.h"

#include <ctime>

#include "tools/client/estimate.h"
#include "tools/qx_vod_ctl/queue_screen.h"
#include "tools/qx_vod_ctl/terminal.h"
#include "tools/qx_vod_ctl/terminal_text.h"

std::string progress_text(const item_view& item, const std::string& estimate, bool blocks) {
  std::string line = item.entry_id.substr(0, 8) + "  " + item.state_and_step();
  if (item.running()) { line += "  " + progress_bar(item.progress, 20, blocks); }
  if (!estimate.empty()) { line += "  " + estimate; }
  line += "  " + item.input_file.substr(item.input_file.rfind('/') + 1);
  if (!item.text.empty()) { line += "  " + item.whole_text(); }
  return printable(line);
}

progress_line::~progress_line() {
  clear();
  outlook_.save();
}

// Of a job that waits, those before it would have to be known.
std::string progress_line::estimate_of(const item_view& item) {
  listed_item listed;
  listed.item = item;
  outlook_.note({listed}, std::time(nullptr));
  const auto left = outlook_.time_left({listed});
  if (!item.transcoding_here() || !left[0]) { return ""; }
  return duration_text(*left[0]) + " left";
}

void progress_line::show(const item_view& shown) {
  item_view item = shown;
  read_resumption(item);
  if (is_terminal_) {
    const std::string line = cut_end(progress_text(item, estimate_of(item), locale_is_unicode()),
                                     terminal_size().columns - 1);
    std::fprintf(stream_, "\r%s\x1b[K", line.c_str());
    is_shown_ = true;
  } else {
    item_view rounded = item;
    rounded.progress -= rounded.progress % 1000;
    const std::string line = progress_text(rounded, "", locale_is_unicode());
    if (line != last_) { std::fprintf(stream_, "%s\n", line.c_str()); }
    last_ = line;
  }
  std::fflush(stream_);
}

void progress_line::clear() {
  if (!is_shown_) { return; }
  std::fputs("\r\x1b[K", stream_);
  std::fflush(stream_);
  is_shown_ = false;
}
