// The parts of the engine's command line that every transcode shares, whether it makes the output
// in one piece or in segments.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>

#include "tools/qxmi_vod_transcode/encode_command.h"

constexpr int key_frame_seconds = 2;

// Frames from one key frame to the next.
std::int64_t key_frame_distance(rational frame_rate);

void append(argument_list& arguments, std::initializer_list<std::string> more);

// "NUM/DEN".
std::string ratio_text(rational value);

// The chain of filters of the picture, in two parts with nothing between them: up to the grid of
// output frames, which ends with a comma, and from there on.
std::string filters_to_grid(const source_media& media);
std::string filters_from_grid(const source_media& media, const encode_settings& settings);

// The encoders' options, without any mapping.
void add_picture_encoder(argument_list& arguments, const source_media& media,
                         const encode_settings& settings);
void add_sound_encoder(argument_list& arguments, const source_media& media);

// The mapping of the sound and its filters; `input` is the number of the input that it is read
// from.
void add_sound_source(argument_list& arguments, const source_media& media, int input);

// Options of an input for the peculiarities of the source's clock, without any shift of time.
void add_clock(argument_list& arguments, const source_media& media);

// The rest of the beginning of every command line: progress on standard output, threads.
argument_list encode_beginning(const encode_settings& settings);
