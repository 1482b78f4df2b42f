#include "tools/qxrec/SoundTrack.h"

#include <algorithm>
#include <cstddef>

#include "file/SvxFormat.h"

namespace {

constexpr int64_t kSamplesPerSecond = svx::kAudioSampleRate;
constexpr uint8_t kSilence = 0x80;  // the middle of unsigned 8-bit samples
// Times that are off by less follow the sound before: they jitter, and mending every bit of it would be
// heard, the offset not.
constexpr int64_t kTolerance = kSamplesPerSecond / 10;
// Sound further away than this has another time line than the pictures.
constexpr int64_t kMostGap = 600 * kSamplesPerSecond;
constexpr int64_t kMostOverlap = 10 * kSamplesPerSecond;

}  // namespace

void SoundTrack::Add(std::optional<int64_t> recordingUs, std::span<const uint8_t> samples) {
  if (recordingUs) {
    const int64_t place = *recordingUs / 1000 * kSamplesPerSecond / 1000;
    const int64_t gap = place - End();
    const bool isFirst = End() == 0;
    const bool isBeforeRecording = place < 0;
    const bool follows = !isFirst && !isBeforeRecording &&
                         (std::abs(gap) <= kTolerance || gap > kMostGap || -gap > kMostOverlap);
    if (!follows && gap > 0 && gap <= kMostGap) FillTo(place);
    if (!follows && gap < 0)
      samples = samples.subspan(std::min<size_t>(samples.size(), static_cast<size_t>(-gap)));
  }
  m_Samples.insert(m_Samples.end(), samples.begin(), samples.end());
}

void SoundTrack::FillTo(int64_t sample) {
  if (sample > End()) m_Samples.resize(m_nTaken + static_cast<size_t>(sample - m_llBegin), kSilence);
}

SoundTrack::Block SoundTrack::Take() {
  Block block;
  block.fill(kSilence);
  const size_t count = std::min(kBlockSamples, m_Samples.size() - m_nTaken);
  std::copy_n(m_Samples.begin() + static_cast<ptrdiff_t>(m_nTaken), count, block.begin());
  m_nTaken += count;
  m_llBegin += kBlockSamples;
  // Moving the rest to the front now and then, not at every block.
  if (m_nTaken > m_Samples.size() / 2) {
    m_Samples.erase(m_Samples.begin(), m_Samples.begin() + static_cast<ptrdiff_t>(m_nTaken));
    m_nTaken = 0;
  }
  return block;
}
