// The memory of one looping sound buffer: what the device plays, and the copy that callers write in between
// Lock and Unlock.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/posix/Mutex.h"

namespace platform {

struct SoundFormat {
  uint32_t samplesPerSec = 0;
  uint32_t channels = 0;
  uint32_t bitsPerSample = 0;  // 8 (unsigned) or 16 (signed, the machine's byte order)

  uint32_t FrameBytes() const { return channels * bitsPerSample / 8; }
};

// Now, in units of 100 ns, by the kernel seam's performance counter.
int64_t SoundTicks();
constexpr int64_t kSoundTicksPerSecond = 10'000'000;
// Whole sample frames in that time; 0 when it is negative.
uint64_t FramesIn(int64_t ticks, uint32_t samplesPerSec);

// Write into Draft() and Publish() from one thread; Read from another at the same time.
class SoundLoop {
 public:
  // Silent memory of `bytes`, a whole number of frames. False when memory is exhausted.
  bool Create(const SoundFormat& format, uint32_t bytes);

  const SoundFormat& Format() const { return m_Format; }
  uint32_t Bytes() const { return m_nBytes; }
  uint32_t Frames() const { return m_nBytes / m_Format.FrameBytes(); }
  uint8_t* Draft() const { return m_pDraft.get(); }
  // Lets a range of the draft be heard. False when it does not lie inside the draft.
  bool Publish(const void* range, uint32_t bytes) EXCLUDES(m_Mutex);
  // Copies `frames` frames from frame number `first` on, which counts on through all rounds.
  void Read(uint64_t first, uint8_t* target, uint32_t frames) const EXCLUDES(m_Mutex);

 private:
  struct GlobalMemory {
    void operator()(uint8_t* memory) const;
  };
  using Memory = std::unique_ptr<uint8_t[], GlobalMemory>;

  // Constant after Create.
  SoundFormat m_Format;
  uint32_t m_nBytes = 0;
  Memory m_pDraft;

  mutable Mutex m_Mutex;
  Memory m_pHeard GUARDED_BY(m_Mutex);
};

}  // namespace platform
