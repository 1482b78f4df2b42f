// The sound of a recording, cut into records: 8 kHz samples that follow each other without times of their
// own, so what is missing becomes silence. Pure.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

class SoundTrack {
 public:
  static constexpr size_t kBlockSamples = 320;  // 40 ms, one frame at 25 frames per second
  using Block = std::array<uint8_t, kBlockSamples>;

  // Samples whose first one belongs at `recordingUs`; none: behind those before. What belongs before the
  // recording, or where there is sound already, is left out.
  void Add(std::optional<int64_t> recordingUs, std::span<const uint8_t> samples);
  // Silence up to this sample, where there is no sound.
  void FillTo(int64_t sample);

  // The first sample that Take has not answered.
  int64_t Begin() const { return m_llBegin; }
  // Behind the last sample there is.
  int64_t End() const { return m_llBegin + static_cast<int64_t>(m_Samples.size() - m_nTaken); }
  // Whether a whole block is there.
  bool HasBlock() const { return m_Samples.size() - m_nTaken >= kBlockSamples; }
  // The next block; the end of a short one is silence.
  Block Take();

 private:
  int64_t m_llBegin = 0;
  std::vector<uint8_t> m_Samples;
  size_t m_nTaken = 0;  // of m_Samples
};
