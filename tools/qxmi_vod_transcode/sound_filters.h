// The engine's filters for the sound: from whatever the source has to stereo at 48 kHz.
#pragma once

#include <string>

#include "tools/qxmi_vod_transcode/source_media.h"

// How far the sound may lag its clock, in samples per second, before the engine's synchronisation
// stretches it and fills gaps with silence. A filter in the chain cannot do that: the chain is set
// up again whenever the number of channels changes in the middle, and would then fill from the
// beginning once more.
constexpr const char* sound_step = "1000";

// The difference in seconds from which the sound is cut or filled at once instead, in broadcast
// containers: their clock is exact, so that this is a splice, where nobody hears it. Other
// containers keep the engine's usual 0.1 s, because the clocks of live captures may jitter.
constexpr const char* splice_step = "0.03";

// The chain of filters for one sound, which `media` has.
//
// The level is kept: mono is as loud on both sides as in the source; of more channels the centre
// and the surrounds go to both sides at -3 dB and the fronts unchanged, so that speech keeps its
// loudness, and a limiter holds down sums above full scale. Of more than eight channels in unknown
// positions the first two are taken.
std::string sound_filters(const source_media& media);

// The graph that makes one sound, "[sound]", of a left and a right channel in two tracks of the
// engine's input with that number.
std::string joined_sound_graph(const source_media& media, int input);
