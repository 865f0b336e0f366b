// The filter of system calls (seccomp): those that a decoder or encoder does not need fail.
#pragma once

// Whether the kernel has such filters.
bool has_system_call_filters();

// Filters the calls of this process from now on. Cannot be undone, and comes after every change of
// its account. Without such filters in the kernel it changes nothing. False with errno.
bool filter_system_calls();
