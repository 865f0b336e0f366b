// Reads the times of all packets of a file, as the engine lists them.
#pragma once

#include <string_view>

#include "tools/media/packet_timeline.h"
#include "tools/media/probe_depth.h"
#include "tools/media/process_runner.h"
#include "tools/media/source_file.h"

// The command that lists the packets of all streams, for packet_reader.
program_request packet_request(const source_file& source, const probe_depth& depth);

// Adds each packet to the timeline, which must outlive it. Packets that are decoded but not shown,
// before the beginning of an edit, do not count.
class packet_reader : public run_observer {
public:
  explicit packet_reader(packet_timeline& timeline) : timeline_(timeline) {}

  // A line is "stream,shown,decoded,duration,flags", with "N/A" for unknown values.
  void on_line(std::string_view line) override;
  bool on_tick(const child_process& child, bool suspended) override;

private:
  packet_timeline& timeline_;
};
