#include "tools/qxrec/TimeLine.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int64_t kMicroseconds = 1000000;  // a second
// Times a little out of order are the input's inexactness.
constexpr int64_t kMostBackUs = kMicroseconds;

// How far a frame of one rate is, at worst, from a place of the other: 0 when they fall together.
double Misfit(double ratio) {
  return std::abs(ratio - std::round(ratio));
}

}  // namespace

RecordingRate ChooseRecordingRate(double inputFramesPerSecond) {
  constexpr double kInexact = 1.002;  // measured rates are; 29.97 is no rate of its own either
  if (!(inputFramesPerSecond > 0)) return {};
  if (inputFramesPerSecond > 30 * kInexact) {
    const bool fits25 = Misfit(inputFramesPerSecond / 25) <= Misfit(inputFramesPerSecond / 30);
    return {.framesPerSecond = fits25 ? 25u : 30u, .isExceeded = true};
  }
  const bool fits25 = inputFramesPerSecond <= 25 * kInexact &&
                      Misfit(25 / inputFramesPerSecond) <= Misfit(30 / inputFramesPerSecond);
  return {.framesPerSecond = fits25 ? 25u : 30u, .isExceeded = false};
}

uint32_t TimeLine::Place(int64_t inputUs) {
  constexpr double kNearest = 0.5;
  const int64_t place = std::max<int64_t>(PlaceOf(inputUs, kNearest), m_nNext);
  m_nNext = static_cast<uint32_t>(place) + 1;
  return m_nNext - 1;
}

std::optional<uint32_t> TimeLine::PlaceOrDrop(int64_t inputUs) {
  // Not the nearest: at twice the rate every second frame would lie on the border, and rounding would pick
  // them at random.
  constexpr double kALittleEarly = 0.3;
  const int64_t place = PlaceOf(inputUs, kALittleEarly);
  if (place < m_nNext) return std::nullopt;
  m_nNext = static_cast<uint32_t>(place) + 1;
  return m_nNext - 1;
}

std::optional<int64_t> TimeLine::ToRecordingUs(int64_t inputUs) const {
  if (!m_llBeginUs) return std::nullopt;
  return inputUs - *m_llBeginUs;
}

// early: by how much of a place a frame may come before its own.
int64_t TimeLine::PlaceOf(int64_t inputUs, double early) {
  const bool isBroken =
      m_llBeginUs && (inputUs - m_llLastUs > m_llMostPauseUs || m_llLastUs - inputUs > kMostBackUs);
  if (!m_llBeginUs || isBroken) {
    m_llBeginUs = inputUs - static_cast<int64_t>(m_nNext) * kMicroseconds / m_nFramesPerSecond;
    m_llLastUs = inputUs;
  }
  m_llLastUs = std::max(m_llLastUs, inputUs);
  const double places = static_cast<double>(inputUs - *m_llBeginUs) * m_nFramesPerSecond / kMicroseconds;
  return static_cast<int64_t>(std::floor(places + early));
}
