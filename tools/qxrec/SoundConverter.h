// Sound of any codec as 8 kHz 8-bit samples of one channel.
#pragma once

extern "C" {
#include <libavformat/avformat.h>
}

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "codecs/av/AvOwners.h"

struct SwrContext;

// One stream's converter; no locks, one thread.
class SoundConverter {
 public:
  // inputUs: of the first sample, on the input's time line; none: behind those before.
  using Sink = std::function<void(std::optional<int64_t> inputUs, std::span<const uint8_t> samples)>;

  // Null when the stream cannot be decoded: `error` says why.
  static std::unique_ptr<SoundConverter> Create(const AVStream& stream, std::string& error);
  ~SoundConverter();

  // Takes what the packet holds, null: the end of the stream, and hands on what it comes to. Damaged packets
  // come to nothing.
  void Send(const AVPacket* packet, const Sink& sink);

 private:
  struct ResamplerFree {
    void operator()(SwrContext* resampler) const;
  };

  SoundConverter() = default;
  bool OpenResampler();
  void Convert(const AVFrame* frame, const Sink& sink);

  AVRational m_TimeBase{};
  AvContext m_pDecoder;
  AvFrame m_pFrame{av_frame_alloc()};
  std::unique_ptr<SwrContext, ResamplerFree> m_pResampler;
  // What the resampler was opened for.
  AVSampleFormat m_Format = AV_SAMPLE_FMT_NONE;
  int m_nSampleRate = 0;
  int m_nChannels = 0;
  std::vector<uint8_t> m_Samples;
};
