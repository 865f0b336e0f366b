// Small real media for tests: made with ffmpeg when first asked for, kept in the build tree and
// shared by tests that run side by side (<build>/test-media; to be removed when a recipe changes).
// Never to be written to; copy what a test will change.
//
//   interlaced.ts         1920x1080 25i MPEG-2 with moving fields, mp2 tone, 3 s; its clock
//                         begins near 1234.567 s
//   interlaced_small.ts   the same at 320x240
//   two_programs.ts       160x120 with a low tone, then 320x240 with a high tone; 2 s
//   progressive.mp4       640x360 25p H.264, AAC tone, 4 s
//   large.mp4             1280x720 25p H.264, AAC tone, 1 s
//   long.mp4              320x180 25p H.264, AAC tone, 120 s
//   anamorphic_4_3.ts     720x576 with pixels of 16:15, 2 s
//   anamorphic_16_9.ts    720x576 with pixels of 64:45, 2 s
//   film_rate.mp4         320x180 at 24000/1001, 2 s
//   variable_rate.mp4     320x180, a second at 25 and a second at 10 frames a second
//   odd_size.mkv          321x241 at 25p, 1 s
//   step.ts               black and silent until second 2, then white with a tone; 4 s, its clock
//                         begins at 95443.1 s, a moment before the 33 bits of its clock run over
//   late_picture.ts       the tone begins 0.6 s before the picture; 3 s
//   late_sound.ts         the picture begins 0.6 s before the tone; 3 s
//   tone.mp3 tone.wav tone.m4a tone.aac   sound alone, 3 s, stereo
//   surround.m4a          sound alone, 6 channels, 1 s
//   covered.mp3           sound with an attached picture, 2 s
//   silent.mp4            320x180 25p, picture alone, 2 s
//   white_left.mp4        320x180 25p, picture alone, its left half white and the rest black; 2 s
//   rotated.mp4           white_left.mp4 to be turned clockwise by 90 degrees, as from a phone
//   hdr.mkv               HEVC 10 bit with PQ transfer, 128x72, 1 s
//   raw.h264              a bare H.264 stream, 320x180 25p, 2 s
//   still.png still.jpg   a picture, 200x100
//   text.mp4 empty.mp4    no media
//   indexed.mp4           progressive.mp4 with its index in front
//   truncated.ts          the first 60 % of interlaced_small.ts, cut inside a packet
//   truncated.mp4         the first 60 % of indexed.mp4
//   damaged.ts            interlaced_small.ts with broken packets in the middle
#pragma once

#include <string>
#include <string_view>

namespace qx_test {

// The path of one of the files above. A failure to make it fails the test and returns "".
std::string test_media(std::string_view name);

}  // namespace qx_test
