// The states of a job and their names. The names are the vocabulary of the queue file, of the
// control socket's replies, of the job status files and between two servers.
#pragma once

#include <cstdint>
#include <iterator>

// The life of a job:
//
//   init -> ready -> transcoding ------> thumbnail -> cleanup -> done -> cleared
//             |  \-> remote transcode -/
//             v
//        cancelling -> cancelled          (from every state but done)
//
// Four of the states are phases that consist of steps, each kept in a sub-machine that is valid
// only while the job is in that state:
//
//   ready:             init -> check meta -> query profiles -> ready to transcode
//   remote transcode:  init -> upload -> add -> monitor <-> command; monitor -> download -> done
//   thumbnail:         init -> gen -> metadata gen -> done
//   cleanup:           init -> unlink file -> unlink meta -> done

enum transcode_states : std::uint32_t {
  TRANSCODE_INIT = 0,
  TRANSCODE_CANCELLED = 1,
  TRANSCODE_CANCELLING = 2,
  TRANSCODE_READY = 3,
  TRANSCODE_REMOTE = 4,
  TRANSCODE_TRANSCODING = 5,
  TRANSCODE_THUMBNAIL = 6,
  TRANSCODE_CLEANUP = 7,
  TRANSCODE_DONE = 8,
  TRANSCODE_CLEARED = 9,
};
constexpr auto transcode_states_count = static_cast<transcode_states>(10);

enum ready_states : std::uint32_t {
  READY_INIT = 0,
  READY_CHECK_META = 1,
  READY_QUERY_PROFILES = 2,
  READY_READY_TO_TRANSCODE = 3,
};
constexpr auto ready_states_count = static_cast<ready_states>(4);

enum cleanup_states : std::uint32_t {
  CLEANUP_INIT = 0,
  CLEANUP_UNLINK_FILE = 1,  // removes the source's metadata; the name is persisted, so it stays
  CLEANUP_UNLINK_META = 2,  // removes the source file itself
  CLEANUP_DONE = 3,
};
constexpr auto cleanup_states_count = static_cast<cleanup_states>(4);

enum thumbnail_states : std::uint32_t {
  THUMBNAIL_INIT = 0,
  THUMBNAIL_GEN = 1,
  THUMBNAIL_METADATA_GEN = 2,
  THUMBNAIL_DONE = 3,
};
constexpr auto thumbnail_states_count = static_cast<thumbnail_states>(4);

enum remote_transcode_states : std::uint32_t {
  REMOTE_INIT = 0,
  REMOTE_UPLOAD = 1,
  REMOTE_ADD = 2,
  REMOTE_MONITOR = 3,
  REMOTE_DOWNLOAD = 4,
  REMOTE_DONE = 5,
  REMOTE_COMMAND = 6,
};
constexpr auto remote_transcode_states_count = static_cast<remote_transcode_states>(7);

// The names, indexed by state.

inline constexpr const char* transcode_states__str[] = {
    "init",        "cancelled", "cancelling", "ready", "remote transcode",
    "transcoding", "thumbnail", "cleanup",    "done",  "cleared",
};
static_assert(std::size(transcode_states__str) == transcode_states_count);

inline constexpr const char* ready_states__str[] = {"init", "check meta", "query profiles",
                                                    "ready to transcode"};
static_assert(std::size(ready_states__str) == ready_states_count);

inline constexpr const char* cleanup_states__str[] = {"init", "unlink file", "unlink meta", "done"};
static_assert(std::size(cleanup_states__str) == cleanup_states_count);

inline constexpr const char* thumbnail_states__str[] = {"init", "gen", "metadata gen", "done"};
static_assert(std::size(thumbnail_states__str) == thumbnail_states_count);

inline constexpr const char* remote_transcode_states__str[] = {
    "init", "upload", "add", "monitor", "download", "done", "command"};
static_assert(std::size(remote_transcode_states__str) == remote_transcode_states_count);

// The name of a state, which has to be a valid one.
constexpr const char* name_of(transcode_states state) {
  return transcode_states__str[state];
}
constexpr const char* name_of(ready_states state) {
  return ready_states__str[state];
}
constexpr const char* name_of(remote_transcode_states state) {
  return remote_transcode_states__str[state];
}
