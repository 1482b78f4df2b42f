#include "tools/qxrec/Recording.h"

#include <algorithm>
#include <utility>

namespace {

// Containers put sound and video of one time no further apart than this, in time or in memory.
constexpr uint32_t kMostWaitSeconds = 5;
constexpr size_t kMostWaitBytes = 64 * 1024 * 1024;
// An encoder may keep its first frame back for some seconds.
constexpr size_t kMostEarlySounds = 4096;
// A player writes a sound record to its device when it meets it, and is heard 200 ms later: so much must be
// gathered before sound begins.
constexpr int64_t kLeadSamples = svx::kAudioSampleRate / 5;
// Sound that lasts longer than the pictures by less than this is the container's rounding.
constexpr int64_t kNegligibleSamples = svx::kAudioSampleRate / 2;

}  // namespace

bool Recording::AddVideo(VideoUnit unit) {
  if (m_llMostPlaces > 0 && unit.nPlace >= m_llMostPlaces) {
    m_bFull = true;
    return true;
  }
  PlaceEarlySound();
  m_nEndPlace = unit.nPlace + 1;
  ++m_llFrames;
  m_nWaitingBytes += unit.bytes.size();
  m_Waiting.push_back(std::move(unit));
  return WriteReady(false);
}

bool Recording::AddSound(std::optional<int64_t> inputUs, std::span<const uint8_t> samples) {
  if (!m_bWithSound) return true;
  if (m_nEndPlace == 0) {
    if (m_EarlySound.size() == kMostEarlySounds) m_EarlySound.erase(m_EarlySound.begin());
    m_EarlySound.push_back({inputUs, {samples.begin(), samples.end()}});
    return true;
  }
  m_Sound.Add(inputUs ? m_TimeLine.ToRecordingUs(*inputUs) : std::nullopt, samples);
  return WriteReady(false);
}

void Recording::PlaceEarlySound() {
  for (const EarlySound& sound : std::exchange(m_EarlySound, {})) {
    m_Sound.Add(sound.inputUs ? m_TimeLine.ToRecordingUs(*sound.inputUs) : std::nullopt, sound.samples);
  }
}

bool Recording::Flush() {
  if (!WriteReady(true)) return false;
  if (!m_bWithSound || m_nEndPlace == 0) return true;
  bool isThere = true;
  return KeepPictureForSound() && WriteSoundBefore(m_nEndPlace, true, isThere);
}

// The last picture stays for as long as there is sound.
bool Recording::KeepPictureForSound() {
  if (m_Sound.End() - SampleOf(m_nEndPlace) <= kNegligibleSamples) return true;
  while (m_Sound.End() > SampleOf(m_nEndPlace) && (m_llMostPlaces == 0 || m_nEndPlace < m_llMostPlaces)) {
    bool isThere = true;
    if (!WriteSoundBefore(m_nEndPlace, true, isThere) || !m_Writer.WriteEmpty()) return false;
    ++m_nEndPlace;
  }
  return true;
}

// all: do not wait for sound.
bool Recording::WriteReady(bool all) {
  while (!m_Waiting.empty()) {
    const VideoUnit& unit = m_Waiting.front();
    while (m_Writer.VideoRecords() <= unit.nPlace) {
      bool isThere = true;
      if (!WriteSoundBefore(m_Writer.VideoRecords(), all || MustNotWait(), isThere)) return false;
      if (!isThere) return true;
      const bool fills = m_Writer.VideoRecords() < unit.nPlace;
      if (!(fills ? m_Writer.WriteEmpty() : m_Writer.WriteVideo(unit.bKey, unit.bytes))) return false;
    }
    m_nWaitingBytes -= unit.bytes.size();
    m_Waiting.pop_front();
  }
  return true;
}

// The blocks that are to be written before the frame of a place. all: those there are, and silence for what
// of its time is missing. isThere: they are written.
bool Recording::WriteSoundBefore(uint32_t place, bool all, bool& isThere) {
  if (place == 0) return true;  // players begin at the first key frame
  int64_t end = SampleOf(place) + kLeadSamples;
  if (m_llMostPlaces > 0) end = std::min(end, SampleOf(m_llMostPlaces));
  while (m_bWithSound && m_Sound.Begin() < end) {
    if (!m_Sound.HasBlock()) {
      isThere = all;
      if (!all || m_Sound.Begin() >= SampleOf(place)) return true;
    }
    if (!m_Writer.WriteSound(m_Sound.Take())) return false;
  }
  return true;
}

bool Recording::MustNotWait() const {
  const uint32_t places = m_Waiting.back().nPlace - m_Waiting.front().nPlace;
  return places > kMostWaitSeconds * m_TimeLine.FramesPerSecond() || m_nWaitingBytes > kMostWaitBytes;
}

int64_t Recording::SampleOf(uint64_t place) const {
  return static_cast<int64_t>(place * svx::kAudioSampleRate / m_TimeLine.FramesPerSecond());
}
