// Files that accompany an output: thumbnail, metadata, the source's metadata, the ready marker.
#include "exec/child_process.h"
#include "exec/source_view.h"
#include "platform/metadata_v4.h"
#include "platform/rewrite_file.h"
#include "queue/process_state.h"
#include "queue/queue_item.h"
#include "rules/output_name.h"
#include "rules/tool_commands.h"

bool QueueItem::proc_start_gen_thumbnail() {
  if (sm.state != TRANSCODE_THUMBNAIL || is_running() || DIE != 0 || output_file.empty() ||
      validate_ready() == 0) {
    return false;
  }
  proc_argv =
      thumbnail_command(transcode_profile, output_metadir + "/" + thumbnail_file, input_file);
  prepare_silent_child(*this);
  return proc_spawn();
}

bool QueueItem::proc_start_metagen_thumbnail() {
  if (is_running() || validate_ready() == 0) { return false; }
  proc_argv = identify_command(output_file);
  prepare_silent_child(*this);
  return proc_spawn();
}

namespace {

// Writes the entries to a separate file beside the output.
bool write_copy(const QueueItem::metadata& source, const char* output_file) {
  QueueItem::metadata copy;
  copy.context = metadata_v4_context_create();
  const bool written = copy.context != nullptr &&
                       metadata_v4_context_set_file_location(copy.context, output_file) >= 0 &&
                       metadata_v4_metadata_context_write_metadata_to_file(
                           source.entries, copy.context, source_metadata_file) >= 0;
  copy.close();
  return written;
}

}  // namespace

bool QueueItem::vod_copy_from_source() {
  if (input_file.empty()) { return false; }
  source_view source(*this);
  if (!source.look()) {
    wait_for_source(*this);
    return false;
  }
  const bool copied = source.load_metadata() && write_copy(input_meta, output_file.c_str());
  input_meta.close();
  return copied;
}

bool QueueItem::mark_vod_ready() {
  if (output_file.empty()) { return false; }
  return rewrite_file(output_metadir + "/" + ready_file, "");
}
