#include "tools/qx_vod_ctl/watch/watcher.h"

#include <algorithm>

#include "rules/control_words.h"
#include "rules/json_keys.h"
#include "tools/client/estimate.h"
#include "tools/qx_vod_ctl/terminal_text.h"

namespace {

std::string name_of(const item_view& item) {
  const auto& path = item.input_file;
  return printable(path.substr(path.rfind('/') + 1) + " (" + item.entry_id.substr(0, 8) + ")");
}

std::string removal_question(const item_view& item) {
  // The service deletes the source of a job that has begun and is not done.
  const bool deletes = item.delete_on_finish && !item.is(TRANSCODE_INIT) && !item.done();
  return (deletes ? "Remove and DELETE the source of " : "Remove ") + name_of(item) + "? y/n";
}

}  // namespace

void watcher::refresh(const screen_size& size, std::uint64_t now_us, std::int64_t now) {
  service_reply failure;
  const bool answered = model_.refresh(service_, view_.top, visible_rows(size), now_us, failure);
  view_.absence = answered ? "" : failure.text;
  if (!answered) { return; }
  take_over(model_.items(), now);
  view_.top = scrolled(view_.top, view_.selected, view_.rows.size(), visible_rows(size));
  read_reasons(size);
}

// Of the rows in sight alone: each is a file to be read.
void watcher::read_reasons(const screen_size& size) {
  const std::size_t end = std::min(view_.rows.size(), view_.top + visible_rows(size));
  for (std::size_t row = view_.top; row < end; ++row) {
    read_reason(view_.rows[row].listed.item);
  }
}

void watcher::take_over(std::vector<listed_item> items, std::int64_t now) {
  for (listed_item& listed : items) {
    read_resumption(listed.item);
    read_spread(listed.item);
  }
  const std::string id = selected() == nullptr ? "" : selected()->entry_id;
  outlook_.note(items, now);
  const auto left = outlook_.time_left(items);
  view_.rows.clear();
  view_.at_work.clear();
  for (std::size_t i = 0; i < items.size(); ++i) {
    const item_view& item = items[i].item;
    view_.rows.push_back({items[i], expected_moment(left[i], now)});
    if (!item.transcoding_here() || (item.paused && !view_.at_work.empty())) { continue; }
    view_.at_work = at_work_text(item, outlook_.speed(item), left[i]);
  }
  keep_selection(id);
}

// The selection stays with its item when others before it come or go.
void watcher::keep_selection(const std::string& id) {
  const auto is_it = [&](const screen_row& row) { return row.listed.item.entry_id == id; };
  const auto found = std::find_if(view_.rows.begin(), view_.rows.end(), is_it);
  if (found != view_.rows.end()) {
    view_.selected = static_cast<std::size_t>(found - view_.rows.begin());
  }
  if (view_.selected >= view_.rows.size()) {
    view_.selected = view_.rows.empty() ? 0 : view_.rows.size() - 1;
  }
}

const item_view* watcher::selected() const {
  const bool is_there = view_.selected < view_.rows.size();
  return is_there ? &view_.rows[view_.selected].listed.item : nullptr;
}

void watcher::press(key pressed, const screen_size& size) {
  if (!asked_command_.empty()) {
    answer(pressed);
    return;
  }
  view_.notice.clear();
  if (pressed == key::quit) { wants_to_quit_ = true; }
  const item_view* const item = selected();
  if (item == nullptr || move(pressed, size)) { return; }
  switch (pressed) {
  case key::pause:
    return send(command_pause, item->entry_id);
  case key::resume:
    return send(command_resume, item->entry_id);
  case key::restart:
    return send(command_restart, item->entry_id);
  case key::cancel:
    return ask(command_cancel, "Cancel " + name_of(*item) + "? y/n");
  case key::remove:
    return ask(command_remove, removal_question(*item));
  default:
    return;
  }
}

bool watcher::move(key pressed, const screen_size& size) {
  const std::size_t page = visible_rows(size);
  const std::size_t row = view_.selected;
  const std::size_t last = view_.rows.size() - 1;
  switch (pressed) {
  case key::up:
    move_to(row > 0 ? row - 1 : 0, size);
    return true;
  case key::down:
    move_to(row + 1, size);
    return true;
  case key::page_up:
    move_to(row > page ? row - page : 0, size);
    return true;
  case key::page_down:
    move_to(row + page, size);
    return true;
  case key::first:
    move_to(0, size);
    return true;
  case key::last:
    move_to(last, size);
    return true;
  default:
    return false;
  }
}

void watcher::move_to(std::size_t row, const screen_size& size) {
  view_.selected = std::min(row, view_.rows.size() - 1);
  view_.top = scrolled(view_.top, view_.selected, view_.rows.size(), visible_rows(size));
}

// The question names one item, and applies to it even if the queue has changed in the meantime.
void watcher::ask(const std::string& command, const std::string& question) {
  asked_command_ = command;
  asked_id_ = selected()->entry_id;
  view_.notice = question;
}

void watcher::answer(key pressed) {
  view_.notice.clear();
  const std::string command = std::move(asked_command_);
  asked_command_.clear();
  if (pressed == key::yes) { send(command, asked_id_); }
}

void watcher::send(const std::string& command, const std::string& id) {
  const auto reply = service_.request(command, {{key_entry_id, id}});
  view_.notice = reply.accepted() ? "" : printable(command + ": " + reply.text);
  if (!reply.accepted() && !reply.advice.empty()) { view_.notice += "; " + reply.advice; }
}
