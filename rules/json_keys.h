// The keys of a job's JSON form, which are also the field names of requests and replies, and the
// keys of the documents that hold jobs.
#pragma once

// ---- A job

constexpr char key_entry_id[] = "entry id";
constexpr char key_input_file[] = "input file";
constexpr char key_output_file[] = "output file";
constexpr char key_profile[] = "transcode profile";
constexpr char key_quoted_profiles[] = "quoted profile";
constexpr char key_fileops_job_id[] = "fileops job id";
constexpr char key_text[] = "state";
constexpr char key_progress[] = "transcode progress";
constexpr char key_delete_on_finish[] = "delete on finish";
constexpr char key_approved[] = "approved";
constexpr char key_uploaded[] = "uploaded";
constexpr char key_waiting[] = "waiting";
constexpr char key_paused[] = "paused";
constexpr char key_process_pid[] = "process pid";
constexpr char key_process_argv[] = "process argv";

// The state, and the step within each state that has steps.
constexpr char key_state[] = "transcode state";
constexpr char key_ready_step[] = "ready state";
constexpr char key_thumbnail_step[] = "thumbnail state";
constexpr char key_cleanup_step[] = "cleanup state";
constexpr char key_remote_step[] = "remote transcode state";
constexpr char key_remote_command[] = "remote transcode command";
constexpr const char* step_keys[] = {key_ready_step, key_remote_step, key_thumbnail_step,
                                     key_cleanup_step};

// ---- A job in the queue file only

constexpr char key_wants_pause[] = "user wants to pause";
constexpr char key_wants_remove[] = "user wants to remove";
constexpr char key_wants_cancel[] = "user wants to cancel";

// ---- A job's counterpart on a remote server: its id, under key_entry_id, and in the queue file
// also

constexpr char key_remote_job[] = "remote job";
constexpr char key_remote_address[] = "ip";
constexpr char key_remote_name[] = "name";
constexpr char key_remote_document[] = "json";

// Bytes of a finished job's output; the gateway adds it to its replies.
constexpr char key_output_size[] = "output size";

// ---- A listing or a queue file

constexpr char key_list[] = "list";
constexpr char key_total[] = "total";
constexpr char key_start[] = "start";
constexpr char key_end[] = "end";  // of a request for a page only
constexpr char key_modify_counter[] = "modify counter";
constexpr char key_time[] = "time";
