#include "pacing/PlayThreads.h"

#include "api/Notification.h"
#include "src/kitc/Clock.h"
#include "src/kitc/Log.h"

namespace {

constexpr char kSource[] = "Player.cpp";
constexpr DWORD kPassMs = 1;
constexpr double kTimingPeriodMs = 1000;

}  // namespace

bool PlayThreads::Start(Source source) {
  m_Source = source;
  m_bRunning = true;
  const bool started =
      m_PlayThread.Run([](void* self) { static_cast<PlayThreads*>(self)->VideoLoop(); }, this) &&
      m_AudioThread.Run([](void* self) { static_cast<PlayThreads*>(self)->AudioLoop(); }, this);
  if (!started) Stop();
  return started;
}

void PlayThreads::Stop() {
  m_bRunning = false;
  m_File.Interrupt();
  m_Audio.NoteChange();
  m_PlayThread.Wait();
  m_PlayThread.Close();
  m_AudioThread.Wait();
  m_AudioThread.Close();
}

void PlayThreads::ResetStatistics() {
  (void)m_Video.TakeTimings();
  m_nFramesPlayed = 0;
  m_dLastTimingLog = kitc_time_ms();
}

void PlayThreads::VideoLoop() {
  m_bRefresh = false;
  bool ended = false;
  while (m_bRunning && !ended) {
    try {
      ended = !VideoPass();
    } catch (...) {
      // Out of memory for a moment: the frame is still there, the next pass tries again.
    }
    if (!ended) Sleep(kPassMs);
  }
  m_Audio.StopSound();
  // Stopping interrupts the file, which then looks as if it had ended.
  if (ended && m_bRunning) notification::RaiseEvent(m_Label.PlayerID(), kEventEndOfFile);
}

void PlayThreads::AudioLoop() {
  while (true) {
    const uint32_t seen = m_Audio.Changes();
    if (!m_bRunning) break;
    // Most cameras are watched in silence: a thread with nothing to feed must not wake a thousand times a
    // second.
    if (m_Audio.Monitor()) {
      Sleep(kPassMs);
    } else {
      m_Audio.WaitForChange(seen);
    }
  }
}

// False when the source has ended.
bool PlayThreads::VideoPass() {
  const double now = kitc_time_ms();
  if (now - m_dLastTimingLog > kTimingPeriodMs) LogTimings(now);
  if (m_bRefresh.exchange(false)) m_Video.PlayVideoFrame(nullptr);
  if (m_Source == Source::kFile) return m_File.PlayFrameFromFile();
  PlayFrameFromPool();
  return true;
}

void PlayThreads::PlayFrameFromPool() {
  FrameRecord frame;
  if (!m_Pool.GetFrontFrame(frame)) return;
  const bool isVideo = frame.ftFrameType == QFT_Video;
  if (!m_Control.IsTimeToPlay(frame.llTimeStamp, isVideo, m_Pool.GetBufferedTime(), m_Pool.IsOverFilled()))
    return;
  if (isVideo) {
    ++m_nFramesPlayed;
    m_Video.PlayVideoFrame(&frame);
  } else {
    m_Audio.PlayAudioFrame(frame);
  }
  m_Pool.PopFrontFrame(frame.ftFrameType);
}

void PlayThreads::LogTimings(double now) {
  const VideoTimings sums = m_Video.TakeTimings();
  kitc_log(kLogDebug, kSource, __LINE__,
           "decodeid:%d dPeriod:%.1fms leftFramVideoeCnt:%d playframerate:%d total:%.1fms viewlock:%.1fms "
           "view:%.1fms "
           "waitgloballock:%.1fms decode:%.1fms ddsoffscreen:%.1fms ddsbackCallback:%.1fms ddsback:%.1fms "
           "ddsprimary:%.1fms,name:%s\n",
           m_Label.PlayerID(), now - m_dLastTimingLog, m_Pool.GetVideoFrameCount(), m_nFramesPlayed,
           sums.viewlock + sums.decode, sums.viewlock, sums.view, sums.show.waitgloballock, sums.decode,
           sums.show.ddsoffscreen, sums.show.ddsbackCallback, sums.show.ddsback, sums.show.ddsprimary,
           m_Label.Name().c_str());
  m_dLastTimingLog = now;
  m_nFramesPlayed = 0;
}
