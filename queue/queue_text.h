// The queue file's text.
#pragma once

#include <cstddef>
#include <string>

// The longest queue file that is read: parsing could cost thirty times its size in memory on a
// machine that is on air.
constexpr std::size_t queue_file_size_limit = std::size_t{32} << 20U;

// The longest text that values of clients may lead to. The rest is for what jobs collect later on:
// texts, listings, documents of other servers.
constexpr std::size_t queue_text_size_limit = std::size_t{24} << 20U;

// The queue as one JSON document on one line, without the jobs that are in "init" or "cleared".
// Where everything would be too long to be read back, each job is written without what it can do
// without, or find out again: its command line, the listed profiles, the last document of its
// remote server, the rest of a long text.
std::string queue_text();
