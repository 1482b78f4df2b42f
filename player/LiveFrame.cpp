#include "player/LiveFrame.h"

#include <cstring>

#include "decode/Decoder.h"

namespace {

constexpr uint32_t kHeadBytes = 8;    // the older codec's frame head
constexpr uint32_t kPrefixBytes = 8;  // "QXS" and five more bytes, in front of H.264 and H.265 frames

enum FrameKind : uint32_t {
  kKindVideo = 0,
  kKindVideoKey = 1,
  kKindAudio = 2,
  kKindIllegal = 3,
  kKindVideoOther = 4,
};

LiveFrame ClassifyOlderCodec(const uint8_t* data, uint32_t size) {
  LiveFrame frame{data, size};
  if (size < kHeadBytes) return frame;
  const uint32_t kind = data[4] & 0x0F;
  const uint32_t length =
      (data[4] | static_cast<uint32_t>(data[5]) << 8 | static_cast<uint32_t>(data[6]) << 16) >> 4;
  if (length == 0) return frame;
  switch (kind) {
    case kKindVideo:
    case kKindVideoKey:
    case kKindVideoOther:
      frame.ftFrameType = QFT_Video;
      frame.bKeyFrame = kind == kKindVideoKey;
      // The host counted the payload alone: its buffer holds the head as well.
      if (length == size) frame.nPayloadSize = size + kHeadBytes;
      break;
    case kKindAudio:
      frame.pPayload = data + kHeadBytes;
      frame.nPayloadSize = size - kHeadBytes;
      break;
    case kKindIllegal:
      frame.bIllegal = true;
      break;
    default:
      break;
  }
  return frame;
}

bool OpensWithParameterSet(uint32_t codecId, uint8_t nalHeader) {
  if (codecId == kCodecH264) return (nalHeader & 0x1F) == 7;  // sequence parameter set
  const uint32_t type = (nalHeader >> 1) & 0x3F;
  return codecId == kCodecH265 && (type == 32 || type == 33);  // video or sequence parameter set
}

LiveFrame ClassifyNalUnits(uint32_t codecId, const uint8_t* data, uint32_t size) {
  static constexpr uint8_t kStartCode[] = {0, 0, 0, 0, 1};
  LiveFrame frame{data, size};
  if (size >= kPrefixBytes && std::memcmp(data, "QXS", 3) == 0) {
    // The size a host gives with the prefix is taken to include it: reading 8 bytes less is harmless, 8 more
    // is not.
    frame.pPayload += kPrefixBytes;
    frame.nPayloadSize -= kPrefixBytes;
  }
  const uint8_t* payload = frame.pPayload;
  if (frame.nPayloadSize >= 5 && std::memcmp(payload, kStartCode + 1, 4) == 0) {
    frame.ftFrameType = QFT_Video;
    frame.bKeyFrame = OpensWithParameterSet(codecId, payload[4]);
  } else if (frame.nPayloadSize >= 6 && std::memcmp(payload, kStartCode, 5) == 0) {
    frame.ftFrameType = QFT_Video;
    frame.bKeyFrame = codecId == kCodecH264 && OpensWithParameterSet(codecId, payload[5]);
  }
  return frame;
}

}  // namespace

LiveFrame ClassifyLiveFrame(uint32_t codecId, const uint8_t* data, uint32_t size) {
  if (codecId == kCodecNone) return {data, size};
  return codecId == kCodecQdec04 ? ClassifyOlderCodec(data, size) : ClassifyNalUnits(codecId, data, size);
}
