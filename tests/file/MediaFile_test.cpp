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

// A key frame of the file, and its picture.
struct Played {
  uint32_t number;
  std::vector<uint8_t> pixels;
};

// The first key frame at or after `from`, by playing on from there until its picture comes out.
Played PlayFrom(const std::string& name, uint32_t from) {
  const auto file = MediaFileStream::OpenFile(name.c_str());
  const auto decoder = Decoder::CreateVideoDecoder(file->Info().nVideoCodecID, 96, 64, 40);
  std::vector<uint8_t> frameBytes(1 << 20);
  Played played = {0, std::vector<uint8_t>(96 * 64 * 4)};
  FrameRecord frame;
  DecodedPicture picture;
  while (!picture.bHasImage && file->ReadFrame(frameBytes, frame)) {
    if (frame.ftFrameType != QFT_Video) continue;
    const bool isIt = played.number == 0 && frame.bKeyFrame && file->GetCurFrameNum() >= from;
    if (isIt) played.number = file->GetCurFrameNum();
    if (played.number != 0) decoder->DecodeFrameVideo(picture, frame.pFrame, frame.dwFrameSize, 0);
  }
  EXPECT_TRUE(decoder->GetImageRGB32(played.pixels.data(), static_cast<uint32_t>(played.pixels.size())));
  return played;
}

}  // namespace

TEST(MediaFiles, KeyFramesComeAsTheyArePlayedAndMustFit) {
  for (const char* clip : {"aac.mp4", "plain.mp4", "mulaw.mp4", "fragments.mp4"}) {  // B-frames, none, H.265
    SCOPED_TRACE(clip);
    MediaFile::Info info;
    const auto file = MediaFile::Open(Clip(clip).c_str(), info);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(std::tuple(info.dwTotalFrames, info.dwWidth, info.dwHeight), std::tuple(50u, 96u, 64u));
    EXPECT_EQ(std::tuple(info.dwFrameRateNum, info.dwFrameRateDen), std::tuple(1500u, 60u));
    std::vector<uint8_t> pixels(96 * 64 * 4 + 1, 0xEE);
    EXPECT_EQ(file->GetOneFrame(5, pixels.data(), 96 * 64 * 4 - 1), -1);
    EXPECT_EQ(pixels, std::vector<uint8_t>(pixels.size(), 0xEE));
    for (const uint32_t from : {5u, 31u, 1u}) {  // also backwards
      const Played key = PlayFrom(Clip(clip), from);
      EXPECT_EQ(file->FindKeyFrame(from), static_cast<int32_t>(key.number));
      ASSERT_EQ(file->GetOneFrame(from, pixels.data(), 96 * 64 * 4), static_cast<int32_t>(key.number));
      EXPECT_EQ(pixels.back(), 0xEE);
      EXPECT_TRUE(std::equal(key.pixels.begin(), key.pixels.end(), pixels.begin())) << from;
    }
    for (const uint32_t none : {0u, 45u, 51u, 0xFFFFFFFFu})
      EXPECT_EQ(file->GetOneFrame(none, pixels.data(), 96 * 64 * 4), -1) << none;
  }
}

TEST(MediaFiles, RecordingsAreDescribedAndOthersRefused) {
  const TempDir dir;
  MediaFile::Info info;
  const auto file = MediaFile::Open(Recording(5, 1).Add(1, "a").Save(dir / "a.sv5").c_str(), info);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(std::tuple(info.dwTotalFrames, info.dwFrameRateNum, info.dwFrameRateDen),
            std::tuple(1u, 30u, 1u));
  uint8_t pixels[64 * 48 * 4];
  EXPECT_EQ(file->GetOneFrame(1, pixels, sizeof pixels), -1);
  EXPECT_EQ(file->FindKeyFrame(1), -1);
  EXPECT_NE(MediaFile::Open(Recording(200).Save(dir / "b.any").c_str(), info), nullptr);

  std::filesystem::copy(Clip("plain.mp4"), dir / "upper.MP4");
  for (const std::string& name :
       {dir / "upper.MP4", dir / "missing.mp4", dir / "missing.sv5", std::string(".mp4"),
        Recording::Write(dir / "short.sv5", "QXS\x05"), Recording::Write(dir / "a.mp4", "")})
    EXPECT_EQ(MediaFile::Open(name.c_str(), info), nullptr) << name;
  EXPECT_EQ(MediaFile::Open(nullptr, info), nullptr);
}
