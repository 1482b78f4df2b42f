// Classification of live frames by their first bytes, and that it never reads past them.
#include "player/LiveFrame.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <vector>

#include "decode/Decoder.h"

namespace {

using Bytes = std::vector<uint8_t>;

// Places the frame so that the byte after it is not mapped.
class GuardedFrame {
 public:
  explicit GuardedFrame(const Bytes& bytes) : m_nPage(static_cast<size_t>(sysconf(_SC_PAGESIZE))) {
    m_pPages = static_cast<uint8_t*>(
        mmap(nullptr, 2 * m_nPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(m_pPages + m_nPage, m_nPage, PROT_NONE);
    m_pData = m_pPages + m_nPage - bytes.size();
    if (!bytes.empty()) std::memcpy(m_pData, bytes.data(), bytes.size());
  }
  ~GuardedFrame() { munmap(m_pPages, 2 * m_nPage); }
  const uint8_t* Data() const { return m_pData; }

 private:
  size_t m_nPage;
  uint8_t* m_pPages;
  uint8_t* m_pData;
};

LiveFrame Classify(uint32_t codec, Bytes bytes, uint32_t declaredSize = 0) {
  static const uint8_t* base;
  const uint32_t size = declaredSize != 0 ? declaredSize : static_cast<uint32_t>(bytes.size());
  if (declaredSize > bytes.size()) bytes.resize(declaredSize);
  const GuardedFrame guarded(bytes);
  base = guarded.Data();
  LiveFrame frame = ClassifyLiveFrame(codec, base, size);
  frame.pPayload =
      reinterpret_cast<const uint8_t*>(static_cast<uintptr_t>(frame.pPayload - base));  // as an offset
  return frame;
}

uintptr_t Offset(const LiveFrame& frame) {
  return reinterpret_cast<uintptr_t>(frame.pPayload);
}

Bytes OlderFrame(uint32_t kind, uint32_t length) {
  const uint32_t word = kind | length << 4 | 0xAB000000u;
  Bytes frame = {'Q', 'X', 'S', 4};
  for (int shift = 0; shift < 32; shift += 8)
    frame.push_back(static_cast<uint8_t>(word >> shift));
  return frame;
}

}  // namespace

TEST(LiveFrame, NalUnitTypesOfH264AndH265) {
  const struct {
    uint32_t codec;
    Bytes bytes;
    FrameType type;
    bool key;
  } kCases[] = {
      {kCodecH264, {0, 0, 0, 1, 0x67, 1}, QFT_Video, true},
      {kCodecH264, {0, 0, 0, 1, 0x27, 1}, QFT_Video, true},
      {kCodecH264, {0, 0, 0, 1, 0x41, 1}, QFT_Video, false},
      {kCodecH264, {0, 0, 0, 1, 0x65, 1}, QFT_Video, false},  // a key picture without its parameter sets
      {kCodecH264, {0, 0, 0, 0, 1, 0x67}, QFT_Video, true},
      {kCodecH264, {0, 0, 0, 0, 1, 0x41}, QFT_Video, false},
      {kCodecH264, {0, 0, 1, 0x67, 1, 1}, QFT_Audio, false},
      {kCodecH265, {0, 0, 0, 1, 0x40, 1}, QFT_Video, true},
      {kCodecH265, {0, 0, 0, 1, 0x42, 1}, QFT_Video, true},
      {kCodecH265, {0, 0, 0, 1, 0x44, 1}, QFT_Video, false},
      {kCodecH265, {0, 0, 0, 1, 0x26, 1}, QFT_Video, false},
      {kCodecH265, {0, 0, 0, 0, 1, 0x40}, QFT_Video, false},  // five-byte start code: never a key frame here
      {kCodecNone, {0, 0, 0, 1, 0x67, 1}, QFT_Audio, false},
  };
  for (const auto& item : kCases) {
    const LiveFrame frame = Classify(item.codec, item.bytes);
    SCOPED_TRACE(testing::PrintToString(item.bytes));
    EXPECT_EQ(frame.ftFrameType, item.type);
    EXPECT_EQ(frame.bKeyFrame, item.key);
    EXPECT_EQ(Offset(frame), 0u);
    EXPECT_EQ(frame.nPayloadSize, item.bytes.size());
  }
}

TEST(LiveFrame, PrefixIsSkippedAndNeverReadBeyond) {
  Bytes video = {'Q', 'X', 'S', 5, 0, 0, 0, 0, 0, 0, 0, 1, 0x67, 9};
  LiveFrame frame = Classify(kCodecH264, video);
  EXPECT_EQ(frame.ftFrameType, QFT_Video);
  EXPECT_TRUE(frame.bKeyFrame);
  EXPECT_EQ(Offset(frame), 8u);
  EXPECT_EQ(frame.nPayloadSize, 6u);

  frame = Classify(kCodecH265, {'Q', 'X', 'S', 5, 0, 0, 0, 0, 0xD5, 0xD5});
  EXPECT_EQ(frame.ftFrameType, QFT_Audio);
  EXPECT_EQ(Offset(frame), 8u);
  EXPECT_EQ(frame.nPayloadSize, 2u);
}

TEST(LiveFrame, OlderCodecKindsAndLengths) {
  EXPECT_TRUE(Classify(kCodecQdec04, OlderFrame(1, 1000), 1000).bKeyFrame);
  EXPECT_EQ(Classify(kCodecQdec04, OlderFrame(1, 1000), 1000).nPayloadSize, 1008u);
  EXPECT_EQ(Classify(kCodecQdec04, OlderFrame(1, 1000), 1008).nPayloadSize, 1008u);
  for (const uint32_t kind : {0u, 4u}) {
    const LiveFrame frame = Classify(kCodecQdec04, OlderFrame(kind, 0xFFFFF), 100);
    EXPECT_EQ(frame.ftFrameType, QFT_Video);
    EXPECT_FALSE(frame.bKeyFrame);
    EXPECT_EQ(frame.nPayloadSize, 100u);
  }
  const LiveFrame audio = Classify(kCodecQdec04, OlderFrame(2, 92), 100);
  EXPECT_EQ(audio.ftFrameType, QFT_Audio);
  EXPECT_EQ(Offset(audio), 8u);
  EXPECT_EQ(audio.nPayloadSize, 92u);
  EXPECT_TRUE(Classify(kCodecQdec04, OlderFrame(3, 5), 100).bIllegal);
  for (const LiveFrame& whole :
       {Classify(kCodecQdec04, OlderFrame(5, 5), 100), Classify(kCodecQdec04, OlderFrame(3, 0), 100)}) {
    EXPECT_FALSE(whole.bIllegal);
    EXPECT_EQ(whole.ftFrameType, QFT_Audio);
    EXPECT_EQ(Offset(whole), 0u);
    EXPECT_EQ(whole.nPayloadSize, 100u);
  }
}

TEST(LiveFrame, EveryShortFrameStaysWithinItsBytes) {
  const Bytes kHeads[] = {{'Q', 'X', 'S', 5, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0x67, 0, 0},
                          {0, 0, 0, 0, 1, 0x67, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
                          {0, 0, 0, 1, 0x67, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
                          {'Q', 'X', 'S', 4, 0x10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}};
  for (const Bytes& head : kHeads) {
    for (uint32_t size = 1; size <= head.size(); ++size) {
      for (const uint32_t codec : {kCodecNone, kCodecQdec04, kCodecH264, kCodecH265}) {
        const LiveFrame frame = Classify(codec, Bytes(head.begin(), head.begin() + size));
        if (codec != kCodecQdec04) {
          EXPECT_LE(Offset(frame) + frame.nPayloadSize, size);
        }
      }
    }
  }
}
