#include "pacing/FrameBufferPool.h"

#include <cstring>
#include <limits>

#include "src/kitc/Clock.h"
#include "src/kitc/Log.h"

namespace {

constexpr char kSource[] = "FrameBufferPool.cpp";
// Eight seconds at 25 frames a second: more is not jitter but a player that cannot keep up.
constexpr int32_t kLiveCapacity = 200;

}  // namespace

FrameBufferPool::FrameBufferPool(WakeUp& playWakeUp)
    : m_PlayWakeUp(playWakeUp),
      m_dLastKeyFrameTime(kitc_time_ms()),
      m_dLastVideoFrameTime(m_dLastKeyFrameTime) {}

void FrameBufferPool::ResetForLive() {
  ScopedLock hold(m_lock);
  m_nMaxVideoFrames = kLiveCapacity;
  m_bWaitKeyFrame = true;
}

void FrameBufferPool::CloseAndClear() {
  ScopedLock hold(m_lock);
  m_nMaxVideoFrames = 0;
  Clear();
}

void FrameBufferPool::ClearFrames() {
  ScopedLock hold(m_lock);
  Clear();
}

void FrameBufferPool::Clear() {
  m_VideoFrames.clear();
  m_AudioFrames.clear();
  m_bWaitKeyFrame = true;
}

void FrameBufferPool::NoteVideoFrame(uint32_t nPlayerID, const FrameRecord& frame) {
  ++m_nBetweenKeyFrameCnt;
  const double now = kitc_time_ms();
  if (frame.bKeyFrame) {
    kitc_log(kLogDebug, kSource, __LINE__,
             "decodeid:%d ftFrameType:%d bKeyFrame:%d dwFrameSize:%d keyPeriod:%.1fms lastPeriod:%.1fms "
             "betweenKeyFrameCnt:%d leftVideoFrameCnt:%d\n",
             nPlayerID, frame.ftFrameType, 1, frame.dwFrameSize, now - m_dLastKeyFrameTime,
             now - m_dLastVideoFrameTime, m_nBetweenKeyFrameCnt, VideoCount());
    m_dLastKeyFrameTime = now;
    m_nBetweenKeyFrameCnt = 0;
  }
  m_dLastVideoFrameTime = now;
}

PushResult FrameBufferPool::PushBackFrame(uint32_t nPlayerID, const FrameRecord& frame) {
  bool isNewFront = false;
  PushResult result = kPushQueued;
  {
    ScopedLock hold(m_lock);
    isNewFront = (frame.ftFrameType == QFT_Video ? m_VideoFrames : m_AudioFrames).empty();
    result = Queue(nPlayerID, frame);
  }
  // A frame behind others changes nothing for the thread: it looks again when their time comes.
  if (isNewFront && result == kPushQueued) m_PlayWakeUp.Set();
  return result;
}

PushResult FrameBufferPool::Queue(uint32_t nPlayerID, const FrameRecord& frame) {
  const bool isVideo = frame.ftFrameType == QFT_Video;
  if (m_bWaitKeyFrame && !(isVideo && frame.bKeyFrame)) {
    kitc_log(kLogDebug, kSource, __LINE__,
             "decodeid:%d ftFrameType:%d bKeyFrame:%d dwFrameSize:%d leftFrameCnt:%d (!frame.bKeyFrame || "
             "frame.ftFrameType != QFT_Video)\n",
             nPlayerID, frame.ftFrameType, frame.bKeyFrame, frame.dwFrameSize, VideoCount());
    return kPushWaitsForKeyFrame;
  }
  if (isVideo) NoteVideoFrame(nPlayerID, frame);

  // From a loss on, every later frame would refer to the lost one: nothing more until the next key frame.
  if (VideoCount() >= m_nMaxVideoFrames) {
    m_bWaitKeyFrame = true;
    kitc_log(kLogError, kSource, __LINE__,
             "decodeid:%d ftFrameType:%d bKeyFrame:%d dwFrameSize:%d PushBackFrame Lost frame\n", nPlayerID,
             frame.ftFrameType, frame.bKeyFrame, frame.dwFrameSize);
    return kPushQueueFull;
  }

  QueuedFrame queued;
  queued.bytes.reset(static_cast<uint8_t*>(mck_malloc(frame.dwFrameSize)));
  if (queued.bytes == nullptr) {
    m_bWaitKeyFrame = true;
    kitc_log(kLogError, kSource, __LINE__, "malloc frame buffer failed");
    return kPushNoMemory;
  }
  if (frame.dwFrameSize != 0) std::memcpy(queued.bytes.get(), frame.pFrame, frame.dwFrameSize);
  queued.record = frame;
  queued.record.pFrame = queued.bytes.get();
  m_bWaitKeyFrame = true;  // should the queue not be able to grow, this frame is lost as well
  (isVideo ? m_VideoFrames : m_AudioFrames).push_back(std::move(queued));
  m_bWaitKeyFrame = false;
  return kPushQueued;
}

bool FrameBufferPool::GetFrontFrame(FrameRecord& frame) {
  ScopedLock hold(m_lock);
  if (m_VideoFrames.empty() && m_AudioFrames.empty()) return false;
  bool videoNext = m_AudioFrames.empty();
  if (!m_VideoFrames.empty() && !m_AudioFrames.empty()) {
    // Hosts choose the timestamps: the sum wraps instead of overflowing.
    const auto videoTime =
        static_cast<int64_t>(static_cast<uint64_t>(m_VideoFrames.front().record.llTimeStamp) +
                             static_cast<uint64_t>(static_cast<int64_t>(m_nAVOffset)));
    videoNext = videoTime <= m_AudioFrames.front().record.llTimeStamp;
  }
  frame = (videoNext ? m_VideoFrames : m_AudioFrames).front().record;
  return true;
}

void FrameBufferPool::PopFrontFrame(int32_t ftFrameType) {
  ScopedLock hold(m_lock);
  FrameQueue& queue = ftFrameType == QFT_Video ? m_VideoFrames : m_AudioFrames;
  if (!queue.empty()) queue.pop_front();
}

int64_t FrameBufferPool::GetBufferedTime() {
  ScopedLock hold(m_lock);
  constexpr uint64_t kNone = std::numeric_limits<uint64_t>::max();
  uint64_t oldest = kNone;
  uint64_t newest = 0;
  if (!m_VideoFrames.empty()) {
    oldest = static_cast<uint64_t>(m_VideoFrames.front().record.llTimeStamp);
    newest = static_cast<uint64_t>(m_VideoFrames.back().record.llTimeStamp);
  }
  if (!m_AudioFrames.empty()) {
    const auto first = static_cast<uint64_t>(m_AudioFrames.front().record.llTimeStamp);
    const auto last = static_cast<uint64_t>(m_AudioFrames.back().record.llTimeStamp);
    if (first <= oldest) oldest = first;
    if (last >= newest) newest = last;
  }
  if (oldest == kNone) oldest = 0;
  return static_cast<int64_t>(newest - oldest);
}

int32_t FrameBufferPool::GetVideoFrameCount() {
  ScopedLock hold(m_lock);
  return VideoCount();
}

bool FrameBufferPool::IsOverFilled() {
  ScopedLock hold(m_lock);
  return m_nMaxVideoFrames * 3 / 4 < VideoCount();
}

void FrameBufferPool::SetAVOffset(int32_t milliseconds) {
  ScopedLock hold(m_lock);
  m_nAVOffset = milliseconds;
}
