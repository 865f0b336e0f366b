// The engine's filters for the sound: from whatever the source has to stereo at 48 kHz.
#pragma once

#include <string>

#include "tools/qxmi_vod_transcode/source_media.h"

// How far the sound may be behind its clock, in samples a second, before it is stretched: for the
// engine's own keeping of step, which fills what is missing with silence. It has to be the engine's
// and not a filter of the chain: the chain is set up again whenever the number of channels changes
// in the middle, and would then fill from the beginning once more.
constexpr const char* sound_step = "1000";

// From how many seconds on it is cut or filled at once instead, in containers from broadcast: their
// clock is exact, so that this is a splice, where nobody hears it. In others the engine's usual
// 0.1 s hold, since the clocks of what was captured live may tremble.
constexpr const char* splice_step = "0.03";

// The chain of filters for one sound, which `media` has.
//
// The level is kept: mono comes out of both sides as loud as it went in; of more channels the
// centre and the surrounds go to both sides at -3 dB and the fronts as they are, so that speech
// keeps its loudness, and a limiter holds down what that adds up to above full scale. Of more
// than eight channels whose places are not told the first two are taken.
std::string sound_filters(const source_media& media);

// The graph that makes one sound, "[sound]", of a left and a right channel in two tracks.
std::string joined_sound_graph(const source_media& media);
