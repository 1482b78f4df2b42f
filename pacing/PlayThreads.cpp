#include "pacing/PlayThreads.h"

#include <algorithm>

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
  m_PlayWakeUp.Set();
  m_Audio.Wake();
  m_PlayThread.Wait();
  m_PlayThread.Close();
  m_AudioThread.Wait();
  m_AudioThread.Close();
}

void PlayThreads::ResetStatistics() {
  (void)BeginTimingPeriod(kitc_time_ms());
}

void PlayThreads::RequestRefresh() {
  m_bRefresh = true;
  m_PlayWakeUp.Set();
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
    if (!ended) Rest();
  }
  m_Audio.StopSound();
  // Stopping interrupts the file, which then looks as if it had ended.
  if (ended && m_bRunning) notification::RaiseEvent(m_Label.PlayerID(), kEventEndOfFile);
}

void PlayThreads::AudioLoop() {
  while (m_bRunning)
    m_Audio.Rest(m_Audio.Monitor());
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

// Between two passes: at least a millisecond, so that no backlog takes the processor from the other players.
void PlayThreads::Rest() {
  const double passed = kitc_time_ms();
  const bool awaitsTimingLine = kitc_log_enabled(kLogDebug);
  m_PlayWakeUp.Wait(RestMs(passed, awaitsTimingLine));
  const double rested = kitc_time_ms();
  if (!awaitsTimingLine && rested - m_dLastTimingLog > kTimingPeriodMs) (void)BeginTimingPeriod(rested);
  if (m_bRunning && rested - passed < kPassMs) Sleep(kPassMs);
}

// How long a pass would find nothing to do. Whoever changes that meanwhile wakes the thread.
uint32_t PlayThreads::RestMs(double now, bool awaitsTimingLine) {
  uint32_t rest = INFINITE;
  FrameRecord front;
  if (m_Source == Source::kFile) {
    rest = m_File.RestMs();
  } else if (m_Pool.GetFrontFrame(front)) {
    rest = m_Control.DueInMs(front.llTimeStamp, front.ftFrameType == QFT_Video);
  }
  if (!awaitsTimingLine) return std::max<uint32_t>(rest, kPassMs);
  // The line is due when more than its period has passed.
  const double untilLog = std::clamp(m_dLastTimingLog + kTimingPeriodMs - now, 0.0, kTimingPeriodMs);
  return std::clamp<uint32_t>(rest, kPassMs, static_cast<uint32_t>(untilLog) + 1);
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
  const double period = now - m_dLastTimingLog;
  const uint32_t framesPlayed = m_nFramesPlayed;
  const VideoTimings sums = BeginTimingPeriod(now);
  kitc_log(kLogDebug, kSource, __LINE__,
           "decodeid:%d dPeriod:%.1fms leftFramVideoeCnt:%d playframerate:%d total:%.1fms viewlock:%.1fms "
           "view:%.1fms "
           "waitgloballock:%.1fms decode:%.1fms ddsoffscreen:%.1fms ddsbackCallback:%.1fms ddsback:%.1fms "
           "ddsprimary:%.1fms,name:%s\n",
           m_Label.PlayerID(), period, m_Pool.GetVideoFrameCount(), framesPlayed, sums.viewlock + sums.decode,
           sums.viewlock, sums.view, sums.show.waitgloballock, sums.decode, sums.show.ddsoffscreen,
           sums.show.ddsbackCallback, sums.show.ddsback, sums.show.ddsprimary, m_Label.Name().c_str());
}

// Returns the sums of the one that ends.
VideoTimings PlayThreads::BeginTimingPeriod(double now) {
  m_nFramesPlayed = 0;
  m_dLastTimingLog = now;
  return m_Video.TakeTimings();
}
