// Texts of a job that more than one step gives it.
#pragma once

constexpr const char* text_ready = "Ready";
constexpr const char* text_transcoding = "Transcoding file...";
constexpr const char* text_resuming = "Resuming transcode...";
constexpr const char* text_restart_on_resume =
    "Transcoding will restart when user resumes this job";
constexpr const char* text_operation_gone = "Rejected: File operation disappeared unexpectedly";
