// Where a stretching copy reads and writes once its target is cut to the surface, one axis at a time.
#pragma once

#include <cstdint>

namespace platform {

// Pixels [nSource, nSource + nSourceLength) are stretched to nBandLength pixels. Of this band, nTargetLength
// pixels behind the first nBandBefore go to the target at nTarget.
struct StretchAxis {
  int32_t nSource, nSourceLength;
  int32_t nTarget, nTargetLength;
  int32_t nBandBefore, nBandLength;

  bool operator==(const StretchAxis&) const = default;
};

// Cuts the copy of [sourceBegin, sourceEnd) to [targetBegin, targetEnd) to the target pixels 0..limit. Both
// ranges are not empty, the source's begin is not negative. Only what is seen is read, with the neighbours
// that interpolation needs, from even positions where the range allows; the scale is kept up to the rounding
// of the band's ends to pixels, and beyond 128-fold enlargement only roughly. False when nothing is left to
// see.
bool CutStretchAxis(int32_t sourceBegin, int32_t sourceEnd, int32_t targetBegin, int32_t targetEnd,
                    int32_t limit, StretchAxis& axis);

}  // namespace platform
