// What a tool and its tasks on other machines tell each other, by files in the folder of segments.
// That may be a network share: what one machine writes, another sees about a second later.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/qxmi_vod_transcode/spread/task_note.h"

// The tool lives: to be renewed every lease_renewal. Tasks end when it is older than lease_term.
constexpr int lease_renewal_s = 10;
constexpr int lease_term_s = 60;
bool renew_lease(int folder);

// How old the lease is by the clock of the file server, in seconds. `own` is the name of a file
// that this call makes in the folder for a moment. Nothing, with errno, if that cannot be found
// out: ENOENT or ESTALE if the lease or the folder has been removed.
std::optional<std::int64_t> lease_age(int folder, const std::string& own);

// The tool needs no more of any task: they end within lease_renewal_s, whether the cluster ends
// them or not. What cannot be removed for that grows too old in the end.
void dismiss_tasks(int folder);

// The tasks shall wait; each looks for this itself besides the signal that it gets.
bool set_paused(int folder, bool paused);
bool is_paused(int folder);

// Has the next look at the folder see what other machines have written: without it, names that were
// missing may stay so for a minute.
void refresh_folder(int folder);

// How far a task is.
struct task_progress {
  std::int64_t frames = 0;  // of its range that it has made
  std::int64_t work = 0;    // changes whenever it gets on, also where that makes no frame yet
};
bool write_task_progress(int folder, const task_note& note, std::int64_t task,
                         const task_progress& progress);
task_progress read_task_progress(int folder, const task_note& note, std::int64_t task);

// A task is done with all of its range.
bool set_task_done(int folder, const task_note& note, std::int64_t task);
bool is_task_done(int folder, const task_note& note, std::int64_t task);

// Which tasks of a division are done, and which have written how far they are, by their numbers;
// and the nodes that refuse the work. In any order.
struct task_files {
  std::vector<std::int64_t> done;
  std::vector<std::int64_t> begun;
  std::vector<std::string> refusing;
};

// Reads the folder once, and no file in it. False with errno if it cannot be read.
bool list_task_files(int folder, const task_note& note, task_files& files);

// A node, by its name in the cluster, refuses the work: tasks are not sent there again.
void set_refusing(int folder, const std::string& node);
std::vector<std::string> refusing_nodes(int folder);

// For a new division: what was wrong with a node may have been mended.
void forget_refusals(int folder);

// Why a task could not do its work, in one line; the last one that said so.
void write_complaint(int folder, const std::string& text);
std::string read_complaint(int folder);
