// The limits that the service keeps and its clients rely on.
#pragma once

#include <cstddef>
#include <cstdint>

// Progress is an integer count of ten-thousandths everywhere; this is "complete".
constexpr std::int32_t progress_complete = 10000;

// ---- The queue

// Jobs in the queue. With more than the second number, "add" clears finished ones first.
constexpr std::size_t most_jobs = 512;
constexpr std::size_t comfortable_jobs = 479;

// Jobs in one page of a listing, however many a client asks for, so that one reply stays small.
constexpr std::size_t most_listed_jobs = 16;

// A job that stays in "init" for longer than this is dropped by the queue scan.
constexpr std::uint64_t init_timeout_us = 15000000;

// The longest queue file that is read: parsing could cost thirty times its size in memory on a
// machine that is on air.
constexpr std::size_t queue_file_size_limit = std::size_t{32} << 20U;

// The longest text that values of clients may lead to. The rest is for what jobs collect later on:
// texts, listings, documents of other servers.
constexpr std::size_t queue_text_size_limit = std::size_t{24} << 20U;

// ---- JSON that is read

// Levels of nesting, which is as deep as the parser goes.
constexpr std::size_t deepest_json = 201;

// Elements of one job's document. The longest listing of profiles and the largest document of
// another server together have two thirds of that.
constexpr std::size_t most_item_elements = 32768;

// Elements of a page of a listing.
constexpr std::size_t most_page_elements = most_listed_jobs * most_item_elements;

// ---- Children

// Capacity of the byte buffers between the service and a child. A tool's whole answer that is
// judged at its end (profile list, remote reply) has to fit in it.
constexpr unsigned long proc_buffer_size = 16384;

// The longest profile list: a full buffer counts as an overrun.
constexpr std::size_t longest_listing = proc_buffer_size - 1;
