// QueueItem: one video-on-demand job. The record and its public operations are declared here; each
// operation is defined in the folder of the subsystem that owns it.
//
// An item belongs to `transcode_queue`, is only used by the one thread, and never blocks it: each
// call of idle() does a short piece of work. Operations report failure by returning false and put
// the explanation for the user in `state_message`. An operation that cancels an item sets the text
// after the cancel, so that this is the text the user sees.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <json11.hpp>

#include "platform/file_identity.h"
#include "queue/state_machine.h"
#include "rules/limits.h"
#include "rules/states.h"

struct sliding_window_v4;
struct metadata_v4_context;
struct metadata_v4_metadata_context;

// Stores a random UUID: 36 characters, lower-case, 8-4-4-4-12.
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

  // The main machine. Leaving a state that has a sub-machine invalidates that machine; entering one
  // makes its machine valid, in "init". Setting the current state again restarts the phase, and
  // callers rely on that. Copied member by member.
  struct transcode_state_machine
      : vod_state_machine_base<transcode_states, TRANSCODE_INIT, transcode_states_count> {
    ready_state_machine ready;
    cleanup_state_machine cleanup;
    thumbnail_state_machine thumbnail;
    remote_transcode_state_machine remote;
    // The command for the remote server that is pending, or was sent last, while `remote` is in
    // "command": "restart", "pause", "resume" or "cancel".
    std::string remote_command;

    transcode_state_machine() : vod_state_machine_base(transcode_states__str) { init(); }
    transcode_states do_set_state(transcode_states s) override;
  };

  // The job's counterpart on a remote server.
  struct remote_job {
    std::string ip;        // address of the server that the job was sent to
    std::string name;      // UUID that names the uploaded copy on that server
    std::string entry_id;  // the job's id in the remote queue
    json11::Json json;     // the last document that the server returned for it

    // True if all fields are empty.
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

    // Opens the metadata of a media file, after closing any that are open. False with errno set if
    // this fails, with ENOENT if the file has none.
    bool load(const char* path);
    void close();
  };

  // A remote server's reply, as printed by the HTTP client.
  struct CurlVodCGIResponse {
    using header_list = std::vector<std::pair<std::string, std::string>>;

    std::uint32_t http_status = 0;
    std::string version;
    std::string status_string;
    header_list http_headers;  // in the order of arrival, duplicates kept
    std::string content_type;  // of the last such header, up to its first ";"
    header_list comm_headers;  // the name:value block at the start of the body
    json11::Json json;

    // Stores the text of the first comm header "X-comm-error" in `out`. False, with `out`
    // unchanged, if there is none.
    bool comm_get_err(std::string& out) const;
    // Prints the reply to standard error.
    void dump() const;
  };

  // ---- The record. The order of the fields is fixed. Each comment ends with the field's JSON key,
  // or with "this run only" if the field is not kept across restarts. Times are in microseconds of
  // monotonic_clock_us().

  bool delete_on_finish = false;            // remove source and its metadata; "delete on finish"
  std::string input_file;                   // absolute path of the source; "input file"
  std::string output_file;                  // under path_output_dir, or empty; "output file"
  std::string output_metadir;               // metadata directory of the output; this run only
  std::string transcode_profile;            // the chosen profile; "transcode profile"
  std::vector<std::string> quoted_profile;  // the offered profiles, best first; "quoted profile"
  std::string fileops_job_dir;              // empty without a job; this run only
  std::int32_t fileops_job_id = -1;         // -1 without a job; "fileops job id"
  std::uint64_t next_remote_poll = 0;  // time of the next monitor or command request; this run only
  std::string fileops_op;              // "op" in the job's status file; this run only
  std::string state_message;           // status text for the user; "state"
  std::string entry_id;                // unique in the queue; "entry id"
  std::uint64_t next_upload_progress_read = 0;  // this run only
  std::uint64_t init_deadline;                  // when an item in "init" is dropped; this run only
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
  // Copy of `sm` from when the child was started: the child's purpose, even if the item's state has
  // changed since. This run only.
  transcode_state_machine proc_sm;
  std::vector<std::string> proc_argv;  // of the running child; "process argv", never read back
  std::int32_t input_fd = -1;          // closed along with input_dir_fd; this run only
  std::int32_t input_dir_fd = -1;      // directory of the input during validation; this run only
  std::string input_dir;               // input_file up to its last "/"; this run only
  std::string input_name;              // input_file after its last "/"; this run only
  sliding_window_v4* proc_stdin_buffer = nullptr;   // owned; this run only
  sliding_window_v4* proc_stdout_buffer = nullptr;  // owned; this run only
  // Cleared when a child is prepared. While set, the child is not reaped until its output has been
  // read and released; this run only.
  bool proc_drain_stdout_before_reap = false;
  remote_job remote_info;            // "remote job"
  metadata input_meta;               // this run only
  std::int32_t proc_status = 0;      // wait status of the last child; this run only
  remote_document_view remote_view;  // of remote_info.json; this run only
  // True from the reaping of the child until its end is judged: its pid may be reused; this run
  // only.
  bool proc_reaped = false;
  // The signal to send once the transcoder can take it, 0 for none, and until when; this run only.
  std::int32_t proc_held_signal = 0;
  std::uint64_t proc_patience_end = 0;
  // Successful identifications since "ready" began, and when the next one may start: monotonic
  // microseconds, 0 if none is planned.
  unsigned identifications = 0;
  std::uint64_t next_identification = 0;
  // The next signal for a child that does not end after a cancel, 0 for none, and when it is due: 0
  // if the child was not asked to end. This run only.
  std::int32_t proc_ending_signal = 0;
  std::uint64_t proc_ending_time = 0;
  file_identity judged_source;  // the file that is transcoded; this run only
  // The file system of the source did not answer when a step looked at it: the step waits, and
  // looks again at that time. The looks in a row that had no answer. This run only.
  bool source_silent = false;
  std::uint64_t next_source_look = 0;
  unsigned missed_source_looks = 0;
  // What the text was before the user was shown that the item waits. This run only.
  std::string text_before_silence;
  // The source has not answered since the start of the service, which therefore could not tell
  // whether it is still there. This run only.
  bool source_unseen = false;

  // ---- Record (queue/queue_item.cpp)

  // An item with a new id.
  QueueItem();
  // An item that has an id already, in the queue file.
  explicit QueueItem(std::string id);
  // Releases all that the item holds, slots too. A running child stays; standard error says so.
  ~QueueItem();
  QueueItem(const QueueItem&) = delete;
  QueueItem& operator=(const QueueItem&) = delete;

  // Sets the source. If the path is not absolute or its name is forbidden, clears the source and
  // returns false.
  bool set_input_file(const char* path);
  // Sets the output; "" means none. If the path is outside the output directory or its name is not
  // permitted, clears the output and returns false.
  bool set_output_file(const char* path);
  // Makes an output path from time, profile and the input's name; "" if it would be too long.
  std::string pick_output_file_name_from_input() const;
  // True if no source is set or it does not exist (a dangling symbolic link exists).
  bool input_file_not_exist() const;

  // ---- JSON form (queue/queue_item_json.cpp, lifecycle/restart.cpp)

  // Adds the item's keys to `out`: in full for the queue file, else the short form of replies.
  void serialize_json(json_object& out, bool queue_file) const;
  // Appends the item's compact JSON text to `out`.
  void serialize_to_string(std::string& out, bool queue_file) const;
  // Fills the item from a document. False if the document is refused, also because the item has a
  // child; the item may then be partly filled and should be destroyed. With `queue_file` the source
  // and the job directory are checked too, and an item that lost one is restored as cancelled.
  bool deserialize_json(const json11::Json& json, bool queue_file);

  // ---- Modification by clients (control/queue_item_modify.cpp)

  // Changes the field with the JSON key `name`. True if the change was made or was not needed.
  bool modify(const char* name, const char* value);

  // ---- Child process (exec/child_*.cpp, queue/queue_item.cpp)

  // Opens a close-on-exec pipe. Both variables must be -1. False with both unchanged.
  static bool _std_open_anonpipe(int& read_end, int& write_end);
  static bool make_fd_nonblocking(int fd);
  static bool make_fd_inheritable(int fd);
  // Creates an empty buffer in `buffer`, which must be null.
  static bool _std_init_buffer(sliding_window_v4*& buffer, unsigned long capacity);
  // Records the purpose of the child about to be started. Always true.
  bool proc_prepare_fork_spawn();
  // Starts proc_argv with the open pipes as its streams, in a new session and at the lowest
  // priority. False if no child was started; if the fork failed, pipes and buffers are released.
  bool proc_spawn();
  // The next complete line of the child's output without its line end; null if there is none. Valid
  // until the pump next runs.
  char* proc_stdout_getline();
  void close_proc_stdin();
  void close_proc_stdout();
  // Sends SIGTERM to the child's process group and closes both pipes. The pump reaps the child
  // later.
  void shutdown_proc();
  // Sends a signal to the child's process group; does nothing without a child.
  void signal_proc_group(int signal_number) const;
  // Whether there is a child, its output pipe or unread output: the next step cannot start until
  // all are gone.
  bool is_running() const;
  // Prepares for a child whose output is read: a new stdout pipe and buffer. False with neither.
  bool open_proc_stdout();

  // ---- Life cycle (lifecycle/lifecycle.cpp, termination.cpp; exec/item_control.cpp)

  // Feeds, reads and reaps the child, and judges its end. True when bytes came, the output ended or
  // the child did.
  bool idle_process();
  // Does one turn of work. True if the main loop should run again at once.
  bool idle();
  // Evaluates the wait status of the child that has just ended, and changes the item's state
  // accordingly.
  void on_proc_terminate(int wait_status);
  // Cancels the item, at once or when its child has ended. False if it is already done.
  bool cancel();
  // cancel(), then sets the text for the user.
  void cancel_with(const std::string& text);
  // Pauses the item, or plans the command for its remote server. Always true.
  bool pause();
  // Ends a pause. True if the item itself continues, false if a command for its remote server was
  // planned.
  bool resume();
  // Plans the command to cancel, for an item in "remote transcode". Always true.
  bool do_user_cancel();

  // ---- Readiness (exec/readiness.cpp, lifecycle/ready_steps.cpp)

  // 1 if the item may proceed; 0 if it is rejected, with the reason in its text. Creates the
  // output's metadata directory and the file-operations job if they are missing.
  int validate_ready();
  // Moves an item from "init" or "cancelled" to the start of "ready". True if it is now in "ready".
  bool ready();
  // The same at a user's request; sets the text and writes the status.
  bool do_user_ready();
  // The steps of "ready". True if the step is complete or its child was started.
  bool ready_start_check_meta();
  bool ready_start_query_profiles();
  bool proc_spawn_metadata_identify();
  // Chooses the first offered profile within the configured maximum, or the last one offered. The
  // list must not be empty.
  void auto_choose_transcode_profile();

  // ---- Local steps (lifecycle/local_steps.cpp, by_products.cpp, removal.cpp): true if the step
  // was started, or is complete without a child

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
  // Appends the HTTP client's command line, except for the URL, to proc_argv.
  void proc_argv_prepare_std_curl_post_stdin();
  // Reads the progress of the running upload from the FTP clients' open files.
  void remote_transcode_upload_procfs_read_progress();
  // Reads the download's progress from its complete output lines.
  void read_download_progress();
  // Updates state and progress from the remote job's last document.
  void on_remote_job_json_update();
  // Parsers of the HTTP client's output, to be called in this order; each starts where the previous
  // one stopped.
  void stdout_cgi_stdout_read_http_response(CurlVodCGIResponse& response);
  void stdout_cgi_stdout_read_http_headers(CurlVodCGIResponse& response);
  void stdout_cgi_stdout_read_comm_headers(CurlVodCGIResponse& response);
  void stdout_cgi_stdout_read_json_body(CurlVodCGIResponse& response);
  void stdout_cgi_stdout_read_text_body(std::string& text);

  // ---- File-operations job (fileops/)

  // Attaches the item to a job; a negative id detaches it. False if the id has no directory name.
  bool set_fileops_job_id(std::int32_t id);
  // Creates a job if the item has none.
  bool init_fileops_job();
  // Rewrites the job's status file and the summary beside the output. True if the status file was
  // written.
  bool fileops_write_status();
  // Removes the job's files and directory, but keeps the id.
  void fileops_remove_job();
};
