// The queue between the host, which pushes the compressed frames of a live stream, and the play thread, which
// takes them out in timestamp order.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>

#include "player/FrameRecord.h"
#include "src/kit_mem/kit_mem.h"
#include "src/kitc/Lock.h"
#include "src/kitc/ThrowingAllocator.h"
#include "src/kitc/WakeUp.h"

// What a push answers; the host gets the number unchanged.
enum PushResult : int32_t {
  kPushQueued = 0,
  kPushWaitsForKeyFrame = 3,
  kPushQueueFull = 4,
  kPushNoMemory = 5,
};

// Every operation holds m_lock for all of its work; under it only the allocator's and the log's locks are
// taken.
class FrameBufferPool {
 public:
  // Borrowed; outlives this object. The video play thread rests on it, and is woken by a frame that has none
  // of its kind before it.
  explicit FrameBufferPool(WakeUp& playWakeUp);
  FrameBufferPool(const FrameBufferPool&) = delete;
  FrameBufferPool& operator=(const FrameBufferPool&) = delete;

  // Takes up to 200 video frames from now on, from the next key frame.
  void ResetForLive() EXCLUDES(m_lock);
  // Takes nothing from now on, and drops what is queued.
  void CloseAndClear() EXCLUDES(m_lock);
  // Drops what is queued and waits for a key frame. Only while no play thread runs: it uses the front's
  // bytes.
  void ClearFrames() EXCLUDES(m_lock);

  // Queues a copy of the frame. nPlayerID is for log lines. May throw std::bad_alloc when the queue itself
  // cannot grow; nothing is queued then.
  PushResult PushBackFrame(uint32_t nPlayerID, const FrameRecord& frame) EXCLUDES(m_lock);

  // The element that is to be played next; it stays queued and its bytes stay the pool's. False when both
  // queues are empty.
  bool GetFrontFrame(FrameRecord& frame) EXCLUDES(m_lock);
  // Releases the front of the video queue (QFT_Video) or the audio queue (anything else). An empty queue is
  // left alone.
  void PopFrontFrame(int32_t ftFrameType) EXCLUDES(m_lock);

  // Newest queued timestamp minus the oldest, ms, over both queues; 0 when they are empty.
  int64_t GetBufferedTime() EXCLUDES(m_lock);
  int32_t GetVideoFrameCount() EXCLUDES(m_lock);
  // More than three quarters of the capacity is queued.
  bool IsOverFilled() EXCLUDES(m_lock);
  // Added to video timestamps where they are compared with audio ones, ms.
  void SetAVOffset(int32_t milliseconds) EXCLUDES(m_lock);

 private:
  struct ReleaseFrame {
    void operator()(uint8_t* bytes) const { mck_free(bytes); }
  };
  struct QueuedFrame {
    FrameRecord record;  // pFrame points to bytes
    std::unique_ptr<uint8_t[], ReleaseFrame> bytes;
  };
  using FrameQueue = std::deque<QueuedFrame, ThrowingAllocator<QueuedFrame>>;

  PushResult Queue(uint32_t nPlayerID, const FrameRecord& frame) REQUIRES(m_lock);
  int32_t VideoCount() const REQUIRES(m_lock) { return static_cast<int32_t>(m_VideoFrames.size()); }
  void NoteVideoFrame(uint32_t nPlayerID, const FrameRecord& frame) REQUIRES(m_lock);
  void Clear() REQUIRES(m_lock);

  WakeUp& m_PlayWakeUp;

  Lock m_lock;
  int32_t m_nMaxVideoFrames GUARDED_BY(m_lock) = 0;
  int32_t m_nAVOffset GUARDED_BY(m_lock) = 0;  // ms
  bool m_bWaitKeyFrame GUARDED_BY(m_lock) = true;
  FrameQueue m_VideoFrames GUARDED_BY(m_lock);
  FrameQueue m_AudioFrames GUARDED_BY(m_lock);
  double m_dLastKeyFrameTime GUARDED_BY(m_lock);  // ms of kitc_time_ms
  double m_dLastVideoFrameTime GUARDED_BY(m_lock);
  uint32_t m_nBetweenKeyFrameCnt GUARDED_BY(m_lock) = 0;
};
