// The logic of watch without the terminal: the queue, the selection, the keys.
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

  // Asks the service for the rows that fit a screen of that size. `now_us` is of the monotonic
  // clock, `now` in seconds since 1970. A missing service is shown until a call succeeds.
  void refresh(const screen_size& size, std::uint64_t now_us, std::int64_t now);

  // Handles a key. Commands that cannot be undone are sent only if the next key is "y".
  void press(key pressed, const screen_size& size);

  // Whether the next key answers a question.
  bool is_asking() const { return !asked_command_.empty(); }

  bool wants_to_quit() const { return wants_to_quit_; }
  const watch_view& view() const { return view_; }
  // Saves the measured speeds.
  void save() const { outlook_.save(); }

private:
  void take_over(std::vector<listed_item> items, std::int64_t now);
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
  std::string asked_command_;  // the command that a "y" will send, and its item
  std::string asked_id_;
  bool wants_to_quit_ = false;
};
