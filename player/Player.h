// One playback channel: its source, its frames, its pictures and its sound.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "pacing/AudioPath.h"
#include "pacing/FileSource.h"
#include "pacing/FrameBufferPool.h"
#include "pacing/FrameControl.h"
#include "pacing/FrameTimeStamp.h"
#include "pacing/PlayThreads.h"
#include "pacing/PlayerLabel.h"
#include "pacing/VideoPath.h"
#include "player/StreamHeader.h"
#include "src/kitc/Lock.h"
#include "src/kitc/ThrowingAllocator.h"
#include "video/OsdStatistics.h"

// The host-visible results of frame input; the pool's codes 0, 3, 4 and 5 (PushResult) pass through
// unchanged.
enum InputResult : int32_t {
  kInputQueued = kPushQueued,
  kInputIllegalFrame = 1,
  kInputWaitsForFirstKeyFrame = 2,
};

// Lives as long as the library; what changes is its source, of which it has at most one. Every member may be
// called from any host thread. m_PlayerLock is held while a source is opened or closed and for each frame
// pushed. Opening, closing and Reset wait for the play threads while holding it, so those never take it, and
// callbacks on them must not call what takes it.
class Player {
 public:
  Player();
  ~Player();
  Player(const Player&) = delete;
  Player& operator=(const Player&) = delete;

  // Written by start-up, while no source is open.
  void SetPlayerID(uint32_t nPlayerID);
  // Closes the source and puts name, user data, statistics, frame rate and frame control back to their
  // initial values.
  void Reset() EXCLUDES(m_PlayerLock);

  // Closes whatever is open, then opens a live stream. False, with nothing open, for a header that cannot be
  // played or a device that refuses.
  bool CreateStream(const void* header, uint32_t sizeBytes) EXCLUDES(m_PlayerLock);
  void ReleaseStream() EXCLUDES(m_PlayerLock);
  // Copies 96 or 32 bytes of the header given last; false for a null buffer or fewer than 32 bytes.
  bool GetHeaderData(void* buffer, uint32_t sizeBytes) EXCLUDES(m_HeaderLock);
  // Queues one frame. A negative timestamp (ms) means none. Returns an InputResult or a PushResult.
  int32_t WriteFrame(const uint8_t* data, uint32_t size, int64_t timestamp) EXCLUDES(m_PlayerLock);
  // Closes whatever is open, then opens a recorded file and plays it. False, with nothing open, for a file
  // that cannot be read or decoded, or a device that refuses.
  bool OpenFile(const char* fileName) EXCLUDES(m_PlayerLock);
  // Null when no file is open. Its any-thread members answer for the file.
  std::shared_ptr<MediaFileStream> File() { return m_File.Reader(); }
  // Goes on from the key frame for frame number `target` (kFirstKeyFrame; 0: nowhere) and drops queued sound.
  // False when no file is open.
  bool GotoKeyFrame(uint32_t target, bool pause);

  // The last video decode succeeded.
  bool HasImage() const { return m_Video.HasImage(); }

  void Play() { m_FrameControl.SetPause(false); }
  void Pause();
  // Ends playback and releases the source's decoders, surfaces and sound. Always true.
  bool Stop() EXCLUDES(m_PlayerLock);
  // 2^exponent times as fast; also ends a pause.
  bool SetPlaySpeed(int32_t exponent, bool keyFramesOnly);
  // Pauses and lets one more video frame through.
  void StepForward();
  bool SetFrameControlMode(uint32_t mode) { return m_FrameControl.SetFrameControlMode(mode); }

  // Shows what CollectStatistics counts in place of the host's texts, which are removed either way.
  void EnableDebugOSD(bool enable) EXCLUDES(m_StatisticsLock);

  // Windows, zoom, texts, snapshots.
  VideoPath& Video() { return m_Video; }
  void RefreshWindow() { m_PlayThreads.RequestRefresh(); }
  bool SetAudioPreview(HWND window, bool enable) { return m_Audio.SetPreview(window, enable); }

  // The timing line of a player that rests is due again when the log begins to take it.
  void LogConfigured() { m_PlayWakeUp.Set(); }

  void SetName(String name) { m_Label.SetName(std::move(name)); }
  void SetUserData(uint32_t value) { m_dwUserData = value; }
  uint32_t GetUserData() const { return m_dwUserData; }

 private:
  bool ReadHeader(const void* header, uint32_t sizeBytes, StreamFormat& format) EXCLUDES(m_HeaderLock);
  bool OpenStream(const void* header, uint32_t sizeBytes) REQUIRES(m_PlayerLock);
  bool OpenFileSource(const char* fileName) REQUIRES(m_PlayerLock);
  void CloseStream() REQUIRES(m_PlayerLock);
  void CloseSource() REQUIRES(m_PlayerLock);
  bool OpenVideoDecoder(const StreamFormat& format) REQUIRES(m_PlayerLock);
  bool OpenAudio(const StreamFormat& format, uint32_t pcmFrameCapacity) REQUIRES(m_PlayerLock);
  void DropDecoders() REQUIRES(m_PlayerLock);
  void SetAVOffset(int32_t milliseconds) REQUIRES(m_PlayerLock);
  void LogOpened() EXCLUDES(m_HeaderLock);
  void CollectStatistics(bool isVideo, bool isKeyFrame, uint32_t bytes) EXCLUDES(m_StatisticsLock);
  void ShowStatistics() REQUIRES(m_StatisticsLock);

  // Safe from any thread by themselves.
  PlayerLabel m_Label;
  WakeUp m_PlayWakeUp;  // the video play thread rests on it
  FrameBufferPool m_FrameBufferPool{m_PlayWakeUp};
  FrameControl m_FrameControl{m_Label, m_PlayWakeUp};
  VideoPath m_Video{m_Label};
  AudioPath m_Audio{m_Label};
  FileSource m_File{m_FrameControl, m_Video, m_Audio};
  std::atomic<uint32_t> m_dwUserData{0};

  Lock m_PlayerLock;
  bool m_bStream GUARDED_BY(m_PlayerLock) = false;  // the current or last source is a live stream
  bool m_bWaitFirstKeyFrame GUARDED_BY(m_PlayerLock) = true;
  FrameTimeStamp m_TimeStampGen GUARDED_BY(m_PlayerLock);
  // Started and stopped under m_PlayerLock.
  PlayThreads m_PlayThreads{m_Label, m_PlayWakeUp, m_FrameBufferPool, m_File, m_FrameControl,
                            m_Video, m_Audio};

  // A leaf, so that callbacks may ask for the header. The headers outlive their source.
  Lock m_HeaderLock ACQUIRED_AFTER(m_PlayerLock);
  bool m_bExtHeader GUARDED_BY(m_HeaderLock) = false;
  ShortHeader m_ShortHeader GUARDED_BY(m_HeaderLock) = {};
  FileHeader m_FileHeader GUARDED_BY(m_HeaderLock) = {};

  // The statistics overlay. The picture's and the overlay's locks are taken under its lock, so that no report
  // comes after it was switched off.
  Lock m_StatisticsLock ACQUIRED_AFTER(m_PlayerLock) ACQUIRED_BEFORE(m_HeaderLock);
  std::atomic<bool> m_bDebugOSD{false};  // written under m_StatisticsLock
  OsdStatistics m_Statistics GUARDED_BY(m_StatisticsLock);
};
