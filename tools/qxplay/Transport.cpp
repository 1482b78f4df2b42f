#include "tools/qxplay/Transport.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace {

// Between the key frames of a camera that has not shown two of them yet.
constexpr uint32_t kUsualSeconds = 2;

}  // namespace

Transport::Transport(RecordedFile& file, uint32_t totalFrames, double framesPerSecond, bool loop)
    : m_File(file),
      m_nTotalFrames(totalFrames),
      m_nLastFrame(totalFrames != 0 ? std::max(totalFrames, 2u) - 1 : std::numeric_limits<int32_t>::max()),
      m_nFramesPerSecond(static_cast<uint32_t>(std::clamp(std::round(framesPerSecond), 1.0, 1000.0))),
      m_bLoop(loop) {}

void Transport::Do(const Command& command, Time now) {
  using Kind = Command::Kind;
  if (m_bFailed) return;
  if (m_bSeeking && IsJump(command)) {
    m_Next = command;
    return;
  }
  switch (command.kind) {
    case Kind::kPause:
      m_bPaused = !m_bPaused && !m_bEnded;
      if (m_bEnded) {
        m_nTarget = 1;
        return OpenAgain(now);
      }
      if (m_bSeeking) return;  // paused anyway, and goes on as the user wants when it has arrived
      return m_bPaused ? m_File.Pause() : Resume();
    case Kind::kStep:
      if (m_bEnded) return;
      m_bPaused = true;
      if (!m_bSeeking) m_File.StepForward();
      return;
    case Kind::kSlower:
      return SetSpeed(std::max(m_nSpeed - 1, kSlowest), m_bKeyFramesOnly);
    case Kind::kFaster:
      return SetSpeed(std::min(m_nSpeed + 1, kFastest), m_bKeyFramesOnly);
    case Kind::kKeyFramesOnly:
      return SetSpeed(m_nSpeed, !m_bKeyFramesOnly);
    case Kind::kBack:
      return Back(now);
    case Kind::kOn:
      return On(now);
    case Kind::kTenth:
      return SeekTo(
          1 + static_cast<uint32_t>(uint64_t{m_nTotalFrames} * static_cast<uint32_t>(command.tenth) / 10),
          now);
    default:
      return;
  }
}

bool Transport::IsJump(const Command& command) const {
  return command.kind == Command::Kind::kBack || command.kind == Command::Kind::kOn ||
         command.kind == Command::Kind::kTenth;
}

std::optional<Transport::Time> Transport::Update(const FilePosition& position, bool fileEnded, Time now) {
  const bool newPicture = position.pictures != m_Position.pictures;
  m_Position = position;
  if (m_bEnded) return std::nullopt;
  if (fileEnded) {
    m_bSeeking = m_bOpening = false;
    m_bEnded = true;
    m_Next.reset();
    m_bFailed = m_Position.pictures == 0;  // and does not go for ever from one end to the next
    if (!m_bLoop || m_bFailed) return std::nullopt;
    m_nTarget = 1;
    OpenAgain(now);
  } else if (m_bSeeking && newPicture && !IsStale()) {
    Arrive(now);
  } else if (m_bSeeking && (newPicture || now >= m_Deadline)) {
    m_bMayBeStale &= !newPicture;  // only one frame can have been read before
    m_File.StepForward();
    m_Deadline = now + kPatience;
  }
  return m_bSeeking ? std::optional(m_Deadline) : std::nullopt;
}

void Transport::SetSpeed(int exponent, bool keyFramesOnly) {
  m_nSpeed = exponent;
  m_bKeyFramesOnly = keyFramesOnly;
  m_bSpeedChanged = true;
  if (!m_bPaused && !m_bSeeking && !m_bEnded) Resume();
}

void Transport::Resume() {
  if (m_bSpeedChanged) {
    m_File.SetSpeed(m_nSpeed, m_bKeyFramesOnly);
  } else {
    m_File.Play();
  }
  m_bSpeedChanged = false;
}

// To the begin of what plays, or to the key frame before when that has only just begun: one press after the
// other leads further back.
void Transport::Back(Time now) {
  const uint32_t key = m_Position.keyFrame;
  const uint32_t oneSecond = m_nFramesPerSecond << std::max(m_nSpeed, 0);  // of the user's time
  const bool justBegun = m_Position.frame - std::min(m_Position.frame, key) <= oneSecond;
  SeekTo(justBegun ? std::max(key, 2u) - 1 : key, now);
}

// The library cannot be asked for the next key frame: it is looked for at the distance of the last ones, and
// at twice as much when that leads no further than where it began.
void Transport::On(Time now) {
  if (m_bEnded) return;
  m_nReach = m_Position.interval != 0 ? m_Position.interval : kUsualSeconds * m_nFramesPerSecond;
  const uint64_t afterKey = uint64_t{m_Position.keyFrame} + m_nReach;
  const uint64_t expected = afterKey > m_Position.frame ? afterKey : uint64_t{m_Position.frame} + m_nReach;
  if (expected > m_nLastFrame) return;  // none is left, and the jump would lead back
  m_nBeyond = m_Position.keyFrame;
  m_nFrom = m_Position.frame;
  SeekTo(m_nFrom + m_nReach, now);
}

void Transport::SeekTo(uint32_t frame, Time now) {
  m_nTarget = std::clamp(frame, 1u, m_nLastFrame);
  if (m_bEnded) return OpenAgain(now);
  Jump(now);
}

// After the end the library has to open the file again: then m_nTarget is where to go. When that is the start
// and the user does not pause it simply plays.
void Transport::OpenAgain(Time now) {
  m_Position = {.interval = m_Position.interval};
  m_bEnded = m_bFailed = !m_File.Open();
  if (m_bFailed) return;
  m_bSpeedChanged = m_nSpeed != 0 || m_bKeyFramesOnly;
  m_bSeeking = m_bOpening = m_bPaused || m_nTarget > 1;
  if (m_bSeeking) {
    m_File.StepForward();
    m_Deadline = now + kPatience;
  } else if (m_bSpeedChanged) {
    Resume();
  }
}

void Transport::Jump(Time now) {
  m_bSeeking = true;
  m_bMayBeStale = true;
  m_nShownBefore = m_Position.frame;
  m_nReadBefore = m_File.ReadFrame();
  m_File.GoTo(m_nTarget);
  m_Deadline = now + kPatience;
}

// Whether the picture is that of a frame that was read before the jump, or while it was asked for.
bool Transport::IsStale() const {
  const uint32_t frame = m_Position.frame;
  if (m_bOpening || !m_bMayBeStale || frame == m_nShownBefore) return false;
  return frame == m_nReadBefore || (frame == m_nReadBefore + 1 && frame != m_Position.keyFrame);
}

void Transport::Arrive(Time now) {
  if (m_bOpening) {
    m_bOpening = false;
    if (m_nTarget > m_Position.frame) return Jump(now);
  } else if (m_nBeyond != 0 && m_Position.keyFrame <= m_nBeyond && m_nTarget < m_nLastFrame) {
    m_nReach = std::min(m_nReach, m_nLastFrame / 2) * 2;
    m_nTarget = std::min(m_nFrom + m_nReach, m_nLastFrame);
    return Jump(now);
  }
  m_bSeeking = false;
  m_nBeyond = 0;
  if (m_Next) Do(*std::exchange(m_Next, std::nullopt), now);
  if (!m_bSeeking && !m_bPaused) Resume();
}
