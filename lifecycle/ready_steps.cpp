// The steps of the "ready" phase: the source's metadata, and the profiles it can be transcoded to.
#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "exec/child_process.h"
#include "exec/fail.h"
#include "exec/source_view.h"
#include "platform/clock.h"
#include "platform/metadata_v4.h"
#include "platform/transcode_settings.h"
#include "queue/process_state.h"
#include "queue/queue_item.h"
#include "rules/source_rules.h"
#include "rules/tool_commands.h"
#include "rules/transcoder_contract.h"

namespace {

// The value of an entry; "" if there is none.
std::string read_entry(const QueueItem::metadata& meta, const char* name) {
  const char* const value = meta.entries == nullptr
                                ? nullptr
                                : metadata_v4_metadata_context_read_entry(meta.entries, name);
  return value == nullptr ? "" : value;
}

// One second, doubled each time the type is still unknown, up to a minute.
std::uint64_t pause_after(unsigned identifications) {
  constexpr std::uint64_t first_us = 1000000;
  constexpr std::uint64_t longest_us = 60000000;
  constexpr unsigned most_doublings = 6;  // longer than the maximum
  return std::min(first_us << std::min(identifications - 1, most_doublings), longest_us);
}

}  // namespace

bool QueueItem::ready_start_check_meta() {
  if (sm.state != TRANSCODE_READY || is_running() || DIE != 0) { return false; }
  source_view source(*this);
  if (!source.look()) {
    wait_for_source(*this);
    return true;
  }
  if (!input_file.empty() && !source.load_metadata() && errno != ENOENT) { return false; }
  std::string const file_type = read_entry(input_meta, entry_file_type);
  std::string const refusal = metadata_refusal(file_type, read_entry(input_meta, entry_offline));
  input_meta.close();
  if (!refusal.empty()) {
    fail(*this, refusal);
    return true;
  }
  if (!file_type.empty()) {
    fprintf(stderr, "Item '%s' (%s) metadata is valid for transcode\n", input_file.c_str(),
            entry_id.c_str());
    sm.ready.advance();
    return true;
  }
  // Without this delay a source whose type cannot be determined would block all the others.
  if (identifications != 0 && next_identification == 0) {
    next_identification = monotonic_clock_us() + pause_after(identifications);
    return true;
  }
  next_identification = 0;
  fprintf(stderr,
          "Item '%s' (%s) metadata is NOT valid for transcode. Attempting to create metadata.\n",
          input_file.c_str(), entry_id.c_str());
  return proc_spawn_metadata_identify();
}

bool QueueItem::proc_spawn_metadata_identify() {
  if (is_running()) { return false; }
  proc_argv = identify_command(input_file);
  prepare_silent_child(*this);
  return proc_spawn();
}

bool QueueItem::ready_start_query_profiles() {
  if (sm.state != TRANSCODE_READY || is_running()) { return false; }
  if (!quoted_profile.empty()) {
    sm.ready.advance();
    return true;
  }
  if (DIE != 0) { return false; }
  if (!source_view(*this).look()) {  // the transcoder would hold the slot for listings
    wait_for_source(*this);
    return true;
  }
  fprintf(stderr, "Item '%s' (%s) asking transcoder for valid profiles.\n", input_file.c_str(),
          entry_id.c_str());
  proc_argv = listing_command(input_file, transcode_settings.max_profile);
  return open_proc_stdout() && proc_spawn();
}

void QueueItem::auto_choose_transcode_profile() {
  if (!transcode_profile.empty()) { return; }
  transcode_profile = choose_profile(quoted_profile, transcode_settings.max_profile).profile;
  fileops_write_status();
}
