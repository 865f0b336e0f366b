// Reads the queue page by page.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "tools/client/item_view.h"
#include "tools/client/vod_service.h"

// Positions in the queue, counted from 0, both included.
struct queue_range {
  std::uint64_t first = 0;
  std::uint64_t last = std::numeric_limits<std::uint32_t>::max();
};

// How much trouble a queue that changes, or a service that never ends its listing, may make.
struct reading_limits {
  int most_readings = 8;
  // Whether the last attempt is used although the queue changed while it was read: jobs that came
  // or went in the meantime may be missing.
  bool takes_changed_queue = false;
  // Bytes of pages in one reading: ten times what 512 jobs need.
  std::size_t most_bytes = 16U << 20U;
};

struct listed_item {
  std::uint64_t position = 0;
  item_view item;
};

struct queue_listing {
  std::vector<listed_item> items;
  std::uint64_t total = 0;         // entries of the whole queue
  std::vector<std::string> pages;  // the replies' data as they came
};

// Reads the items of `range`, 16 to a request, each once. When the queue's members change between
// two pages it is read again, within `limits`. True with `listing` filled, else false with the
// reply that failed in `failure`.
bool read_queue(vod_service& service, const queue_range& range, queue_listing& listing,
                service_reply& failure, const reading_limits& limits = {});
