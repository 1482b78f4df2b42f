// The sound decoder over the library on libavcodec: real clips, against what FFmpeg's own program makes of
// them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "decode/Decoder.h"
#include "tests/decode/Clips.h"

namespace {

// Decodes the frames one by one, each against a guard page, and joins the sound.
Bytes DecodeAll(Decoder& decoder, const std::vector<Bytes>& frames) {
  GuardedInput input;
  Bytes all;
  for (const Bytes& frame : frames) {
    DecodedSound sound;
    if (decoder.DecodeFrameAudio(sound, input.Place(frame.data(), frame.size()),
                                 static_cast<uint32_t>(frame.size()), 0))
      all.insert(all.end(), sound.pData, sound.pData + sound.dwSize);
  }
  return all;
}

std::vector<Bytes> Pieces(const Bytes& stream, size_t size) {
  std::vector<Bytes> pieces;
  for (size_t at = 0; at < stream.size(); at += size)
    pieces.emplace_back(stream.begin() + static_cast<ptrdiff_t>(at),
                        stream.begin() + static_cast<ptrdiff_t>(std::min(at + size, stream.size())));
  return pieces;
}

// The frames of an ADTS stream without their headers.
std::vector<Bytes> RawAacFrames(const Bytes& stream) {
  constexpr size_t kHeader = 7;
  std::vector<Bytes> frames;
  for (size_t at = 0; at + kHeader <= stream.size();) {
    const size_t length = (stream[at + 3] & 3u) << 11 | stream[at + 4] << 3 | stream[at + 5] >> 5;
    if (length < kHeader || length > stream.size() - at) break;
    frames.emplace_back(stream.begin() + static_cast<ptrdiff_t>(at + kHeader),
                        stream.begin() + static_cast<ptrdiff_t>(at + length));
    at += length;
  }
  return frames;
}

TEST(SoundClips, CompandedSoundIsExact) {
  for (const auto& [codec, name] :
       {std::pair(kCodecAlaw, "sound.alaw"), std::pair(kCodecMulaw, "sound.ulaw")}) {
    const auto decoder = Decoder::CreateAudioDecoder(codec, 8192, 1, 8000);
    ASSERT_NE(decoder, nullptr);
    EXPECT_EQ(decoder->GetDecoderType(), codec);
    const Bytes reference = ReadClip(std::string(name) + ".pcm");
    ASSERT_EQ(reference.size(), 8000u);  // half a second
    EXPECT_EQ(DecodeAll(*decoder, Pieces(ReadClip(name), 320)), reference) << name;
  }
}

TEST(SoundClips, AacFramesComeWithoutHeaders) {
  const std::vector<Bytes> frames = RawAacFrames(ReadClip("sound.aac"));
  const Bytes reference = ReadClip("sound.aac.pcm");
  ASSERT_GE(frames.size(), 8u);
  ASSERT_EQ(reference.size(), frames.size() * 1024 * 2 * sizeof(int16_t));
  const auto stereo = Decoder::CreateAudioDecoder(kCodecAac, 8192, 2, 16000);
  ASSERT_NE(stereo, nullptr);
  EXPECT_EQ(DecodeAll(*stereo, frames), reference);

  // A stream that says one channel gives one, whatever comes.
  const auto mono = Decoder::CreateAudioDecoder(kCodecAac, 8192, 1, 16000);
  ASSERT_NE(mono, nullptr);
  EXPECT_EQ(DecodeAll(*mono, frames).size(), reference.size() / 2);
}

TEST(SoundClips, AacRefusesChannelsAndRatesThatCannotBe) {
  EXPECT_EQ(Decoder::CreateAudioDecoder(kCodecAac, 8192, 0, 16000), nullptr);
  EXPECT_EQ(Decoder::CreateAudioDecoder(kCodecAac, 8192, 9, 16000), nullptr);
  EXPECT_EQ(Decoder::CreateAudioDecoder(kCodecAac, 8192, 2, 0), nullptr);
  EXPECT_EQ(Decoder::CreateAudioDecoder(kCodecAac, 8192, 2, 16001), nullptr);
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
  const auto one = Decoder::CreateAudioDecoder(kCodecAmr, 8192, 1, 8000);
  const auto all = Decoder::CreateAudioDecoder(kCodecAmr, 8192, 1, 8000);
  ASSERT_TRUE(one && all);
  const Bytes pcm = DecodeAll(*one, frames);
  EXPECT_EQ(pcm.size(), frames.size() * kPcm);
  EXPECT_NE(std::count(pcm.begin(), pcm.end(), 0), static_cast<ptrdiff_t>(pcm.size()));  // not silence
  EXPECT_EQ(DecodeAll(*all, {together}), pcm);
}

TEST(SoundClips, SurvivesAnyBytes) {
  std::mt19937 random(20240307);
  const std::vector<Bytes> frames = RawAacFrames(ReadClip("sound.aac"));
  testing::internal::CaptureStderr();
  for (const CodecId codec : {kCodecAmr, kCodecAlaw, kCodecMulaw, kCodecAac}) {
    const auto decoder = Decoder::CreateAudioDecoder(codec, 8192, 2, 16000);
    ASSERT_NE(decoder, nullptr);
    DecodedSound sound;
    const uint8_t byte = 0;
    EXPECT_FALSE(decoder->DecodeFrameAudio(sound, nullptr, 100, 0));
    EXPECT_FALSE(decoder->DecodeFrameAudio(sound, &byte, 0, 0));
    for (int round = 0; round < 200; ++round) {
      Bytes bytes = round % 2 == 0 ? frames[random() % frames.size()] : Bytes(1 + random() % 64);
      for (uint32_t flips = random() % 20; flips > 0; --flips)
        bytes[random() % bytes.size()] = static_cast<uint8_t>(random());
      DecodeAll(*decoder, {bytes});
    }
    EXPECT_FALSE(
        DecodeAll(*decoder, codec == kCodecAac ? frames : std::vector<Bytes>{Bytes(32, 0x3C)}).empty());
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
