// What watch knows and does, apart from the terminal: the queue, the selection, the keys.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/client/outlook.h"
#include "tools/client/vod_service.h"
#include "tools/qx_vod_ctl/watch/keys.h"
#include "tools/qx_vod_ctl/watch/queue_model.h"
#include "tools/qx_vod_ctl/watch/watch_screen.h"

class watcher {
public:
  explicit watcher(vod_service& service) : service_(service) {}

  // Asks the service for what is shown on a screen of that size. `now_us` is of the monotonic
  // clock, `now` in seconds since 1970. Its absence is shown, and ended by the next call that
  // succeeds.
  void refresh(const screen_size& size, std::uint64_t now_us, std::int64_t now);

  // Obeys a key. What cannot be undone is done only when the next key is "y".
  void press(key pressed, const screen_size& size);

  // Whether the next key answers a question.
  bool is_asking() const { return !asked_command_.empty(); }

  bool wants_to_quit() const { return wants_to_quit_; }
  const watch_view& view() const { return view_; }
  // Keeps what was learnt of how fast jobs are.
  void save() const { outlook_.save(); }

private:
  void take_over(const std::vector<listed_item>& items, std::int64_t now);
  void read_reasons(const screen_size& size);
  void keep_selection(const std::string& id);
  void move_to(std::size_t row, const screen_size& size);
  bool move(key pressed, const screen_size& size);
  void answer(key pressed);
  void ask(const std::string& command, const std::string& question);
  void send(const std::string& command, const std::string& id);
  const item_view* selected() const;

  vod_service& service_;
  queue_model model_;
  outlook outlook_;
  watch_view view_;
  std::string asked_command_;  // what a "y" will send, and for which item
  std::string asked_id_;
  bool wants_to_quit_ = false;
};
