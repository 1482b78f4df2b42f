// Key frames of MP4 files as pictures, and what is said of files of either format, without a player.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <vector>

#include "decode/Decoder.h"
#include "file/MediaFile.h"
#include "file/MediaFileStream.h"
#include "tests/support/Recording.h"
#include "tests/support/TempDir.h"

namespace {

std::string Clip(const std::string& name) {
  return QX_CLIPS + name;
}

// The picture of key frame `number`, by playing on from there until it comes out.
std::vector<uint8_t> PlayedPicture(const std::string& name, uint32_t number) {
  const auto file = MediaFileStream::OpenFile(name.c_str());
  const auto decoder = Decoder::CreateVideoDecoder(file->Info().nVideoCodecID, 96, 64, 40);
  std::vector<uint8_t> frameBytes(1 << 20);
  std::vector<uint8_t> pixels(96 * 64 * 4);
  FrameRecord frame;
  DecodedPicture picture;
  file->GotoKeyFrame(number);
  while (!picture.bHasImage && file->ReadFrame(frameBytes, frame)) {
    if (frame.ftFrameType == QFT_Video)
      decoder->DecodeFrameVideo(picture, frame.pFrame, frame.dwFrameSize, 0);
  }
  EXPECT_TRUE(decoder->GetImageRGB32(pixels.data(), static_cast<uint32_t>(pixels.size())));
  return pixels;
}

// The first key frame at or after `number`, as playing the file tells.
uint32_t KeyFrameFrom(const std::string& name, uint32_t number) {
  const auto file = MediaFileStream::OpenFile(name.c_str());
  std::vector<uint8_t> frameBytes(1 << 20);
  FrameRecord frame;
  do {
    EXPECT_TRUE(file->ReadFrame(frameBytes, frame));
  } while (frame.ftFrameType != QFT_Video || !frame.bKeyFrame || file->GetCurFrameNum() < number);
  return file->GetCurFrameNum();
}

}  // namespace

TEST(MediaFiles, KeyFramesComeAsTheyArePlayedAndMustFit) {
  for (const char* clip : {"aac.mp4", "plain.mp4", "mulaw.mp4", "fragments.mp4"}) {  // B-frames, none, H.265
    SCOPED_TRACE(clip);
    MediaFile::Info info;
    const auto file = MediaFile::Open(Clip(clip).c_str(), info);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(info.dwTotalFrames, 50u);
    EXPECT_EQ(info.dwWidth, 96u);
    EXPECT_EQ(info.dwHeight, 64u);
    EXPECT_EQ(info.dwFrameRateNum, 1500u);
    EXPECT_EQ(info.dwFrameRateDen, 60u);
    std::vector<uint8_t> pixels(96 * 64 * 4 + 1, 0xEE);
    EXPECT_EQ(file->GetOneFrame(5, pixels.data(), 96 * 64 * 4 - 1), -1);
    EXPECT_EQ(pixels, std::vector<uint8_t>(pixels.size(), 0xEE));
    for (const uint32_t from : {5u, 31u, 1u}) {  // also backwards
      const uint32_t key = KeyFrameFrom(Clip(clip), from);
      EXPECT_EQ(file->FindKeyFrame(from), static_cast<int32_t>(key));
      ASSERT_EQ(file->GetOneFrame(from, pixels.data(), 96 * 64 * 4), static_cast<int32_t>(key));
      EXPECT_EQ(pixels.back(), 0xEE);
      EXPECT_TRUE(std::equal(pixels.begin(), pixels.end() - 1, PlayedPicture(Clip(clip), key).begin()))
          << key;
    }
    for (const uint32_t none : {0u, 45u, 51u, 0xFFFFFFFFu})
      EXPECT_EQ(file->GetOneFrame(none, pixels.data(), 96 * 64 * 4), -1) << none;
  }
}

TEST(MediaFiles, RecordingsAreDescribedAndHaveNoPictures) {
  const TempDir dir;
  const std::string name = Recording(5, 1).Add(1, "a").Save(dir / "a.sv5");
  MediaFile::Info info;
  const auto file = MediaFile::Open(name.c_str(), info);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(info.dwTotalFrames, 1u);
  EXPECT_EQ(info.dwFrameRateNum, 30u);
  EXPECT_EQ(info.dwFrameRateDen, 1u);
  uint8_t pixels[64 * 48 * 4];
  EXPECT_EQ(file->GetOneFrame(1, pixels, sizeof pixels), -1);
  EXPECT_EQ(file->FindKeyFrame(1), -1);
  EXPECT_NE(MediaFile::Open(Recording(200).Save(dir / "b.any").c_str(), info), nullptr);
}

TEST(MediaFiles, OthersAreRefused) {
  const TempDir dir;
  std::filesystem::copy(Clip("plain.mp4"), dir / "upper.MP4");
  MediaFile::Info info;
  for (const std::string& name :
       {dir / "upper.MP4", dir / "missing.mp4", dir / "missing.sv5", std::string(".mp4"),
        Recording::Write(dir / "short.sv5", "QXS\x05"), Recording::Write(dir / "a.mp4", "")})
    EXPECT_EQ(MediaFile::Open(name.c_str(), info), nullptr) << name;
  EXPECT_EQ(MediaFile::Open(nullptr, info), nullptr);
}
