// The two millisecond clocks that all pacing and timing reads. Neither allocates nor locks.
#pragma once

#include <cstdint>

// Milliseconds since boot. 64 bits by counting, per thread, how often that thread saw the 32-bit count wrap:
// readings of different threads may lie 2^32 apart, so only compare readings of one thread.
uint64_t kitc_tick64();

// Milliseconds of the performance counter.
double kitc_time_ms();
