// Stream headers: which bytes select which form, codec, rate and sound.
#include "player/StreamHeader.h"

#include <gtest/gtest.h>

#include <cstring>

#include "decode/Decoder.h"

namespace {

FileHeader MakeExtended() {
  FileHeader header{};
  std::memcpy(&header[kShortHeaderBytes], "QFH", 3);
  const auto set = [&header](FileHeaderOffset field, uint32_t value) {
    header[field] = static_cast<uint8_t>(value);
    header[field + 1] = static_cast<uint8_t>(value >> 8);
  };
  set(kVideoCodecID, 2);
  set(kVideoDataType, 1);
  set(kVideoWidth, 1920);
  set(kVideoHeight, 1080);
  set(kFrameRateNum, 30000);
  set(kFrameRateDen, 1001);
  set(kAudioCodecID, 3);
  set(kAudioSampleRate, 16000);
  set(kAudioChannels, 2);
  set(kAudioBits, 16);
  return header;
}

}  // namespace

TEST(StreamHeader, VersionOfTheShortFormSelectsTheCodecs) {
  const struct {
    const char* magic;
    uint8_t version;
    uint32_t video, audio, bits;
  } kCases[] = {
      {"QXS", 4, kCodecQdec04, kCodecPcm, 8}, {"QXS", 8, kCodecQdec04, kCodecPcm, 8},
      {"QXS", 9, kCodecQdec04, kCodecPcm, 8}, {"QXS", 5, kCodecH264, kCodecPcm, 8},
      {"QXS", 7, kCodecH264, kCodecPcm, 8},   {"QXS", 16, kCodecH264, kCodecPcm, 8},
      {"QXS", 17, kCodecH264, kCodecPcm, 8},  {"QXS", 10, kCodecH264, kCodecAmr, 16},
      {"QXS", 6, kCodecNone, kCodecNone, 0},  {"QXS", 18, kCodecNone, kCodecNone, 0},
      {"QXT", 5, kCodecNone, kCodecNone, 0},
  };
  for (const auto& item : kCases) {
    SCOPED_TRACE(static_cast<int>(item.version));
    ShortHeader header{0, 0, 0, item.version, 0x80, 0x02, 0, 0, 0xE0, 0x01};  // 640 x 480
    std::memcpy(header.data(), item.magic, 3);
    const StreamFormat format = ReadShortHeader(header);
    EXPECT_EQ(format.nVideoCodec, item.video);
    EXPECT_EQ(format.nAudioCodec, item.audio);
    EXPECT_EQ(format.nAudioBits, item.bits);
    EXPECT_EQ(format.nAudioSampleRate, item.audio != 0 ? 8000u : 0u);
    EXPECT_EQ(format.nWidth, 640u);
    EXPECT_EQ(format.nHeight, 480u);
    EXPECT_EQ(format.nFrameRateNum, 25u);
    header[16] = 7;  // not the 25 Hz standard
    EXPECT_EQ(ReadShortHeader(header).nFrameRateNum, 30u);
  }
}

TEST(StreamHeader, ExtendedForm) {
  FileHeader header = MakeExtended();
  EXPECT_TRUE(IsExtendedHeader(header.data(), 96));
  EXPECT_TRUE(IsExtendedHeader(header.data(), 200));
  EXPECT_FALSE(IsExtendedHeader(header.data(), 95));
  EXPECT_FALSE(IsExtendedHeader(nullptr, 96));
  const StreamFormat format = ReadFileHeader(header);
  EXPECT_EQ(format.nVideoCodec, kCodecH265);
  EXPECT_EQ(format.nWidth, 1920u);
  EXPECT_EQ(format.nHeight, 1080u);
  EXPECT_EQ(format.FramePeriodMs(), 33u);
  EXPECT_EQ(format.nAudioCodec, kCodecMulaw);
  EXPECT_EQ(format.nAudioSampleRate, 16000u);
  EXPECT_EQ(format.nAudioChannels, 2u);
  EXPECT_EQ(format.nAudioBits, 16u);

  header[kVideoDataType] = 0;  // no sound, whatever the audio fields say
  EXPECT_EQ(ReadFileHeader(header).nAudioCodec, kCodecNone);
  header[kVideoDataType] = 1;
  header[kAudioCodecID] = 5;
  EXPECT_EQ(ReadFileHeader(header).nAudioCodec, kCodecNone);
  header[kVideoCodecID] = 3;
  EXPECT_EQ(ReadFileHeader(header).nVideoCodec, kCodecNone);
  header[33] = 'f';
  EXPECT_FALSE(IsExtendedHeader(header.data(), 96));
}

TEST(StreamHeader, PlayableNeedsARateAndASaneSize) {
  const struct {
    uint32_t width, height, rateNum, rateDen;
    bool playable;
  } kCases[] = {
      {10000, 10000, 25, 1, true}, {10001, 1, 25, 1, false},
      {1, 10001, 25, 1, false},    {1, 0xFFFFFFFF, 25, 1, false},  // would be -1 if it were compared signed
      {1, 1, 25, 0, false},        {1, 1, 0, 1, false},
  };
  for (const auto& item : kCases) {
    StreamFormat format;
    format.nWidth = item.width;
    format.nHeight = item.height;
    format.nFrameRateNum = item.rateNum;
    format.nFrameRateDen = item.rateDen;
    EXPECT_EQ(format.IsPlayable(), item.playable) << item.width << "x" << item.height;
  }
}
