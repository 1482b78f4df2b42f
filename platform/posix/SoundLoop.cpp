// The memory of one looping sound buffer.
#include "platform/posix/SoundLoop.h"

#include <algorithm>
#include <cstring>
#include <functional>

#include "platform/posix/KernelApi.h"

namespace platform {

int64_t SoundTicks() {
  LARGE_INTEGER count{};
  QueryPerformanceCounter(&count);
  return count.QuadPart;
}

uint64_t FramesIn(int64_t ticks, uint32_t samplesPerSec) {
  if (ticks <= 0) return 0;
  // In two steps, because the plain product overflows after months.
  const auto seconds = static_cast<uint64_t>(ticks / kSoundTicksPerSecond);
  const auto rest = static_cast<uint64_t>(ticks % kSoundTicksPerSecond);
  return seconds * samplesPerSec + rest * samplesPerSec / kSoundTicksPerSecond;
}

void SoundLoop::GlobalMemory::operator()(uint8_t* memory) const {
  GlobalFree(memory);
}

bool SoundLoop::Create(const SoundFormat& format, uint32_t bytes) {
  m_Format = format;
  m_nBytes = bytes;
  m_pDraft.reset(static_cast<uint8_t*>(GlobalAlloc(GMEM_FIXED, bytes)));
  MutexLock lock(m_Mutex);
  m_pHeard.reset(static_cast<uint8_t*>(GlobalAlloc(GMEM_FIXED, bytes)));
  if (m_pDraft == nullptr || m_pHeard == nullptr) return false;
  const int silence = format.bitsPerSample == 8 ? 0x80 : 0;
  std::memset(m_pDraft.get(), silence, bytes);
  std::memset(m_pHeard.get(), silence, bytes);
  return true;
}

bool SoundLoop::Publish(const void* range, uint32_t bytes) {
  const auto* first = static_cast<const uint8_t*>(range);
  const uint8_t* draft = m_pDraft.get();
  if (std::less<>()(first, draft) || !std::less<>()(first, draft + m_nBytes)) return false;
  const size_t offset = static_cast<size_t>(first - draft);
  if (bytes > m_nBytes - offset) return false;
  MutexLock lock(m_Mutex);
  std::memcpy(m_pHeard.get() + offset, first, bytes);
  return true;
}

void SoundLoop::Read(uint64_t first, uint8_t* target, uint32_t frames) const {
  const uint32_t frameBytes = m_Format.FrameBytes();
  MutexLock lock(m_Mutex);
  while (frames != 0) {
    const auto start = static_cast<uint32_t>(first % Frames());
    const uint32_t count = std::min(frames, Frames() - start);
    std::memcpy(target, m_pHeard.get() + size_t{start} * frameBytes, size_t{count} * frameBytes);
    target += size_t{count} * frameBytes;
    first += count;
    frames -= count;
  }
}

}  // namespace platform
