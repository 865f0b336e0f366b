// Distinguishes failed jobs from cancelled ones by the status that the service reports.
#pragma once

#include <string_view>

// Whether a job in that state, with that text, ended early although nobody cancelled it. The
// service calls such a job "cancelled", like one that a user cancelled; only its text differs.
bool job_has_failed(std::string_view state, std::string_view text);
