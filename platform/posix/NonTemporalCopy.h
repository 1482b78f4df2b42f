// Copies that leave the caches to others.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

// memcpy, but whole cache lines of the target go to memory without a place in the caches, where the processor
// can do that. For bytes that nobody reads soon, and whose old values are in no near cache: those need not be
// fetched then, only to be overwritten. Other threads may rely on them only after FinishNonTemporalCopies.
void NonTemporalCopy(uint8_t* target, const uint8_t* source, size_t bytes);

// Puts the copies of this thread before everything that it writes from here on.
void FinishNonTemporalCopies();

}  // namespace platform
