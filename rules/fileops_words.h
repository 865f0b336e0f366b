// The files and the operation of a job directory of the file-operations subsystem.
#pragma once

// The operation that marks the directories of this service.
constexpr char fileops_operation[] = "vod";

// A directory's files: the status, and the process id of the service that works on the job.
constexpr char fileops_status_file[] = "status";
constexpr char fileops_pid_file[] = "copy_pid";
