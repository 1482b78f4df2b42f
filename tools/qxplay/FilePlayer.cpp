#include "tools/qxplay/FilePlayer.h"

#include <cerrno>
#include <cstring>
#include <fstream>

#include "include/qxsdkp.h"
#include "tools/qxplay/MediaFile.h"
#include "tools/qxplay/RecordingName.h"

FilePlayer::FilePlayer(const std::string& file, bool loop, Tile& tile, Console& console,
                       std::function<void()> wake)
    : m_strFile(file), m_bLoop(loop), m_Tile(tile), m_Console(console), m_Wake(std::move(wake)) {
  m_Tile.SetListener(this);
}

FilePlayer::~FilePlayer() {
  Stop();
  m_Tile.SetListener(nullptr);
}

void FilePlayer::Start() {
  constexpr double kUsualFramesPerSecond = 25;
  std::string ignored;  // opening it says why
  if (const auto file = MediaFile::Open(m_strFile, ignored)) {
    m_nWidth = file->Width();
    m_nHeight = file->Height();
    m_dFramesPerSecond = file->FramesPerSecond();
  }
  if (!Open()) return;
  m_Transport.emplace(static_cast<RecordedFile&>(*this), QXSP_GetTotalFrames(m_Tile.PlayerID()),
                      m_dFramesPerSecond > 0 ? m_dFramesPerSecond : kUsualFramesPerSecond, m_bLoop);
}

void FilePlayer::Stop() {
  QXSP_Stop(m_Tile.PlayerID());
}

bool FilePlayer::Open() {
  Stop();  // joins the play thread: nothing tells of the old file any more
  m_bFileEnded = false;
  m_LastPicture = {};
  m_Tile.OnOpening();
  {
    const MutexLock lock(m_Mutex);
    m_Position = {.interval = m_Position.interval};
  }
  if (QXSP_OpenFile(m_Tile.PlayerID(), m_strFile.c_str()) == 0) {
    errno = 0;
    const bool readable = std::ifstream(m_strFile).good();
    Fail(readable ? "the player library cannot play this file" : std::strerror(errno));
    return false;
  }
  m_Tile.OnOpened(m_nWidth, m_nHeight);
  return true;
}

std::optional<Source::Time> FilePlayer::Update(Time now) {
  if (!m_Transport) return std::nullopt;
  const bool fileEnded = m_bFileEnded;  // before the position: all pictures are counted by then
  m_bAwaited = true;                    // before the calls that this makes: the picture may come meanwhile
  const auto next = m_Transport->Update(Position(), fileEnded, now);
  m_bAwaited = m_Transport->IsSeeking() || m_Transport->Paused();
  if (m_Transport->Failed() && !m_bFailed) Fail("has no pictures");
  return next;
}

void FilePlayer::Do(const Command& command, Time now) {
  if (!m_Transport || m_bFailed) return;
  Update(now);
  m_bAwaited = true;
  m_Transport->Do(command, now);
  m_bAwaited = m_Transport->IsSeeking() || m_Transport->Paused();
}

std::optional<FileStatus> FilePlayer::Status() const {
  if (!m_Transport) return std::nullopt;
  const double secondsPerFrame = m_dFramesPerSecond > 0 ? 1 / m_dFramesPerSecond : 0;
  const uint32_t frame = Position().frame;
  return FileStatus{.positionSeconds = frame * secondsPerFrame,
                    .totalSeconds = m_Transport->TotalFrames() * secondsPerFrame,
                    .frame = frame,
                    .totalFrames = m_Transport->TotalFrames(),
                    .speed = m_Transport->Speed(),
                    .keyFramesOnly = m_Transport->KeyFramesOnly(),
                    .paused = m_Transport->Paused(),
                    .ended = m_Transport->Ended(),
                    .seeking = m_Transport->IsSeeking()};
}

const PixelView* FilePlayer::LeftBehind() {
  int32_t width = 0, height = 0;
  if (!HasEnded() || QXSP_GetBitmapSize(m_Tile.PlayerID(), &width, &height) == 0) return nullptr;
  if (m_LastPicture.top == nullptr && width > 0 && height > 0) {
    const size_t pixels = static_cast<size_t>(width) * static_cast<size_t>(height);
    m_LastPixels.resize(pixels);
    if (QXSP_GetBitmap(m_Tile.PlayerID(), m_LastPixels.data(), static_cast<uint32_t>(pixels * 4)) != 0) {
      m_LastPicture = ViewOfBitmap(m_LastPixels, width, height);
    }
  }
  return m_LastPicture.top != nullptr ? &m_LastPicture : nullptr;
}

void FilePlayer::Play() {
  QXSP_Play(m_Tile.PlayerID());
}

void FilePlayer::Pause() {
  QXSP_Pause(m_Tile.PlayerID());
}

void FilePlayer::StepForward() {
  QXSP_StepForward(m_Tile.PlayerID());
}

void FilePlayer::SetSpeed(int exponent, bool keyFramesOnly) {
  QXSP_SetPlaySpeed(m_Tile.PlayerID(), exponent, keyFramesOnly ? 1 : 0);
}

// MP4 looks for the key frame from the target back, the library's own format from the frame before it.
void FilePlayer::GoTo(uint32_t frame) {
  const uint32_t target = frame <= 1 ? QXSP_FIRST_KEYFRAME : frame + (IsOwnFormat(m_strFile) ? 1 : 0);
  QXSP_GotoKeyFrame(m_Tile.PlayerID(), target, 1);
}

uint32_t FilePlayer::ReadFrame() const {
  return QXSP_GetCurFrameNum(m_Tile.PlayerID());
}

// The frame that was read last is the one that is shown now; afterwards the library reads on.
void FilePlayer::OnNewPicture() {
  {
    const MutexLock lock(m_Mutex);
    const uint32_t before = m_Position.frame;
    uint32_t place = 0, keyFrame = 0;
    QXSP_GetKeyFramePos(m_Tile.PlayerID(), &place, &keyFrame);
    m_Position.frame = QXSP_GetCurFrameNum(m_Tile.PlayerID());
    const bool playedOn = m_Position.frame == before + 1;  // rather than jumped
    if (playedOn && keyFrame == m_Position.frame && m_Position.keyFrame != 0) {
      m_Position.interval = keyFrame - m_Position.keyFrame;
    }
    m_Position.keyFrame = keyFrame;
    ++m_Position.pictures;
  }
  if (m_bAwaited) m_Wake();
}

void FilePlayer::OnEndOfFile() {
  m_bFileEnded = true;
  m_Wake();
}

FilePosition FilePlayer::Position() const {
  const MutexLock lock(m_Mutex);
  return m_Position;
}

void FilePlayer::Fail(const std::string& text) {
  m_bFailed = true;
  m_Console.Complain(m_strFile + ": " + text);
}
