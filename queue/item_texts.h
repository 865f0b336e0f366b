// Texts of a job that more than one step gives it.
#pragma once

constexpr char const* text_ready = "Ready";
constexpr char const* text_transcoding = "Transcoding file...";
constexpr char const* text_resuming = "Resuming transcode...";
constexpr char const* text_restart_on_resume =
    "Transcoding will restart when user resumes this job";
constexpr char const* text_operation_gone = "Rejected: File operation disappeared unexpectedly";
