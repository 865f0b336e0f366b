// How good a film is where one run of the engine continues another, measured with ffprobe and
// ffmpeg independently of the product's own reading.
#pragma once

#include <string>
#include <vector>

namespace qx_test {

// The output of a shell command.
std::string output_of(const std::string& command);

// One line for each packet of the streams that `stream` selects ("v", "a"; all if empty): stream,
// time of presentation and of decoding, duration, flags; without sizes, which differ from encode to
// encode. The last packet of sound has no duration here: the padding in it is known only to the
// encoder that made it. In the order of the stream.
std::vector<std::string> packet_list(const std::string& path, const std::string& stream = "");

// The decoder's buffer: how full it is at least, as a share of its size, just after a picture was
// taken out of it. Below 0 a picture comes too late. It fills at the highest bit rate that the
// encoder was told, is as large as the encoder was told, and begins nine tenths full; both figures
// are those that the encoder has written into the film. -1e9 if they are not there.
double lowest_buffer_fill(const std::string& path);

// The likeness (SSIM, 0 to 1) of each picture of the film to that of the same number of
// `reference`, which has the same size and rate.
std::vector<double> likeness(const std::string& path, const std::string& reference);

// The mean of a part of the values, from `first` up to but not including `end`; both are brought
// into range. 0 if there are none.
double mean_of(const std::vector<double>& values, long first, long end);

// The lowest likeness (PSNR, dB) of a picture of one film to that of the other; 0 if one cannot be
// decoded.
double worst_psnr(const std::string& path, const std::string& reference);

// How much stronger the sound of `reference` is than its difference from that of the film, sample
// by sample, in dB: the better of two neighbouring tenths of a second, where that is worst. Near 0
// or below it the sound there is silent, late or another one. Up to a millisecond late is not late,
// since some containers count in these, and at a seam there may be such a step; it is undone to the
// nearest sample, which suffices for sound up to 2 kHz. -100 if the lengths differ by more than a
// packet, or one film is silent; 100 if both are.
double worst_sound_likeness(const std::string& path, const std::string& reference);

// What two transcodes of the same sound reach.
constexpr double least_sound_likeness = 15.0;

// How much less like `source` the film is than the film `one_piece`, in the 75 pictures before and
// the 50 after a seam, whichever is worse, at the worst of the seams: each `distance` pictures.
// 1 if a film cannot be measured.
double loss_at_seams(const std::string& path, const std::string& one_piece,
                     const std::string& source, long distance);

}  // namespace qx_test
