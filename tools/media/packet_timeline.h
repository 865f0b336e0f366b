// The length of a file's streams according to their packets, even with discontinuous clocks.
#pragma once

#include <map>

// The times of one packet in seconds; NaN if missing.
struct packet_times {
  double shown;
  double decoded;
  double duration;
};

// Puts the packets of one or more streams on one continuous time line, like the engine when it
// transcodes: a jump of the clock shifts everything that follows, in every stream, so that the
// stream in which it occurred continues without a gap.
class packet_timeline {
public:
  // Whether the container's clock may jump. In other containers each step of time is intended.
  explicit packet_timeline(bool clock_may_jump) : clock_may_jump_(clock_may_jump) {}

  // Takes the next packet of the file.
  void add(int stream, const packet_times& packet);

  // Where that stream ends, in seconds on the clock of the file's beginning. False if it has no
  // packets or they have no time stamps.
  bool end_of(int stream, double& end) const;

  // The latest end of the streams that begin at `time` or later, on the same line; `time` when
  // there are none.
  double end_of_later_streams(double time) const;

  // How many packets of that stream there were, and the longest time from one to the next, in
  // seconds.
  long packets(int stream) const;
  double longest_step(int stream) const;

  // How long that stream is, in seconds. Packets without a clock are frames of `frame_rate`; 0 when
  // nothing can be said.
  double length_of(int stream, double frame_rate) const;

  // The longest pause of a single stream while another continued. It looks like a jump of the
  // clock, and the engine must know that it is not one.
  double longest_pause() const { return longest_pause_; }

  // Whether the clock has jumped.
  bool has_jumped() const { return has_jumped_; }

  // A step of time above this, in seconds, is a jump of the clock.
  static constexpr double jump = 10.0;

private:
  struct stream_state {
    long packets = 0;
    bool timed = false;
    double first = 0.0;
    double last = 0.0;  // the latest time of decoding
    double next = 0.0;  // where the next packet is due
    double end = 0.0;
    double longest_step = 0.0;
  };

  double shift_for(const stream_state& state, double time);
  bool others_went_on(const stream_state& state, double time) const;

  bool clock_may_jump_;
  bool begun_ = false;
  bool has_jumped_ = false;
  double shift_ = 0.0;
  double last_ = 0.0;
  double longest_pause_ = 0.0;
  std::map<int, stream_state> streams_;
};
