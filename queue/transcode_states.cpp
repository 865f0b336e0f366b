// The printable names of the job states, indexed by state.
#include "queue/transcode_states.h"

const char* const transcode_states__str[transcode_states_count] = {
    "init",        "cancelled", "cancelling", "ready", "remote transcode",
    "transcoding", "thumbnail", "cleanup",    "done",  "cleared",
};

const char* const ready_states__str[ready_states_count] = {"init", "check meta", "query profiles",
                                                           "ready to transcode"};

const char* const cleanup_states__str[cleanup_states_count] = {"init", "unlink file", "unlink meta",
                                                               "done"};

const char* const thumbnail_states__str[thumbnail_states_count] = {"init", "gen", "metadata gen",
                                                                   "done"};

const char* const remote_transcode_states__str[remote_transcode_states_count] = {
    "init", "upload", "add", "monitor", "download", "done", "command"};
