// The two threads of a player with an open source: one takes due frames and plays them, one keeps the sound
// device fed.
#pragma once

#include <atomic>
#include <cstdint>

#include "pacing/AudioPath.h"
#include "pacing/FileSource.h"
#include "pacing/FrameBufferPool.h"
#include "pacing/FrameControl.h"
#include "pacing/PlayerLabel.h"
#include "pacing/VideoPath.h"
#include "src/kitc/Thread.h"
#include "src/kitc/WakeUp.h"

// A thread sleeps until something can be due: hundreds of players share a machine, and most of what is asked
// every millisecond is answered with no. Start, Stop and ResetStatistics are the owner's, one at a time; the
// threads themselves never take a lock that the owner holds meanwhile.
class PlayThreads {
 public:
  // All borrowed; they outlive this object.
  // playWakeUp is what the pool and the clock wake the video play thread through.
  PlayThreads(const PlayerLabel& label, WakeUp& playWakeUp, FrameBufferPool& pool, FileSource& file,
              FrameControl& control, VideoPath& video, AudioPath& audio)
      : m_Label(label),
        m_PlayWakeUp(playWakeUp),
        m_Pool(pool),
        m_File(file),
        m_Control(control),
        m_Video(video),
        m_Audio(audio) {}
  PlayThreads(const PlayThreads&) = delete;
  PlayThreads& operator=(const PlayThreads&) = delete;

  enum class Source { kStream, kFile };  // frames come from the pool, or from the file
  // Starts both threads; false, with neither running, when one could not be started. At the end of a file the
  // video play thread tells the host and ends by itself; the audio thread runs on.
  bool Start(Source source);
  // Ends both and waits for them, without a time limit. Harmless when none runs.
  void Stop();
  // Clears the timing statistics and begins their period now. Only while no thread runs.
  void ResetStatistics();
  // Presents the last picture again at the next pass. Any thread.
  void RequestRefresh();
  // Of the video play thread, for log lines; 0 when it does not run.
  unsigned ThreadId() const { return m_PlayThread.Id(); }

 private:
  void VideoLoop();
  void AudioLoop();
  bool VideoPass();
  void Rest();
  uint32_t RestMs(double now, bool awaitsTimingLine);
  void PlayFrameFromPool();
  void LogTimings(double now);
  VideoTimings BeginTimingPeriod(double now);

  const PlayerLabel& m_Label;
  WakeUp& m_PlayWakeUp;
  FrameBufferPool& m_Pool;
  FileSource& m_File;
  FrameControl& m_Control;
  VideoPath& m_Video;
  AudioPath& m_Audio;

  // Shared without a lock; read once a pass.
  std::atomic<bool> m_bRunning{false};
  std::atomic<bool> m_bRefresh{false};

  Source m_Source = Source::kStream;  // written while no thread runs

  // Video play thread only, while it runs.
  uint32_t m_nFramesPlayed = 0;  // since the last timing line
  double m_dLastTimingLog = 0;   // ms of kitc_time_ms; or when that line would have been written

  // Owner only.
  Thread m_PlayThread;
  Thread m_AudioThread;
};
