// What the whole process shares: shutdown flag, uptime gate and the two timers of the main loop.
// This header includes nothing of the service. Everything here belongs to the one thread; only
// sigma() runs asynchronously, and it touches DIE alone.
#pragma once

#include <atomic>
#include <cstdint>

// Count of the termination signals received. Non-zero: shutting down; no new step starts and no
// child's end is judged.
extern std::atomic<std::uint32_t> DIE;

// True while the machine has been up for less than 300 s: no transcode, metadata identification or
// profile listing is started, so that a booting machine gets on air first.
extern bool uptime_wait;

// Monotonic microseconds. The scheduler scans the whole queue at the first turn at or after this.
extern std::uint64_t next_queue_scan;

// Monotonic microseconds. When the queue file is to be written; 0 while no write is pending.
extern std::uint64_t next_background_write_queue;

// Monotonic microseconds. The main loop waits no longer than until then; 0 for as long as it likes.
extern std::uint64_t next_early_turn;

// Handler of SIGINT, SIGTERM and SIGQUIT: counts the signal. The 20th one aborts the process, which
// is how an operator forces a stuck shutdown.
void sigma(int signal_number);

// Brings uptime_wait up to date.
void check_uptime();

// Has the queue file written 10 s from now. A later call moves the time, so a burst of changes is
// written once.
void trigger_background_write_queue();

// Has the scheduler scan the queue in its next turn.
void trigger_transcode_queue_scan();

// Has the main loop's next turn come within 5 ms: for what a job polls and a user waits for.
void trigger_early_turn();
