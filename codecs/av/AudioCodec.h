// One sound decoder of libavcodec that gives interleaved 16-bit PCM in the channels and the rate that were
// asked for.
#pragma once

extern "C" {
#include <libswresample/swresample.h>
}

#include <cstdint>
#include <memory>

#include "codecs/av/AvOwners.h"
#include "codecs/av/PaddedInput.h"

// No lock: one call at a time.
class AudioCodec {
 public:
  // `header`: what the codec needs to know before the first frame; may be empty. Null when the codec is
  // missing or memory is exhausted. libavcodec's own decoder, 720 KB for AAC, is opened by the first frame.
  static std::unique_ptr<AudioCodec> Create(AVCodecID codecId, int channels, int sampleRate,
                                            const uint8_t* header = nullptr, size_t headerSize = 0);

  // Decodes one frame and appends its PCM to what there is. False when PCM had to be dropped: there is no
  // memory, no conversion or too much of it.
  bool Decode(const uint8_t* data, uint32_t size);
  // Forgets the PCM.
  void Clear() { m_nPcmSize = 0; }
  // The PCM and its bytes; the memory is valid until the next Decode.
  uint8_t* Data() const { return m_pPcm.get(); }
  size_t Size() const { return m_nPcmSize; }

 private:
  struct ResamplerFree {
    void operator()(SwrContext* resampler) const { swr_free(&resampler); }
  };
  struct MemoryFree {
    void operator()(uint8_t* memory) const { av_free(memory); }
  };

  AudioCodec(const AVCodec* codec, int channels, int sampleRate)
      : m_pCodec(codec), m_nChannels(channels), m_nSampleRate(sampleRate) {}
  bool Open();
  bool Append();
  bool MatchResampler();
  bool Reserve(size_t bytes);

  const AVCodec* const m_pCodec;
  const int m_nChannels;
  const int m_nSampleRate;
  std::unique_ptr<uint8_t, MemoryFree> m_pHeader;
  size_t m_nHeaderSize = 0;
  AvContext m_pContext;  // null before the first frame
  PaddedInput m_Input;
  AvFrame m_pFrame;
  // From the format of the latest frame, which these describe, to the one asked for.
  std::unique_ptr<SwrContext, ResamplerFree> m_pResampler;
  int m_nFrameChannels = 0;
  int m_nFrameRate = 0;
  int m_nFrameFormat = AV_SAMPLE_FMT_NONE;
  std::unique_ptr<uint8_t, MemoryFree> m_pPcm;
  size_t m_nPcmCapacity = 0;  // bytes
  size_t m_nPcmSize = 0;
};
