// Decoders: one compressed frame in, one picture or one block of sound out. Adapters over the codec
// libraries.
#pragma once

#include <cstdint>
#include <memory>

#include "video/DecodedPicture.h"

// Codec identifiers, as the factory takes them and decoders report them.
enum CodecId : uint32_t {
  kCodecNone = 0,
  kCodecQdec04 = 1,
  kCodecH264 = 2,
  kCodecH265 = 3,
  kCodecPcm = 0x81,
  kCodecAmr = 0x82,
  kCodecAlaw = 0x83,
  kCodecMulaw = 0x84,
  kCodecAac = 0x85,
};

// Decoded sound; the memory belongs to the decoder and stays valid until its next call.
struct DecodedSound {
  const uint8_t* pData = nullptr;
  uint32_t dwSize = 0;  // bytes
};

// A decoder has no lock of its own: one call at a time.
class Decoder {
 public:
  // Starts and stops the codec libraries. InitSDK answers false when the H.264/H.265 library refuses.
  static bool InitSDK();
  static void ReleaseSDK();

  // A new, opened decoder; null for an unknown codec or when the library refuses.
  static std::shared_ptr<Decoder> CreateVideoDecoder(uint32_t codecId, uint32_t width, uint32_t height,
                                                     uint32_t framePeriodMs);
  // `capacity`: the largest PCM frame accepted, bytes.
  static std::shared_ptr<Decoder> CreateAudioDecoder(uint32_t codecId, uint32_t capacity, uint32_t channels,
                                                     uint32_t sampleRate);

  virtual ~Decoder() = default;
  virtual uint32_t GetDecoderType() const = 0;
  // Milliseconds for which the decoder holds pictures back.
  virtual uint32_t GetDelay() const = 0;
  // True without an image when the frame completed no picture. `nPlayerID` names the player in log lines.
  virtual bool DecodeFrameVideo(DecodedPicture& picture, const uint8_t* data, uint32_t size,
                                uint32_t nPlayerID);
  virtual bool DecodeFrameAudio(DecodedSound& sound, const uint8_t* data, uint32_t size, uint32_t nPlayerID);
  // The last picture as 32-bit pixels, bottom-up, rows of width x 4 bytes.
  virtual bool GetImageRGB32(uint8_t* buffer, uint32_t bufferSize);
  // The three arguments mean what the factory table of each class says; used by the factory only.
  virtual bool Open(uint32_t first, uint32_t second, uint32_t third) = 0;
};
