// A queue item as the service reports it, in either of its two JSON forms (a listing's object and
// the item's own form): they agree in every key that is read here.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <json11.hpp>

#include "rules/states.h"
#include "tools/job_log/job_resumption.h"
#include "tools/job_log/job_spread.h"

struct item_view {
  std::string entry_id;
  std::string input_file;
  std::string output_file;
  std::string profile;                    // empty until one is chosen
  std::vector<std::string> offered;       // the profiles listed for it, best first
  std::string state;                      // the job's state: "init", "ready", "transcoding", ...
  std::string sub_state;                  // the step within that state; empty where it has none
  std::string text;                       // the status text that the service sets for people
  std::string reason;                     // why it failed, in its tool's words; see read_reason()
  std::optional<job_resumption> resumed;  // where its transcode was resumed; read_resumption()
  std::optional<job_spread> spread;       // over a cluster; read_spread()
  int progress = 0;                       // ten-thousandths, 0 to 10000
  bool delete_on_finish = false;
  bool paused = false;
  bool waiting = false;  // resumed, but still behind the job that is running
  bool approved = true;
  bool uploaded = false;  // its source went to the remote server
  int fileops_job = -1;   // the number of its job directory; -1 for none
  int pid = -1;           // of the tool at work, in the service's numbering; -1 for none

  bool is(transcode_states one) const { return state == name_of(one); }
  bool done() const { return is(TRANSCODE_DONE); }
  bool cancelled() const { return is(TRANSCODE_CANCELLED); }
  // A tool is at work for it, or was stopped in its work.
  bool running() const;
  bool transcoding_here() const { return is(TRANSCODE_TRANSCODING); }
  // A tool is at work for it now, so that others wait until it ends or is stopped.
  bool holds_a_turn() const { return pid != -1 && !paused && !waiting; }
  // Whether the item is in the state of that name: one of job_states, or failed_jobs.
  bool is_in(std::string_view name) const;
  // The text, followed by what the log adds: "Transcoding failed: disk-full: ...", "Transcoding
  // file... (resumed at 63 %; 41 of 96 segments, 9 under way on n1, n2)"
  std::string whole_text() const;
  // "ready: query profiles"
  std::string state_and_step() const;
};

// The names of a job's state, in the order of its life.
constexpr const char* job_states[] = {name_of(TRANSCODE_INIT),        name_of(TRANSCODE_READY),
                                      name_of(TRANSCODE_TRANSCODING), name_of(TRANSCODE_REMOTE),
                                      name_of(TRANSCODE_THUMBNAIL),   name_of(TRANSCODE_CLEANUP),
                                      name_of(TRANSCODE_DONE),        name_of(TRANSCODE_CANCELLING),
                                      name_of(TRANSCODE_CANCELLED),   name_of(TRANSCODE_CLEARED)};

// Jobs that ended early although nobody cancelled them; to the service these are "cancelled".
constexpr const char* failed_jobs = "failed";

// Reads an item. False if it is not one, such as an object without an entry id.
bool read_item(const json11::Json& json, item_view& item);
bool read_item(const std::string& json_text, item_view& item);

// Looks up why a failed item failed, in its log; others have no reason.
void read_reason(item_view& item);

// Looks up whether the running transcode of an item was resumed, and where; in its log too.
void read_resumption(item_view& item);

// Looks up whether it is spread over a cluster, and where it runs there; in its log too.
void read_spread(item_view& item);

// Ten-thousandths as "41.5%".
std::string percent(int progress);
