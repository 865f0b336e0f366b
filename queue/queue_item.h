// QueueItem: one video-on-demand job. The record and all its operations are declared here; the
// operations are defined in the folder of the subsystem that owns them.
//
// A job belongs to `transcode_queue`, is touched by the one thread only, and never blocks it: each
// call of idle() is one short turn of work. Operations report failure as false; what a user is to
// know stands in `state_message`. An operation that cancels a job sets the text after the cancel,
// so that the text is the one the user sees.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <json11.hpp>

#include "queue/state_machine.h"
#include "rules/limits.h"
#include "rules/states.h"

struct sliding_window_v4;
struct metadata_v4_context;
struct metadata_v4_metadata_context;

// Stores 36 lower-case characters 8-4-4-4-12 made of 16 random bytes.
void gen_uuid(std::string& out);

class QueueItem {
public:
  using json_object = std::map<std::string, json11::Json>;

  struct ready_state_machine
      : vod_state_machine_base<ready_states, READY_INIT, ready_states_count> {
    ready_state_machine() : vod_state_machine_base(ready_states__str) {}
  };
  struct cleanup_state_machine
      : vod_state_machine_base<cleanup_states, CLEANUP_INIT, cleanup_states_count> {
    cleanup_state_machine() : vod_state_machine_base(cleanup_states__str) {}
  };
  struct thumbnail_state_machine
      : vod_state_machine_base<thumbnail_states, THUMBNAIL_INIT, thumbnail_states_count> {
    thumbnail_state_machine() : vod_state_machine_base(thumbnail_states__str) {}
  };
  struct remote_transcode_state_machine
      : vod_state_machine_base<remote_transcode_states, REMOTE_INIT,
                               remote_transcode_states_count> {
    remote_transcode_state_machine() : vod_state_machine_base(remote_transcode_states__str) {}
  };

  // The master machine. Leaving a state that has a sub-machine makes that machine invalid, entering
  // one makes its machine valid and puts it in "init": setting the state that the master already
  // has restarts the phase, and callers rely on it. Copied member by member.
  struct transcode_state_machine
      : vod_state_machine_base<transcode_states, TRANSCODE_INIT, transcode_states_count> {
    ready_state_machine ready;
    cleanup_state_machine cleanup;
    thumbnail_state_machine thumbnail;
    remote_transcode_state_machine remote;
    // What the remote server is to be told, or was told last, while `remote` is in "command":
    // "restart", "pause", "resume" or "cancel".
    std::string remote_command;

    transcode_state_machine() : vod_state_machine_base(transcode_states__str) { init(); }
    transcode_states do_set_state(transcode_states s) override;
  };

  // The job's counterpart on a remote server.
  struct remote_job {
    std::string ip;        // address of the server that the job was sent to
    std::string name;      // UUID that names the uploaded copy over there
    std::string entry_id;  // the job's id in the remote queue
    json11::Json json;     // the last document that the server returned for it

    // True when there is nothing of a remote job at all.
    bool empty() const;
    void clear();
  };

  // The fields of the last remote document that monitoring needs, cached until a new one arrives.
  struct remote_document_view {
    bool is_read = false;                     // false: the document is newer than the fields
    bool paused = false;                      // the remote job is paused
    transcode_states state = TRANSCODE_INIT;  // the remote job's state
  };

  // Open metadata of the input; both null when closed. Owned by the item.
  struct metadata {
    metadata_v4_context* context = nullptr;
    metadata_v4_metadata_context* entries = nullptr;

    // Opens the metadata of a media file; what was open is closed first. False with errno set when
    // it cannot be had, ENOENT when the file has none.
    bool load(const char* path);
    void close();
  };

  // One reply of a remote server, as the HTTP client printed it.
  struct CurlVodCGIResponse {
    using header_list = std::vector<std::pair<std::string, std::string>>;

    std::uint32_t http_status = 0;
    std::string version;
    std::string status_string;
    header_list http_headers;  // in the order of arrival, duplicates kept
    std::string content_type;  // of the last such header, cut at its first ";"
    header_list comm_headers;  // the name:value block at the head of the body
    json11::Json json;

    // Takes the text of the first comm header "X-comm-error". False, and `out` untouched, when
    // there is none.
    bool comm_get_err(std::string& out) const;
    // Prints the reply to standard error.
    void dump() const;
  };

  // ---- The record. The order of the fields is fixed; each comment ends with the field's JSON key,
  // or "this run only" for what no restart keeps. Times are microseconds of monotonic_clock_us().

  bool delete_on_finish = false;            // remove source and its metadata; "delete on finish"
  std::string input_file;                   // absolute path of the source; "input file"
  std::string output_file;                  // under path_output_dir, or empty; "output file"
  std::string output_metadir;               // metadata directory of the output; this run only
  std::string transcode_profile;            // the chosen profile; "transcode profile"
  std::vector<std::string> quoted_profile;  // offered, best first; "quoted profile"
  std::string fileops_job_dir;              // empty without a job; this run only
  std::int32_t fileops_job_id = -1;         // -1 without a job; "fileops job id"
  std::uint64_t next_remote_poll = 0;       // next monitor or command request; this run only
  std::string fileops_op;                   // operation in the job status; this run only
  std::string state_message;                // what the user reads; "state"
  std::string entry_id;                     // unique in the queue; "entry id"
  std::uint64_t next_upload_progress_read = 0;  // this run only
  std::uint64_t init_deadline;                  // end of the stay in "init"; this run only
  std::int32_t progress = 0;                    // ten-thousandths; "transcode progress"
  std::int32_t proc_pid = -1;                   // running child; "process pid", never read back
  std::int32_t proc_stdout_read_fd = -1;        // the service's end; this run only
  std::int32_t proc_stdout_write_fd = -1;       // the child's end; this run only
  std::int32_t proc_stdin_write_fd = -1;        // the service's end; this run only
  std::int32_t proc_stdin_read_fd = -1;         // the child's end; this run only
  bool paused = false;                          // "paused"
  bool uploaded = false;                        // the remote server has the source; "uploaded"
  bool approved = true;                         // may be started automatically; "approved"
  bool waiting = false;                         // a resumed transcode waits for the slot; "waiting"
  // Kept on purpose: nothing sets it. Effect: the first "success" line of a job status reads 0.
  bool success = false;                // this run only
  bool proc_stdout_seen = false;       // the child has printed something; this run only
  bool user_wants_remove = false;      // "user wants to remove"
  bool user_wants_cancel = false;      // "user wants to cancel"
  bool user_wants_pause = false;       // "user wants to pause"
  bool proc_stderr_to_stdout = false;  // the next child's stderr joins its stdout; this run only
  transcode_state_machine sm;          // "transcode state" and the keys of the sub-machines
  // Copy of `sm` at the start of the child: what the child is doing, whatever became of the item
  // meanwhile. This run only.
  transcode_state_machine proc_sm;
  std::vector<std::string> proc_argv;  // of the running child; "process argv", never read back
  std::int32_t input_fd = -1;          // closed along with input_dir_fd; this run only
  std::int32_t input_dir_fd = -1;      // directory of the input while it is judged; this run only
  std::string input_dir;               // input_file up to its last "/"; this run only
  std::string input_name;              // input_file behind its last "/"; this run only
  sliding_window_v4* proc_stdin_buffer = nullptr;   // owned; this run only
  sliding_window_v4* proc_stdout_buffer = nullptr;  // owned; this run only
  // Spawners clear it. While set, the child is reaped only after its output was taken and released;
  // this run only.
  bool proc_drain_stdout_before_reap = false;
  remote_job remote_info;            // "remote job"
  metadata input_meta;               // this run only
  std::int32_t proc_status = 0;      // wait status of the last child; this run only
  remote_document_view remote_view;  // of remote_info.json; this run only
  // From the reaping of the child to the end of its judging: its pid is no longer ours. This run
  // only.
  bool proc_reaped = false;
  // What the transcoder gets once it takes it, 0 for nothing; and until when that is waited for.
  // This run only.
  std::int32_t proc_held_signal = 0;
  std::uint64_t proc_patience_end = 0;
  // Successful identifications since "ready" began, and when the next one may start, 0 when none is
  // planned. This run only.
  unsigned identifications = 0;
  std::uint64_t next_identification = 0;

  // ---- Record (queue/queue_item.cpp)

  QueueItem();
  // Releases everything the item owns and every slot it holds. A child that still runs is left
  // alone, with a warning on standard error.
  ~QueueItem();
  QueueItem(const QueueItem&) = delete;
  QueueItem& operator=(const QueueItem&) = delete;

  // Takes a new source. False, and no source at all, for a path that is not absolute or a name that
  // may not be touched.
  bool set_input_file(const char* path);
  // Takes a new output; "" means none. False, and no output at all, for a path outside the output
  // directory or a name that may not be used.
  bool set_output_file(const char* path);
  // Makes up an output path from the time, the profile and the input's name; "" when it would be
  // too long for a path.
  std::string pick_output_file_name_from_input() const;
  // True when there is no source, or nothing of its name (a dangling symbolic link exists).
  bool input_file_not_exist() const;

  // ---- JSON form (queue/queue_item_json.cpp, lifecycle/restart.cpp)

  // Sets the item's keys in `out`: the full form for the queue file, else the short one for
  // replies.
  void serialize_json(json_object& out, bool queue_file) const;
  // Appends the item's compact JSON text to `out`.
  void serialize_to_string(std::string& out, bool queue_file) const;
  // Fills the item from a document. False when the document is refused; the item may then be partly
  // filled and is good for nothing but destruction. With `queue_file` the source and the job
  // directory are checked too, and a job that lost one comes back cancelled.
  bool deserialize_json(const json11::Json& json, bool queue_file);

  // ---- Modification by clients (control/queue_item_modify.cpp)

  // Changes the field that has the JSON key `name`. True when the change was made or not needed.
  bool modify(const char* name, const char* value);

  // ---- Child process (exec/child_process.cpp, child_output.cpp)

  // Opens a close-on-exec pipe into two variables that must be -1. False with nothing changed.
  static bool _std_open_anonpipe(int& read_end, int& write_end);
  static bool make_fd_nonblocking(int fd);
  static bool make_fd_inheritable(int fd);
  // Creates an empty buffer into `buffer`, which must hold none.
  static bool _std_init_buffer(sliding_window_v4*& buffer, unsigned long capacity);
  // Notes what the child that is about to start is for. Always true.
  bool proc_prepare_fork_spawn();
  // Starts proc_argv, with the pipes that are open as its streams, in a session of its own at the
  // lowest priority. False, with pipes and buffers released if it came to a fork, when no child was
  // started.
  bool proc_spawn();
  // The next complete line of the child's output without its line end; null when there is none.
  // Valid until the next pump.
  char* proc_stdout_getline();
  void close_proc_stdin();
  void close_proc_stdout();
  // SIGTERM to the child's process group and both its pipes closed. The pump reaps it later.
  void shutdown_proc();
  // Sends a signal to the child's process group; nothing without a child.
  void signal_proc_group(int signal_number) const;
  // A child, its output pipe or output of it not yet taken: the next step cannot start.
  bool is_running() const;
  // Makes ready for a child that is listened to: fresh stdout pipe and buffer. False with neither.
  bool open_proc_stdout();

  // ---- Life cycle (lifecycle/lifecycle.cpp, termination.cpp; exec/item_control.cpp)

  // Feeds, reads and reaps the child, and judges its end. True when bytes came, the output ended or
  // the child did.
  bool idle_process();
  // One turn of work. True when the main loop had better come back at once.
  bool idle();
  // Judges the child that has just ended by its wait status and moves the item on.
  void on_proc_terminate(int wait_status);
  // Cancels the item: at once, or as soon as its child has ended. False when it is done already.
  bool cancel();
  // cancel(), then the text the user is to see.
  void cancel_with(const std::string& text);
  // Pauses the item, or asks its remote server to. Always true.
  bool pause();
  // Ends a pause. True when the item itself goes on, false when its remote server was asked to.
  bool resume();
  // Asks the remote server to cancel an item in "remote transcode". Always true.
  bool do_user_cancel();

  // ---- Readiness (exec/readiness.cpp, lifecycle/ready_steps.cpp)

  // 1 when the item may proceed; 0 when it is rejected, with the reason as its text. Makes the
  // output's metadata directory and the file-operations job where they are missing.
  int validate_ready();
  // Puts an item in "init" or "cancelled" back to the start of "ready". True when it is in "ready".
  bool ready();
  // The same for a user's request, with text and status.
  bool do_user_ready();
  // The steps of "ready". True when the step was done or its child started.
  bool ready_start_check_meta();
  bool ready_start_query_profiles();
  bool proc_spawn_metadata_identify();
  // Chooses the first offered profile within the configured maximum, else the last one offered.
  // The list must not be empty.
  void auto_choose_transcode_profile();

  // ---- Local steps (lifecycle/local_steps.cpp, by_products.cpp, removal.cpp): true when the step
  // was started, or was done without a child

  bool do_queue_start_transcode();
  bool proc_start_gen_thumbnail();
  bool proc_start_metagen_thumbnail();
  bool vod_copy_from_source();
  bool mark_vod_ready();
  bool proc_start_unlink_input_file_metadata();
  bool proc_start_unlink_input_file();

  // ---- Remote transcoding (remote/)

  bool proc_start_remote_transcode_upload();
  bool proc_start_remote_transcode_add();
  bool proc_start_remote_transcode_monitor();
  bool proc_start_remote_transcode_command();
  bool proc_start_remote_transcode_download();
  // Appends the HTTP client's command line, all but the URL, to proc_argv.
  void proc_argv_prepare_std_curl_post_stdin();
  // Reads how far the running upload has got from the FTP clients' open files.
  void remote_transcode_upload_procfs_read_progress();
  // Takes the download's progress out of its complete output lines.
  void read_download_progress();
  // Takes over state and progress of the remote job's last document.
  void on_remote_job_json_update();
  // Readers of the HTTP client's output, called in this order; each leaves the next its start.
  void stdout_cgi_stdout_read_http_response(CurlVodCGIResponse& response);
  void stdout_cgi_stdout_read_http_headers(CurlVodCGIResponse& response);
  void stdout_cgi_stdout_read_comm_headers(CurlVodCGIResponse& response);
  void stdout_cgi_stdout_read_json_body(CurlVodCGIResponse& response);
  void stdout_cgi_stdout_read_text_body(std::string& text);

  // ---- File-operations job (fileops/)

  // Attaches the item to a job; a negative id detaches it. False when the id has no directory name.
  bool set_fileops_job_id(std::int32_t id);
  // Makes a job for an item that has none.
  bool init_fileops_job();
  // Rewrites the job's status file and the summary beside the output. True when the status file was
  // written.
  bool fileops_write_status();
  // Removes the job's files and directory; the id is kept.
  void fileops_remove_job();
};
