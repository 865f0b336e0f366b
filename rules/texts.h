// The status texts of a job that are given or looked for in more than one place. Users read them,
// and other servers and scripts compare them.
#pragma once

// ---- On its way

constexpr char text_ready[] = "Ready";
constexpr char text_transcoding[] = "Transcoding file...";
constexpr char text_resuming[] = "Resuming transcode...";
constexpr char text_source_silent[] = "Waiting for the file system of the source";
constexpr char text_restart_on_resume[] = "Transcoding will restart when user resumes this job";

// ---- Ended by its user: a cancelled job with any other text has failed

constexpr char text_cancelled[] = "Cancelled by user";
constexpr char text_cancelled_remotely[] = "Transcode cancelled, remote end cancelled";

// ---- Refused because of the source

constexpr char text_source_forbidden[] = "Rejected: Forbidden input file";
constexpr char text_source_is_metadata[] = "Rejected: File is metadata";
constexpr char text_folder_not_found[] = "Rejected: unable to locate folder";
constexpr char text_not_a_file[] = "Rejected: neither file nor folder";
constexpr char text_offline[] = "Rejected: File is marked offline";
constexpr char text_not_transcodeable[] = "Rejected: File type is not transcodeable";

// ---- Failed

// Short enough to be stored without memory.
constexpr char text_out_of_memory[] = "Out of memory";
constexpr char text_operation_gone[] = "Rejected: File operation disappeared unexpectedly";
constexpr char text_transcoding_failed[] = "Transcoding failed";
constexpr char text_not_sent[] = "Unable to send file to remote";
constexpr char text_metadata_unreadable[] = "unable to check metadata";
constexpr char text_not_identified[] = "Rejected: Unable to create metadata or identify item";
constexpr char text_listing_failed[] =
    "Rejected: Unable to determine appropriate transcoding profiles";
constexpr char text_listing_too_long[] =
    "Rejected: utility std-output buffer overrun. Please report to Velmar staff.";
// Also given where a profile was chosen but the output cannot be named.
constexpr char text_nothing_listed[] =
    "Rejected: Transcoder could not determine profiles (but returned success)";
constexpr char text_output_invalid[] = "Rejected: output file is invalid";
