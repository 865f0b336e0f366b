// Waits for jobs to end, through restarts of the service.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/qx_vod_ctl/item_view.h"
#include "tools/qx_vod_ctl/vod_service.h"

class job_waiter {
public:
  // `pause` is called between two requests and lets some time pass.
  job_waiter(vod_service& service, bool json, std::function<void()> pause)
      : service_(service), json_(json), pause_(std::move(pause)) {}

  // Waits until each of `ids` (whole entry ids) is done or cancelled, or is no longer there, and
  // prints each as it ends. Returns the highest exit status among them. While the service is away
  // it waits on, and says so once.
  int wait(const std::vector<std::string>& ids);

private:
  bool has_ended(const std::string& id);
  bool judge(const std::string& id, const service_reply& reply);
  void note_absence(const service_reply& reply);

  vod_service& service_;
  bool json_;
  std::function<void()> pause_;
  bool away_ = false;
  int exit_status_ = 0;
};
