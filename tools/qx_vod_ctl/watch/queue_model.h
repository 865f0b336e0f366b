// watch's copy of the queue: read page by page, and kept current at little cost to the service. The
// rows on the screen and the running job are read every time. The rest is read when the service's
// change counter shows that jobs came or went, a few pages at a time, and otherwise one page per
// second, since changes of state are not counted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <vector>

#include "tools/client/queue_reader.h"

class queue_model {
public:
  // Brings rows `first` to `first + count - 1` up to date at `now_us` of the monotonic clock. False
  // with the failed reply; the previous contents are kept then.
  bool refresh(vod_service& service, std::size_t first, std::size_t count, std::uint64_t now_us,
               service_reply& failure);

  // An item for each position; one that was not read yet has no entry id.
  const std::vector<listed_item>& items() const { return items_; }

private:
  bool read_page(vod_service& service, std::size_t page, service_reply& failure);
  std::set<std::size_t> due_pages(std::size_t first, std::size_t count) const;
  void let_pages_age(std::uint64_t now_us);
  void note_change(double counter, std::size_t total);
  std::size_t page_count() const;

  std::vector<listed_item> items_;
  std::set<std::size_t> stale_;
  double counter_ = -1;
  std::size_t next_to_age_ = 0;
  std::uint64_t aged_at_us_ = 0;
  bool was_read_ = false;
};
