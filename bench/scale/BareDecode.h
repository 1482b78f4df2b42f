// The reference of every load: its frames through libavcodec and nothing else.
#pragma once

#include "bench/scale/Load.h"

// CPU ms of one thread that decodes the frames of the measured time, in the order in which they arrive, each
// stream by a decoder of its own (one thread, low delay). Frames before that time are decoded, too, but not
// counted. In real time the thread sleeps until each frame arrives, as every program that decodes must, and
// that alone takes more: processors that wake up, and caches that others have used.
double DecodeBareMs(const Load& load, bool inRealTime = false);

// The same in real time by a thread for each stream. Counts what waking them takes, but not what else the
// thread does that wakes them.
double DecodeOnThreadsMs(const Load& load);
