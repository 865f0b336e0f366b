// The queue file's text.
#pragma once

#include <string>

// The queue as one JSON document on one line, without the jobs that are in "init" or "cleared".
// Where everything would be too long to be read back, each job is written without what it can do
// without, or find out again: its command line, the listed profiles, the last document of its
// remote server, the rest of a long text.
std::string queue_text();
