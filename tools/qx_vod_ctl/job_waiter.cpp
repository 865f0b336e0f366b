#include "tools/qx_vod_ctl/job_waiter.h"

#include <algorithm>
#include <chrono>
#include <deque>
#include <thread>

#include "rules/control_words.h"
#include "rules/json_keys.h"
#include "tools/qx_vod_ctl/report.h"

void pause_between_looks() {
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
}

int job_waiter::wait(const std::vector<std::string>& ids) {
  std::deque<std::string> pending(ids.begin(), ids.end());
  // Each job is looked at once without a pause, for it may have ended long ago; then in turn.
  std::size_t first_looks = pending.size();
  while (!pending.empty()) {
    if (first_looks == 0 || away_) {
      pause_();
      if (progress_ != nullptr && pending.front() != running_) { look_at_running(); }
    } else {
      --first_looks;
    }
    const std::string id = pending.front();
    pending.pop_front();
    if (!has_ended(id)) { pending.push_back(id); }
  }
  return exit_status_;
}

bool job_waiter::has_ended(const std::string& id) {
  const auto reply = service_.request(command_list, {{key_entry_id, id}});
  note_absence(reply);
  return !away_ && judge(id, reply);
}

// Its end is reported in its turn.
void job_waiter::look_at_running() {
  if (running_.empty() || away_) { return; }
  const auto reply = service_.request(command_list, {{key_entry_id, running_}});
  item_view item;
  const bool goes_on = reply.accepted() && read_item(reply.data, item) && item.running();
  goes_on ? note_progress(item) : running_.clear();
}

void job_waiter::note_progress(const item_view& item) {
  if (progress_ == nullptr) { return; }
  if (item.running()) { running_ = item.entry_id; }
  if (running_.empty() || running_ == item.entry_id) { progress_->show(item); }
}

void job_waiter::clear_progress() const {
  if (progress_ != nullptr) { progress_->clear(); }
}

void job_waiter::note_absence(const service_reply& reply) {
  const bool away = reply.exit_status == exit_no_service;
  if (away != away_) { clear_progress(); }
  if (away && !away_) { report("", reply.text + "; still waiting"); }
  if (!away && away_) { report("", "the service is back"); }
  away_ = away;
}

bool job_waiter::judge(const std::string& id, const service_reply& reply) {
  item_view item;
  if (!reply.accepted() || !read_item(reply.data, item)) {
    clear_progress();
    report(id, "no longer in the queue");
    exit_status_ = std::max(exit_status_, exit_no_such_item);
    return true;
  }
  if (!item.done() && !item.cancelled()) {
    note_progress(item);
    return false;
  }
  clear_progress();
  json_ ? print_raw(reply.data) : print_item(item);
  if (running_ == id) { running_.clear(); }
  if (item.cancelled()) { exit_status_ = std::max(exit_status_, exit_job_failed); }
  return true;
}
