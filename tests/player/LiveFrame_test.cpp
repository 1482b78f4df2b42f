// Classification of live frames by their first bytes, and that it never reads past them.
#include "player/LiveFrame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "decode/Decoder.h"
#include "tests/support/GuardedPlane.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr Bytes::size_type kPrefix = 8;

enum Kind { kDelta, kKey, kSound, kIllegal };

// An older frame's head with this kind and length, continued with zeros.
Bytes Older(uint32_t kind, uint32_t length, size_t size) {
  const uint32_t word = kind | length << 4 | 0xAB000000u;
  Bytes frame = {'Q', 'X', 'S', 4};
  for (int shift = 0; shift < 32; shift += 8)
    frame.push_back(static_cast<uint8_t>(word >> shift));
  frame.resize(size);
  return frame;
}

}  // namespace

TEST(LiveFrame, FirstBytesDecide) {
  const struct {
    uint32_t codec;
    Bytes bytes;
    Kind kind;
    size_t offset = 0, size = 0;  // of the payload; size 0: all bytes behind the offset
  } kCases[] = {
      {kCodecH264, {0, 0, 0, 1, 0x67, 1}, kKey},
      {kCodecH264, {0, 0, 0, 1, 0x27, 1}, kKey},
      {kCodecH264, {0, 0, 0, 1, 0x41, 1}, kDelta},
      {kCodecH264, {0, 0, 0, 1, 0x65, 1}, kDelta},  // a key picture without its parameter sets
      {kCodecH264, {0, 0, 0, 0, 1, 0x67}, kKey},
      {kCodecH264, {0, 0, 0, 0, 1, 0x41}, kDelta},
      {kCodecH264, {0, 0, 1, 0x67, 1, 1}, kSound},
      {kCodecH265, {0, 0, 0, 1, 0x40, 1}, kKey},
      {kCodecH265, {0, 0, 0, 1, 0x42, 1}, kKey},
      {kCodecH265, {0, 0, 0, 1, 0x44, 1}, kDelta},
      {kCodecH265, {0, 0, 0, 1, 0x26, 1}, kDelta},
      {kCodecH265, {0, 0, 0, 0, 1, 0x40}, kDelta},  // five-byte start code: never a key frame here
      {kCodecNone, {0, 0, 0, 1, 0x67, 1}, kSound},
      {kCodecH264, {'Q', 'X', 'S', 5, 0, 0, 0, 0, 0, 0, 0, 1, 0x67, 9}, kKey, kPrefix},
      {kCodecH265, {'Q', 'X', 'S', 5, 0, 0, 0, 0, 0xD5, 0xD5}, kSound, kPrefix},
      {kCodecQdec04, Older(1, 1000, 1000), kKey, 0, 1008},
      {kCodecQdec04, Older(1, 1000, 1008), kKey, 0, 1008},
      {kCodecQdec04, Older(0, 0xFFFFF, 100), kDelta},
      {kCodecQdec04, Older(4, 0xFFFFF, 100), kDelta},
      {kCodecQdec04, Older(2, 92, 100), kSound, kPrefix},
      {kCodecQdec04, Older(3, 5, 100), kIllegal},
      {kCodecQdec04, Older(3, 0, 100), kSound},
      {kCodecQdec04, Older(5, 5, 100), kSound},
  };
  for (const auto& item : kCases) {
    SCOPED_TRACE(testing::PrintToString(item.bytes));
    const GuardedBytes guarded(item.bytes);
    const LiveFrame frame =
        ClassifyLiveFrame(item.codec, guarded.Data(), static_cast<uint32_t>(item.bytes.size()));
    EXPECT_EQ(frame.bIllegal, item.kind == kIllegal);
    if (frame.bIllegal) continue;
    EXPECT_EQ(frame.ftFrameType, item.kind == kSound ? QFT_Audio : QFT_Video);
    EXPECT_EQ(frame.bKeyFrame, item.kind == kKey);
    EXPECT_EQ(frame.pPayload, guarded.Data() + item.offset);
    EXPECT_EQ(frame.nPayloadSize, item.size != 0 ? item.size : item.bytes.size() - item.offset);

    // Cut anywhere, and taken for any codec: nothing behind its end is read, nor promised to be there.
    for (size_t size = 1; size <= std::min<size_t>(16, item.bytes.size()); ++size) {
      const GuardedBytes cut(std::span(item.bytes).first(size));
      for (const uint32_t codec : {kCodecNone, kCodecQdec04, kCodecH264, kCodecH265}) {
        const LiveFrame any = ClassifyLiveFrame(codec, cut.Data(), static_cast<uint32_t>(size));
        if (codec != kCodecQdec04) {
          EXPECT_LE(any.nPayloadSize, cut.Data() + size - any.pPayload);
        }
      }
    }
  }
}
