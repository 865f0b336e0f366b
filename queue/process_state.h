// State shared by the whole process: shutdown flag, uptime gate and the main loop's timers. It all
// belongs to the one thread; only sigma() runs asynchronously, and it touches nothing but DIE.
#pragma once

#include <atomic>
#include <cstdint>

// Number of termination signals received. Non-zero means shutting down: no new step starts, and the
// end of a child is not evaluated.
extern std::atomic<std::uint32_t> DIE;

// True while the machine has been up for less than 300 s. Until then no transcode, metadata
// identification or profile listing starts, so that a booting machine gets on air first.
extern bool uptime_wait;

// Monotonic microseconds. The scheduler scans the queue on its first pass at or after this time.
extern std::uint64_t next_queue_scan;

// Monotonic microseconds. When to write the queue file; 0 if no write is pending.
extern std::uint64_t next_background_write_queue;

// Monotonic microseconds. The main loop does not wait beyond this time; 0 for its usual wait.
extern std::uint64_t next_early_turn;

// Whether the scheduler's next pass gives every item a turn, even those that are at rest.
extern bool all_turns_due;

// Handler of SIGINT, SIGTERM and SIGQUIT: counts the signal. The 20th one aborts the process, so
// that an operator can end a stuck shutdown.
void sigma(int signal_number);

// Updates uptime_wait.
void check_uptime();

// Schedules a write of the queue file in 10 s. Each call restarts the delay, so a burst of changes
// is written once.
void trigger_background_write_queue();

// Makes the scheduler scan the queue on its next pass.
void trigger_transcode_queue_scan();

// Makes the scheduler's next pass give every item a turn. For whoever may have changed an item
// outside its own turn, or has deleted one.
void trigger_all_turns();

// Makes the main loop's next pass start within 5 ms, for something that a job polls while a user
// waits.
void trigger_early_turn();
