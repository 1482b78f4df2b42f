#include "platform/posix/NonTemporalCopy.h"

#include <algorithm>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace platform {

#ifdef __SSE2__

void NonTemporalCopy(uint8_t* target, const uint8_t* source, size_t bytes) {
  constexpr size_t kLine = 64;
  constexpr size_t kVector = sizeof(__m128i);
  // Parts of a line would go to memory one by one.
  const size_t head = std::min((kLine - reinterpret_cast<uintptr_t>(target) % kLine) % kLine, bytes);
  const size_t end = head + (bytes - head) / kLine * kLine;
  std::memcpy(target, source, head);
  for (size_t at = head; at < end; at += kVector) {
    const __m128i vector = _mm_loadu_si128(reinterpret_cast<const __m128i*>(source + at));
    _mm_stream_si128(reinterpret_cast<__m128i*>(target + at), vector);
  }
  std::memcpy(target + end, source + end, bytes - end);
}

void FinishNonTemporalCopies() {
  _mm_sfence();
}

#else

void NonTemporalCopy(uint8_t* target, const uint8_t* source, size_t bytes) {
  std::memcpy(target, source, bytes);
}

void FinishNonTemporalCopies() {}

#endif

}  // namespace platform
