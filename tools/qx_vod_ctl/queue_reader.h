// Reads the queue page by page.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "tools/qx_vod_ctl/item_view.h"
#include "tools/qx_vod_ctl/vod_service.h"

// Positions in the queue, counted from 0, both included.
struct queue_range {
  std::uint64_t first = 0;
  std::uint64_t last = std::numeric_limits<std::uint32_t>::max();
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

// Reads the items of `range`, 16 to a request. When the queue's members change between two pages
// it is read anew, but not for ever: the service that is asked is busy enough then. True with
// `listing` filled, else false with the reply that failed in `failure`.
bool read_queue(vod_service& service, const queue_range& range, queue_listing& listing,
                service_reply& failure);
