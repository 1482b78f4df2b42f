// The sound of a source, as live input takes it: codecs that a stream header can name, one block of frames at
// a time, none of which could be taken for video.
#pragma once

extern "C" {
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
}

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "codecs/av/AvOwners.h"

enum class SoundCodec { kPcm, kAmr, kALaw, kMuLaw, kAac };  // in the order of the stream header's numbers

struct SoundInfo {
  SoundCodec codec = SoundCodec::kPcm;
  uint16_t sampleRate = 8000;  // Hz
  uint16_t channels = 1;
  uint16_t bits = 16;  // a sample, decoded
  bool operator==(const SoundInfo&) const = default;
};

struct SoundFrame {
  std::span<uint8_t> bytes;       // valid until the next call
  std::optional<int64_t> timeMs;  // of the container
};

// One stream's; no locks, one thread.
class LiveSound {
 public:
  // Null when live input cannot carry it: `reason` is a half sentence about the sound.
  static std::unique_ptr<LiveSound> Create(const AVStream& stream, std::string& reason);

  const SoundInfo& Info() const { return m_Info; }
  // Takes what the packet holds. Receive until nothing comes before the next one.
  void Send(AVPacket* packet);
  std::optional<SoundFrame> Receive();

 private:
  struct Free {
    void operator()(AVBSFContext* filter) const { av_bsf_free(&filter); }
  };

  LiveSound() = default;
  bool OpenFilter(const AVStream& stream);
  bool NextPacket();

  SoundInfo m_Info;
  AVRational m_TimeBase{};
  std::unique_ptr<AVBSFContext, Free> m_pFilter;
  AvPacket m_pPacket{av_packet_alloc()};  // what is being handed out
  size_t m_nHandedOut = 0;                // bytes of it
};
