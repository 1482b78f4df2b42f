// Clipping of a stretching copy.
#include "platform/posix/StretchGeometry.h"

#include <algorithm>

namespace platform {
namespace {

// The band reaches up to three source pixels beyond what is seen: one for interpolation, one by rounding, one
// to an even position. This bounds the work space when each of them becomes huge.
constexpr int64_t kMaxBandOutside = 3 * 128;

// Of a positive by a positive number; with rounding to the nearest, or up.
int64_t DivideRounded(int64_t a, int64_t b) {
  return (a + b / 2) / b;
}
int64_t DivideUp(int64_t a, int64_t b) {
  return (a + b - 1) / b;
}

}  // namespace

bool CutStretchAxis(int32_t sourceBegin, int32_t sourceEnd, int32_t targetBegin, int32_t targetEnd,
                    int32_t limit, StretchAxis& axis) {
  // 64 bits: target ranges may span all of 32 bits, and are multiplied by source lengths.
  const int64_t sourceLength = int64_t{sourceEnd} - sourceBegin;
  const int64_t targetLength = int64_t{targetEnd} - targetBegin;
  const int64_t seenBegin = std::max<int64_t>(targetBegin, 0);
  const int64_t seenEnd = std::min<int64_t>(targetEnd, limit);
  if (seenBegin >= seenEnd) return false;

  axis.nTarget = static_cast<int32_t>(seenBegin);
  axis.nTargetLength = static_cast<int32_t>(seenEnd - seenBegin);
  const int64_t cutBefore = seenBegin - targetBegin;
  if (sourceLength == targetLength) {
    axis.nSource = static_cast<int32_t>(sourceBegin + cutBefore);
    axis.nSourceLength = axis.nTargetLength;
    axis.nBandBefore = 0;
    axis.nBandLength = axis.nTargetLength;
    return true;
  }

  int64_t begin = sourceBegin + cutBefore * sourceLength / targetLength - 1;
  int64_t end = sourceBegin + DivideUp((seenEnd - targetBegin) * sourceLength, targetLength) + 1;
  begin = std::max<int64_t>(begin - (begin & 1), sourceBegin);
  end = std::min<int64_t>(end + (end & 1), sourceEnd);

  const auto onTarget = [&](int64_t position) {
    return targetBegin + DivideRounded((position - sourceBegin) * targetLength, sourceLength);
  };
  const int64_t bandBegin = std::clamp(onTarget(begin), seenBegin - kMaxBandOutside, seenBegin);
  const int64_t bandEnd = std::clamp(onTarget(end), seenEnd, seenEnd + kMaxBandOutside);
  axis.nSource = static_cast<int32_t>(begin);
  axis.nSourceLength = static_cast<int32_t>(end - begin);
  axis.nBandBefore = static_cast<int32_t>(seenBegin - bandBegin);
  axis.nBandLength = static_cast<int32_t>(bandEnd - bandBegin);
  return true;
}

}  // namespace platform
