// The reference of a stream's whole life: a decoder of libavcodec opened, fed and closed.
#pragma once

#include <cstddef>

#include "bench/LiveClip.h"

// The clip's first frames on the calling thread: one thread, low delay. Ends the program when one fails.
void DecodeOnce(const LiveClip& clip, size_t frames);
