// The library's own recording format (.sv4, .sv5, .sv6): a 64-byte header, then records back to back. All
// fields are little-endian.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

namespace svx {

// Header: "QXS" and a version byte, which together are also the sync word in front of every record.
constexpr uint32_t kHeaderBytes = 64;
constexpr uint8_t kMagic[3] = {'Q', 'X', 'S'};
constexpr uint32_t kVersionOffset = 3;
constexpr uint32_t kWidthOffset = 4;           // pixels
constexpr uint32_t kHeightOffset = 8;          // pixels
constexpr uint32_t kVideoStandardOffset = 16;  // 0: 25 frames per second, else 30
constexpr uint32_t kTotalFramesOffset = 44;    // video frames

constexpr uint8_t kVersionOlderCodec = 4;  // also 8, 9
constexpr uint8_t kVersionH264 = 5;        // also 7, 16, 17
constexpr bool IsOlderCodec(uint8_t version) {
  return version == 4 || version == 8 || version == 9;
}

// Sound is always 8-bit PCM at 8 kHz, one channel.
constexpr uint32_t kAudioSampleRate = 8000;
constexpr uint32_t kAudioBits = 8;

constexpr uint32_t ReadWord(const uint8_t* bytes) {
  return bytes[0] | bytes[1] << 8 | bytes[2] << 16 | static_cast<uint32_t>(bytes[3]) << 24;
}

struct Header {
  uint8_t nVersion = 0;
  uint32_t nWidth = 0;  // pixels
  uint32_t nHeight = 0;
  uint32_t nTotalFrames = 0;  // video frames
  uint32_t nVideoStandard = 0;

  uint32_t FramesPerSecond() const { return nVideoStandard == 0 ? 25 : 30; }
};
// False for fewer than kHeaderBytes and without the magic. Any version is read.
inline bool ReadHeader(std::span<const uint8_t> bytes, Header& header) {
  if (bytes.size() < kHeaderBytes || !std::equal(kMagic, kMagic + sizeof kMagic, bytes.begin())) return false;
  header = {.nVersion = bytes[kVersionOffset],
            .nWidth = ReadWord(&bytes[kWidthOffset]),
            .nHeight = ReadWord(&bytes[kHeightOffset]),
            .nTotalFrames = ReadWord(&bytes[kTotalFramesOffset]),
            .nVideoStandard = ReadWord(&bytes[kVideoStandardOffset])};
  return true;
}

// A record: the sync word, a head word, and 1 to kMaxPayloadBytes of payload.
constexpr uint32_t kRecordHeadBytes = 8;
constexpr uint32_t kMaxPayloadBytes = 0xFFFFF;
// A reader takes a record only when this many bytes follow it, so a file ends with a sync word that begins
// nothing.
constexpr uint32_t kTrailerBytes = 4;

enum RecordType : uint32_t {
  kVideo = 0,
  kVideoKey = 1,
  kAudio = 2,
  kVideoEmpty = 3,  // stands for a picture that did not change
  kVideoOther = 4,
};

struct RecordHead {
  uint32_t nType = 0;
  uint32_t nPayloadBytes = 0;

  bool IsValid() const { return nType <= kVideoOther && nPayloadBytes != 0; }
  // Sync word, head word and payload.
  uint32_t RecordBytes() const { return kRecordHeadBytes + nPayloadBytes; }
};
// Bits 0-3 type, 4-23 payload length; the rest means nothing.
constexpr RecordHead ReadHeadWord(uint32_t word) {
  return {.nType = word & 0x0F, .nPayloadBytes = word >> 4 & kMaxPayloadBytes};
}
constexpr uint32_t MakeHeadWord(const RecordHead& head) {
  return head.nPayloadBytes << 4 | head.nType;
}

}  // namespace svx
