// The sound decoder over the library on libavcodec: real clips, against what FFmpeg's own program makes of
// them.
#include <gmock/gmock.h>

#include <memory>
#include <random>
#include <tuple>

#include "decode/Decoder.h"
#include "tests/decode/Clips.h"
#include "tests/support/GuardedPlane.h"

namespace {

// Decodes the frames one by one, each against a guard page, and joins the sound.
Bytes DecodeAll(Decoder& decoder, const std::vector<Bytes>& frames) {
  Bytes all;
  for (const Bytes& frame : frames) {
    DecodedSound sound;
    if (decoder.DecodeFrameAudio(sound, GuardedBytes(frame).Data(), static_cast<uint32_t>(frame.size()), 0))
      all.insert(all.end(), sound.pData, sound.pData + sound.dwSize);
  }
  return all;
}

Bytes DecodeAll(CodecId codec, uint32_t channels, const std::vector<Bytes>& frames) {
  return DecodeAll(*Decoder::CreateAudioDecoder(codec, 8192, channels, 16000), frames);
}

// The frames of an ADTS stream without their headers.
std::vector<Bytes> RawAacFrames(const Bytes& stream) {
  constexpr size_t kHeader = 7;
  std::vector<Bytes> frames;
  for (auto at = stream.begin(); at != stream.end();) {
    const auto end = at + ((at[3] & 3) << 11 | at[4] << 3 | at[5] >> 5);
    frames.emplace_back(at + kHeader, end);
    at = end;
  }
  return frames;
}

TEST(SoundClips, DecodeAsTheReferenceDoes) {
  EXPECT_EQ(DecodeAll(kCodecAlaw, 1, {ReadClip("sound.al")}), ReadClip("sound.al.raw"));
  EXPECT_EQ(DecodeAll(kCodecMulaw, 1, {ReadClip("sound.ul")}), ReadClip("sound.ul.raw"));
  const std::vector<Bytes> frames = RawAacFrames(ReadClip("sound.aac"));
  const Bytes reference = ReadClip("sound.aac.raw");
  ASSERT_GT(reference.size(), 16000u);
  EXPECT_EQ(DecodeAll(kCodecAac, 2, frames), reference);
  // A stream that says one channel gives one, whatever comes.
  EXPECT_EQ(DecodeAll(kCodecAac, 1, frames).size(), reference.size() / 2);

  for (const auto& [channels, rate] : {std::pair(0u, 16000u), {9u, 16000u}, {2u, 0u}, {2u, 16001u}})
    EXPECT_EQ(Decoder::CreateAudioDecoder(kCodecAac, 8192, channels, rate), nullptr);
}

// 20 ms a frame, also when several come at once.
TEST(SoundClips, AmrFramesMayComeTogether) {
  constexpr size_t kFrame = 32, kPcm = 160 * sizeof(int16_t);
  std::mt19937 random(5);
  std::vector<Bytes> frames(4, Bytes(kFrame));
  Bytes together;
  for (Bytes& frame : frames) {
    for (uint8_t& byte : frame)
      byte = static_cast<uint8_t>(random());
    frame[0] = 7 << 3 | 4;  // 12.2 kbit/s, good quality
    together.insert(together.end(), frame.begin(), frame.end());
  }
  const Bytes pcm = DecodeAll(kCodecAmr, 1, frames);
  EXPECT_EQ(pcm.size(), frames.size() * kPcm);
  EXPECT_THAT(pcm, testing::Contains(testing::Ne(0)));
  EXPECT_EQ(DecodeAll(kCodecAmr, 1, {together}), pcm);
  // No more than ten seconds of them.
  while (together.size() < 600 * kFrame)
    together.insert(together.end(), frames[0].begin(), frames[0].end());
  EXPECT_EQ(DecodeAll(kCodecAmr, 1, {together}).size(), 500 * kPcm);
}

TEST(SoundClips, SurviveAnyBytes) {
  std::mt19937 random(20240307);
  const std::vector<Bytes> frames = RawAacFrames(ReadClip("sound.aac"));
  testing::internal::CaptureStderr();
  for (const CodecId codec : {kCodecAmr, kCodecAlaw, kCodecMulaw, kCodecAac}) {
    const auto decoder = Decoder::CreateAudioDecoder(codec, 8192, 2, 16000);
    EXPECT_EQ(decoder->GetDecoderType(), codec);
    DecodedSound sound;
    EXPECT_FALSE(decoder->DecodeFrameAudio(sound, nullptr, 100, 0));
    EXPECT_EQ(DecodeAll(*decoder, {Bytes()}), Bytes());
    for (int round = 0; round < 200; ++round) {
      Bytes bytes = round % 2 == 0 ? frames[random() % frames.size()] : Bytes(1 + random() % 64);
      for (uint32_t flips = random() % 20; flips > 0; --flips)
        bytes[random() % bytes.size()] = static_cast<uint8_t>(random());
      DecodeAll(*decoder, {bytes});
    }
    EXPECT_NE(DecodeAll(*decoder, codec == kCodecAac ? frames : std::vector<Bytes>{Bytes(32, 0x3C)}),
              Bytes());
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
