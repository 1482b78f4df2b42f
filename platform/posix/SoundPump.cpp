// Moves the sound of a loop to a PCM device.
#include "platform/posix/SoundPump.h"

#include <algorithm>
#include <utility>

namespace platform {
namespace {

constexpr uint32_t kLongestRestMs = 15;
constexpr int64_t kReopenTicks = kSoundTicksPerSecond;
// A device that takes nothing for so long is broken: it would hold back the cursor, and the feeder, for ever.
constexpr int64_t kLongestStallTicks = kSoundTicksPerSecond;
// How much faster than our clock a device's own may run: 1/256, some ten times the tolerance of the quartzes
// that sound cards use.
constexpr uint64_t kClockTolerance = 256;
// The part of a second by which the play cursor may lag behind what was read: 10 ms, half of what the audio
// viewer keeps queued at least.
constexpr uint32_t kCursorLag = 100;

}  // namespace

void SoundPump::Begin(uint32_t position) {
  const int64_t now = SoundTicks();
  m_llNextOpen = now;
  m_llPaceStart = now;
  m_nPaced = 0;
  MutexLock lock(m_Mutex);
  m_nTaken = position / m_Loop.Format().FrameBytes();
  m_nHeard = m_nTaken;
  m_nUnheard = 0;
}

void SoundPump::Pass() {
  int64_t now = SoundTicks();
  if (m_pPcm == nullptr && now >= m_llNextOpen && Open(now)) now = m_llPaceStart;
  if (m_pPcm == nullptr) {
    ConsumeInSilence(now);
  } else if (!Refill(now)) {
    Lose(now);
  }
}

uint32_t SoundPump::RestMs() const {
  if (m_pPcm == nullptr) return kLongestRestMs;
  const uint64_t aheadMs = m_pPcm->AheadFrames() * uint64_t{1000} / m_Loop.Format().samplesPerSec;
  return static_cast<uint32_t>(std::clamp<uint64_t>(aheadMs / 4, 1, kLongestRestMs));
}

bool SoundPump::Open(int64_t now) {
  m_llNextOpen = now + kReopenTicks;
  m_pPcm = m_Opener.Open(m_Loop.Format());
  if (m_pPcm == nullptr) return false;
  m_llPaceStart = SoundTicks();
  m_llLastTaken = m_llPaceStart;
  m_nPaced = 0;
  return true;
}

void SoundPump::ConsumeInSilence(int64_t now) {
  const uint64_t due = FramesIn(now - m_llPaceStart, m_Loop.Format().samplesPerSec);
  const uint64_t frames = due > m_nPaced ? due - m_nPaced : 0;
  m_nPaced += frames;
  MutexLock lock(m_Mutex);
  m_nTaken += frames;
  m_nHeard = m_nTaken;
  m_nUnheard = 0;
}

// False when the device is gone, or as good as gone.
bool SoundPump::Refill(int64_t now) {
  uint32_t room = 0;
  uint32_t unheard = 0;
  if (!m_pPcm->Query(room, unheard)) return false;
  // Some PCMs (ALSA's null and file ones) swallow whatever they are given at once: without a limit the cursor
  // would race round the loop.
  const uint64_t due = FramesIn(now - m_llPaceStart, m_Loop.Format().samplesPerSec);
  const uint64_t limit = due + due / kClockTolerance + m_pPcm->AheadFrames();
  const uint64_t wanted = limit > m_nPaced ? limit - m_nPaced : 0;
  room = static_cast<uint32_t>(std::min<uint64_t>(room, wanted));

  uint64_t first = 0;
  {
    MutexLock lock(m_Mutex);
    first = m_nTaken;
  }
  uint8_t sound[4096];
  const uint32_t chunk = sizeof(sound) / m_Loop.Format().FrameBytes();
  uint32_t written = 0;
  bool present = true;
  while (written < room) {
    const uint32_t frames = std::min(room - written, chunk);
    m_Loop.Read(first + written, sound, frames);
    const int32_t taken = m_pPcm->Write(sound, frames);
    present = taken >= 0;
    if (taken > 0) written += static_cast<uint32_t>(taken);
    if (taken < static_cast<int32_t>(frames)) break;
  }
  m_nPaced += written;
  if (written > 0 || wanted == 0) m_llLastTaken = now;
  if (now - m_llLastTaken >= kLongestStallTicks) present = false;

  MutexLock lock(m_Mutex);
  m_nTaken += written;
  // What the device holds cannot be changed any more. If the play cursor lagged behind all of it, writers who
  // trust that cursor would write where the loop has been read already, and old sound would be heard instead.
  m_nUnheard = std::min({unheard + written, m_Loop.Format().samplesPerSec / kCursorLag, m_Loop.Frames() / 2});
  m_llUnheardTime = now;
  return present;
}

void SoundPump::Lose(int64_t now) {
  m_pPcm.reset();
  m_llNextOpen = now + kReopenTicks;
  m_llPaceStart = now;
  m_nPaced = 0;
  MutexLock lock(m_Mutex);
  m_bLost = true;
  m_nUnheard = 0;
}

uint64_t SoundPump::HeardFrames(int64_t now) {
  const uint64_t since = FramesIn(now - m_llUnheardTime, m_Loop.Format().samplesPerSec);
  const uint64_t unheard = m_nUnheard > since ? m_nUnheard - since : 0;
  m_nHeard = std::max(m_nHeard, m_nTaken - std::min(m_nTaken, unheard));
  return m_nHeard;
}

SoundOutput::Cursors SoundPump::Position() {
  const int64_t now = SoundTicks();
  const uint32_t frameBytes = m_Loop.Format().FrameBytes();
  MutexLock lock(m_Mutex);
  return {static_cast<uint32_t>(HeardFrames(now) % m_Loop.Frames()) * frameBytes,
          static_cast<uint32_t>(m_nTaken % m_Loop.Frames()) * frameBytes};
}

void SoundPump::Seek(uint32_t position) {
  const int64_t now = SoundTicks();
  const uint32_t target = position / m_Loop.Format().FrameBytes();
  MutexLock lock(m_Mutex);
  // The device goes on with what it has and continues as far ahead of the new position as it was ahead of the
  // old one: a jump without a gap.
  const auto heard = static_cast<uint32_t>(HeardFrames(now) % m_Loop.Frames());
  const uint32_t jump = (target + (m_Loop.Frames() - heard)) % m_Loop.Frames();
  m_nTaken += jump;
  m_nHeard += jump;
}

bool SoundPump::TakeLoss() {
  MutexLock lock(m_Mutex);
  return std::exchange(m_bLost, false);
}

}  // namespace platform
