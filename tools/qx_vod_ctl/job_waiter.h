// Waits for jobs to end, through restarts of the service.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/client/item_view.h"
#include "tools/client/vod_service.h"
#include "tools/qx_vod_ctl/progress_line.h"

// Sleeps for half a second: a job takes minutes, and its state is no more urgent to a script.
void pause_between_looks();

class job_waiter {
public:
  // `pause` is called between two requests and lets some time pass. `progress`, if given, is
  // updated for running jobs; the running job is then queried after every pause.
  job_waiter(vod_service& service, bool json, std::function<void()> pause,
             progress_line* progress = nullptr)
      : service_(service), json_(json), pause_(std::move(pause)), progress_(progress) {}

  // Waits until each of `ids` (whole entry ids) is done or cancelled, or is no longer there, and
  // prints each as it ends. Returns the highest exit status among them. While the service is away
  // it waits on, and says so once.
  int wait(const std::vector<std::string>& ids);

private:
  bool has_ended(const std::string& id);
  void look_at_running();
  void note_progress(const item_view& item);
  void clear_progress() const;
  bool judge(const std::string& id, const service_reply& reply);
  void note_absence(const service_reply& reply);

  vod_service& service_;
  bool json_;
  std::function<void()> pause_;
  progress_line* progress_;
  std::string running_;  // the job of the last progress update
  bool away_ = false;
  int exit_status_ = 0;
};
