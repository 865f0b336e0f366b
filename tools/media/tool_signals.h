// The signals that a tool obeys, as states and a descriptor to poll instead of handlers.
//
// SIGTERM, SIGINT and SIGHUP ask the tool to stop: the engine is killed, destructors remove
// unfinished files, and the process then dies by the same signal (see end_of_tool). SIGUSR1 and
// SIGUSR2 suspend and continue the engine. All are blocked from catch_tool_signals() on, so they
// are seen only while the process runner waits; a tool must not compute for long elsewhere.
#pragma once

#include <chrono>

// Blocks the signals and opens the descriptor; call it first in main, before any thread or child
// exists. It also opens missing descriptors 0 to 2 on /dev/null, and ignores SIGPIPE: the work must
// not be lost because a reader of progress goes away. False if the kernel refuses, with errno set.
bool catch_tool_signals();

// Becomes readable when a signal has arrived; -1 before catch_tool_signals().
int tool_signal_fd();

// Processes the signals that have arrived since the last call, in order of arrival if the kernel
// keeps it. Never blocks.
void read_tool_signals();

// The same, but waits for up to `longest` until one arrives.
void wait_for_tool_signals(std::chrono::milliseconds longest);

// The signal that asked the tool to stop, or 0. Stays set.
int stop_signal();

// True between SIGUSR1 and SIGUSR2.
bool suspend_wanted();

// How often SIGUSR2 has arrived.
int times_continued();

// The last statement of main, after every destructor that has to run: closes the job's log and dies
// by the stop signal if there was one, so that the parent sees the true reason; else returns
// `status`.
int end_of_tool(int status);
