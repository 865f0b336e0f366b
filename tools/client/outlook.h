// Brings together what an estimate needs: the queue, the lengths of its sources, earlier jobs.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/client/job_history.h"
#include "tools/client/queue_reader.h"

class outlook {
public:
  // Reads what earlier jobs taught from where find_history() says, or from `place`.
  outlook() : outlook(find_history()) {}
  explicit outlook(history_place place);

  // Records the queue at `now` (seconds since 1970), in the running items of which
  // read_resumption() was called. A shared history is read before and written after that, because
  // others record at the same time.
  void note(const std::vector<listed_item>& items, std::int64_t now);

  // Seconds until each of `items`, the whole queue in its order, is done.
  std::vector<std::optional<double>> time_left(const std::vector<listed_item>& items);

  // How fast a job is transcoded, as a multiple of playing speed; nothing if that is not known.
  std::optional<double> speed(const item_view& item);

  // Saves the measurements for the next client; a shared history already has them. A directory that
  // cannot be written is ignored.
  void save() const;

private:
  // Seconds, according to the metadata next to the source. Read until known.
  std::optional<double> length_of(const std::string& file);

  history_place place_;
  job_history history_;
  std::map<std::string, std::optional<double>> lengths_;
};
