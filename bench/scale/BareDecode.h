// The reference of every load: its frames through libavcodec and nothing else.
#pragma once

#include "bench/scale/Load.h"

// CPU ms of one thread that decodes the frames of the measured time, in the order in which they arrive, each
// stream by a decoder of its own (one thread, low delay). Frames before that time are decoded, too, but not
// counted.
double DecodeBareMs(const Load& load);
