// The reader of the library's own recordings: what it hands out of good and of damaged files, and where it
// seeks. Recordings that break off, grow or are large are played in tests/api/filefaults_test.cpp.
#include "file/SVXFileStream.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <vector>

#include "decode/Decoder.h"
#include "tests/support/GuardedPlane.h"
#include "tests/support/Recording.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestSeam.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// Hands files out in small pieces, and fails on demand.
class SlowDisk : public TestSeam {
 public:
  SlowDisk() : TestSeam(kByDerived) { Install(); }
  ~SlowDisk() override { Remove(); }

  intptr_t ReadFile(int descriptor, void* buffer, size_t bytes) override {
    if (nReadsLeft-- <= 0) {
      errno = EIO;
      return -1;
    }
    return TestSeam::ReadFile(descriptor, buffer, std::min(bytes, nPieceBytes));
  }

  size_t nPieceBytes = SIZE_MAX;
  int nReadsLeft = INT32_MAX;
};

class SvxFiles : public testing::Test {
 protected:
  std::string Save(const Recording& recording) { return recording.Save(dir / "a.sv5"); }

  SlowDisk disk;
  TempDir dir;
};

// "K1 payload" a key frame with its number, "V2 payload" another video frame, "A payload" sound.
std::string Describe(MediaFileStream& file, const FrameRecord& frame) {
  const std::string text(reinterpret_cast<const char*>(frame.pFrame), frame.dwFrameSize);
  if (frame.ftFrameType == QFT_Audio) return "A " + text;
  return (frame.bKeyFrame ? "K" : "V") + std::to_string(file.GetCurFrameNum()) + " " + text;
}

std::string ReadOne(MediaFileStream& file) {
  static std::vector<uint8_t> buffer(1 << 20);
  FrameRecord frame;
  return file.ReadFrame(buffer, frame) && frame.bDisplay ? Describe(file, frame) : "end";
}

std::vector<std::string> ReadAll(const std::string& name) {
  const std::shared_ptr<MediaFileStream> file = MediaFileStream::OpenFile(name.c_str());
  if (file == nullptr) return {"refused"};
  std::vector<std::string> frames;
  for (std::string frame; (frame = ReadOne(*file)) != "end";)
    frames.push_back(frame);
  return frames;
}

}  // namespace

TEST_F(SvxFiles, RecordsAreHandedOutWhateverPiecesTheyArriveIn) {
  const std::string lostSync = Recording(5).Sync() + Recording::Word(0x35);
  const Recording good = Recording(5)
                             .Add(0, "before the first key frame")
                             .Add(2, "early sound")
                             .Add(1, "first")
                             .Add(2, "sound")
                             .AddBytes("garbage" + lostSync + "garbage QXS")
                             .Add(4, "other")
                             .AddBytes("????" + Recording::Word(6 << 4 | 4) + "nosync")
                             .Add(3, "nothing")
                             .Add(9, "invalid")
                             .Add(0, "")
                             .Add(1, std::string(3000, 'x'))
                             .Add(0, "last");
  const Recording older = Recording(8).Add(1, "key").Add(2, "snd").Add(3, "empty");
  for (const size_t piece : {size_t{1}, size_t{17}, size_t{512}, SIZE_MAX}) {
    SCOPED_TRACE(piece);
    disk.nPieceBytes = piece;
    EXPECT_THAT(ReadAll(Save(good)), ElementsAre("K2 first", "A sound", "V3 other", "V4 nosync", "V5 ",
                                                 "K6 " + std::string(3000, 'x'), "V7 last"));
    EXPECT_THAT(ReadAll(Save(older)),
                ElementsAre("K1 " + older.Sync() + Recording::Word(3 << 4 | 1) + "key", "A snd", "V2 "));
  }
}

TEST_F(SvxFiles, NamesVersionsAndHeadersAreChecked) {
  const std::string good = Recording(5).Add(1, "a").Bytes();
  for (const char* name : {"x.SV5", "x.sv4", "x.Sv6"})
    EXPECT_THAT(ReadAll(Recording::Write(dir / name, good)), ElementsAre("K1 a")) << name;
  for (const char* name : {"x.sv7", "x.avi", "xsv5", "sv5"})
    EXPECT_THAT(ReadAll(Recording::Write(dir / name, good)), ElementsAre("refused")) << name;
  EXPECT_EQ(MediaFileStream::OpenFile(nullptr), nullptr);
  EXPECT_THAT(ReadAll(dir / "missing.sv5"), ElementsAre("refused"));
  EXPECT_THAT(ReadAll(Recording::Write(dir / "a.sv5", good.substr(0, 63))), ElementsAre("refused"));
  EXPECT_THAT(ReadAll(Recording::Write(dir / "a.sv5", good.substr(0, 64))), IsEmpty());

  for (uint32_t version = 0; version < 256; ++version) {
    const auto file =
        MediaFileStream::OpenFile(Save(Recording(static_cast<uint8_t>(version)).Add(1, "a")).c_str());
    const bool older = version == 4 || version == 8 || version == 9;
    const bool h264 = version == 5 || version == 7 || version == 16 || version == 17;
    EXPECT_EQ(file != nullptr ? file->Info().nVideoCodecID : kCodecNone, older  ? kCodecQdec04
                                                                         : h264 ? kCodecH264
                                                                                : kCodecNone)
        << version;
  }

  const auto file = MediaFileStream::OpenFile(Save(Recording(5, 2).SetTotalFrames(0x12345678)).c_str());
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->Info().nFrameRateNum, 30u);
  EXPECT_EQ(file->Info().nTotalFrames, 0x12345678u);
  char header[32];
  EXPECT_FALSE(file->GetHeader(header, 31));
  EXPECT_TRUE(file->GetHeader(header, 32));
  EXPECT_EQ(std::string(header, 32), std::string("QXS\x05") + Recording::Word(64) + Recording::Word(48) +
                                         Recording::Word(0x12345678) + Recording::Word(2) +
                                         std::string(12, '\x11'));
}

TEST_F(SvxFiles, SeeksGoToTheLastKeyFrameBeforeTheTarget) {
  // Video frames 1 to 9, key frames 2, 5 and 8, with damage on the way.
  Recording recording(5);
  for (const char* record : {"0a", "1b", "2s", "0c", "0d", "1e", "0f", "2t", "0g", "1h", "0i"}) {
    if (*record == '2') recording.AddBytes("damage");
    recording.Add(static_cast<uint32_t>(*record - '0'), record + 1);
  }
  const std::string name = Save(recording);
  const auto file = MediaFileStream::OpenFile(name.c_str());
  ASSERT_NE(file, nullptr);
  uint32_t position = 9;
  uint32_t number = 9;
  EXPECT_TRUE(file->GetKeyFramePos(position, number));
  EXPECT_EQ(position + number, 0u);
  const struct {
    uint32_t target;
    const char* first;
  } seeks[] = {{kFirstKeyFrame, "K2 b"},
               {1, "K2 b"},
               {2, "K2 b"},
               {5, "K2 b"},
               {6, "K5 e"},
               {8, "K5 e"},
               {9, "K8 h"},
               {10, "K8 h"},
               {0, "V9 i"}};
  for (const auto& seek : seeks) {
    SCOPED_TRACE(seek.target);
    EXPECT_TRUE(file->GotoKeyFrame(seek.target));
    EXPECT_EQ(ReadOne(*file), seek.first);
    EXPECT_TRUE(file->GetKeyFramePos(position, number));
    // What stands at the reported place is that key frame's record.
    EXPECT_EQ(recording.Bytes().substr(position + 8, 1), std::string(1, "-b--e--h"[number - 1]));
  }
  file->GotoKeyFrame(11);
  EXPECT_EQ(ReadOne(*file), "end");
  EXPECT_EQ(ReadOne(*file), "end");  // asked for again, and not there
  EXPECT_EQ(file->GetCurFrameNum(), 9u);
  file->GotoKeyFrame(6);
  EXPECT_EQ(ReadOne(*file), "K5 e");
}

TEST_F(SvxFiles, SmallBuffersReadErrorsAndInterruptionsLoseNoFrame) {
  const auto file = MediaFileStream::OpenFile(Save(Recording(5).Add(1, "abcd").Add(0, "efgh")).c_str());
  ASSERT_NE(file, nullptr);
  uint8_t buffer[4] = {};
  FrameRecord frame;
  EXPECT_FALSE(file->ReadFrame({buffer, 3}, frame));
  EXPECT_TRUE(file->ReadFrame(buffer, frame));
  EXPECT_EQ(Describe(*file, frame), "K1 abcd");
  disk.nReadsLeft = 0;
  EXPECT_EQ(ReadOne(*file), "V2 efgh");  // in memory already
  EXPECT_EQ(ReadOne(*file), "end");
  file->GotoKeyFrame(1);
  file->Interrupt();
  EXPECT_EQ(ReadOne(*file), "end");
  EXPECT_EQ(MediaFileStream::OpenFile((dir / "a.sv5").c_str()), nullptr);
}

TEST_F(SvxFiles, EveryDamageOfAByteIsSurvived) {
  const std::string good = Recording(5).Add(1, "first").Add(2, "sound").Add(3, "x").Add(1, "next").Bytes();
  const GuardedBytes guarded(std::vector<uint8_t>(64));
  const std::span<uint8_t> buffer(const_cast<uint8_t*>(guarded.Data()), 64);
  for (size_t at = 0; at < good.size(); ++at) {
    for (const int flip : {0xFF, 1, 4, 0x40}) {
      std::string bad = good;
      bad[at] = static_cast<char>(bad[at] ^ flip);
      const auto file = MediaFileStream::OpenFile(Recording::Write(dir / "a.sv5", bad).c_str());
      size_t handedOut = 0;
      FrameRecord frame;
      while (file != nullptr && file->ReadFrame(buffer, frame))
        handedOut += frame.dwFrameSize;
      ASSERT_LE(handedOut, bad.size() - 64) << at;
    }
  }
}
