// How the media engines are called: their paths and the options that keep a hostile file from
// making them open anything but itself.
//
// Seen with ffmpeg 5.1: a playlist under the name movie.mp4 makes it open other local files; a
// protocol list given before -i does not cover the output; "%d" in a name is expanded by the
// image sequence reader. Hence one place for these options and none elsewhere.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/media/output_file.h"
#include "tools/media/probe_depth.h"
#include "tools/media/process_runner.h"
#include "tools/media/source_file.h"

constexpr const char* ffmpeg_path = "/usr/bin/ffmpeg";
constexpr const char* ffprobe_path = "/usr/bin/ffprobe";

using argument_list = std::vector<std::string>;

// Adds what every reading of a source begins with, up to and with "-i URL". `format` is a single
// demuxer of the caller's choice (see sniff_still), or empty to let the engine find out which of
// the allowed containers it is. Options of the input itself, such as -ss, come before this.
void add_input(argument_list& arguments, const std::string& url, std::string_view format = {},
               const probe_depth& depth = {});

// Adds the reading of a list of films that is made here and lies in the folder of those films
// ("ffconcat"), without any change of their packets.
void add_segment_list(argument_list& arguments, const std::string& url);

// A request that runs an engine in a sandbox: it can read `source`, and write `output`, if any, up
// to `largest_output` bytes. Both must stay open until it has ended.
program_request confined_request(argument_list argv, const source_file& source);
program_request confined_request(argument_list argv, const source_file& source,
                                 const output_file& output, std::uint64_t largest_output);

// "ffprobe" or "ffmpeg" with its first options. Both print nothing except errors.
argument_list ffprobe_command();
argument_list ffmpeg_command();

// Adds the output with an explicit muxer, replacing an existing file; comes last. The mapping and
// encoding options come before it.
void add_output(argument_list& arguments, std::string_view format, const std::string& url);

// The demuxer for a still picture whose file begins with `head`; empty for an unknown kind. Stills
// are read by a demuxer named here, never by the engine's own choice, which for a picture would be
// the image sequence reader.
std::string_view sniff_still(std::string_view head);

// Why an engine failed, in words that follow the file's name: a machine-wide problem if it named
// one, else its first message about `url`, without that name, else its first informative line. Sets
// the failure code in the job's log if the words do not imply it.
std::string engine_cause(const program_result& result, const std::string& url);

// Whether an engine that failed was ended from outside, or by a trouble of the machine that may
// pass, and not by what it read or wrote: another one may get further.
bool is_interruption(const program_result& result);

// Whether an engine named such a trouble, even if it ended well: it takes a source that can no
// longer be read for one that has ended.
bool names_passing_trouble(const program_result& result);

// Whether ffmpeg complained of what it read or wrote, even if it ended well. Lines of others, such
// as the dynamic loader, do not count.
bool has_complained(const program_result& result);
