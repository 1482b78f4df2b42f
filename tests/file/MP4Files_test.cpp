// MP4 files as FFmpeg's own program writes them, whole, altered and damaged, through the MP4 library of this
// project.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <utility>

#include "codecs/qmp4pkg/QdxIndex.h"
#include "decode/Decoder.h"
#include "file/MediaFileStream.h"
#include "qmp4pkg.h"
#include "src/kitc/Log.h"
#include "tests/decode/Clips.h"
#include "tests/support/NalUnits.h"
#include "tests/support/TempDir.h"

namespace {

Bytes ReadFile(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(file), {});
}

void WriteFile(const std::string& name, const Bytes& bytes, std::ios::openmode mode = std::ios::trunc) {
  std::ofstream file(name, std::ios::binary | mode);
  std::copy(bytes.begin(), bytes.end(), std::ostreambuf_iterator<char>(file));
}

// Of a file that is there: many tests of one byte each.
void WriteByte(const std::string& name, size_t at, uint8_t byte) {
  std::fstream file(name, std::ios::binary | std::ios::in | std::ios::out);
  file.seekp(static_cast<std::streamoff>(at)).put(static_cast<char>(byte));
}

struct Track {
  std::vector<Bytes> frames;
  std::vector<uint32_t> keyFrames;  // their numbers
  bool operator==(const Track&) const = default;
};

// All frames of one track: an A/V offset of days keeps the other one waiting.
Track ReadTrack(const std::string& name, FrameType type) {
  static Bytes buffer(1 << 20);
  Track track;
  const auto reader = MediaFileStream::OpenFile(name.c_str());
  if (reader == nullptr) return track;
  EXPECT_GT(reader->Info().nFrameRateNum, 0u);
  reader->SetAVOffset(type == QFT_Video ? -1000000000 : 1000000000);
  for (FrameRecord frame; reader->ReadFrame(buffer, frame) && frame.ftFrameType == type;) {
    track.frames.emplace_back(frame.pFrame, frame.pFrame + frame.dwFrameSize);
    if (frame.bKeyFrame) track.keyFrames.push_back(static_cast<uint32_t>(track.frames.size()));
  }
  return track;
}
Track ReadVideo(const std::string& name) {
  return ReadTrack(name, QFT_Video);
}

bool IsIndexed(const std::string& name) {
  QP_CheckResult check = {};
  EXPECT_NE(QP_CheckFile(name.c_str(), &check), 0);
  return check.nMode == 0;
}

uint32_t Word(const Bytes& bytes, size_t at) {
  return uint32_t{bytes[at]} << 24 | uint32_t{bytes[at + 1]} << 16 | uint32_t{bytes[at + 2]} << 8 |
         bytes[at + 3];
}
void Append(Bytes& bytes, uint64_t value, int size) {
  for (int shift = 8 * (size - 1); shift >= 0; shift -= 8)
    bytes.push_back(static_cast<uint8_t>(value >> shift));
}
// Changes type and body of every box at `path` ("moov/trak/edts"), and so the lengths of those around them.
Bytes Altered(const Bytes& boxes, const std::string& path,
              const std::function<void(std::string& type, Bytes& body)>& alter) {
  Bytes all;
  for (size_t at = 0; at < boxes.size(); at += Word(boxes, at)) {
    const uint8_t* const box = &boxes[at];
    std::string type(box + 4, box + 8);
    Bytes body(box + 8, box + Word(boxes, at));
    const bool isOnTheWay = path.starts_with(type);
    if (isOnTheWay && path.size() > 4) body = Altered(body, path.substr(5), alter);
    if (isOnTheWay && path.size() == 4) alter(type, body);
    Append(all, body.size() + 8, 4);
    all.insert(all.end(), type.begin(), type.end());
    all.insert(all.end(), body.begin(), body.end());
  }
  return all;
}

Bytes Join(const Track& track) {
  Bytes all;
  for (const Bytes& frame : track.frames)
    all.insert(all.end(), frame.begin(), frame.end());
  return all;
}

class Mp4Files : public testing::Test {
 protected:
  Mp4Files() { kitc_log_config(kLogNone, nullptr, kLogNone); }

  // At every picture the sound is where the picture and the offset are, from the start on and after a jump.
  void ExpectInterleaved(size_t audioFrames, uint32_t keyFrame) const {
    const auto sounds = static_cast<double>(audioFrames);
    Bytes buffer(1 << 20);
    for (const int32_t offsetMs : {0, 200, -60}) {
      const auto reader = MediaFileStream::OpenFile(m_Name.c_str());
      reader->SetAVOffset(offsetMs);
      for (const uint32_t start : {1u, keyFrame}) {
        reader->GotoKeyFrame(start);
        double heard = sounds * (start - 1) / 50;
        uint32_t seen = start - 1;
        for (FrameRecord frame; reader->ReadFrame(buffer, frame);) {
          if (frame.ftFrameType == QFT_Audio) ++heard;
          if (frame.ftFrameType == QFT_Audio) continue;
          EXPECT_EQ(reader->GetCurFrameNum(), ++seen);
          const double now = std::clamp((seen * 40. + offsetMs) / 2000, 0., 1.);
          EXPECT_NEAR(heard, std::max(now, (start - 1) / 50.) * sounds, 4 + 0.06 * sounds)
              << offsetMs << ' ' << seen;
        }
        EXPECT_EQ(seen, 50u) << offsetMs;
      }
    }
  }

  const TempDir m_Folder;
  const std::string m_Name = m_Folder / "a.mp4", m_Index = m_Folder / "a.qdx";
};

// Every frame of every kind of file, the same in both modes.
TEST_F(Mp4Files, AreTakenApart) {
  struct Clip {
    const char* name;
    uint32_t nVideoCodec, nAudioCodec;
  };
  for (const Clip& clip :
       {Clip{"plain.mp4", kCodecH264, kCodecNone}, Clip{"aac.mp4", kCodecH264, kCodecAac},
        Clip{"alaw.mp4", kCodecH264, kCodecAlaw}, Clip{"mulaw.mp4", kCodecH265, kCodecMulaw},
        Clip{"amr.mp4", kCodecH265, kCodecAmr}, Clip{"fragments.mp4", kCodecH264, kCodecAac}}) {
    SCOPED_TRACE(clip.name);
    const std::string reference = clip.name;
    std::filesystem::remove(m_Index);
    WriteFile(m_Name, ReadClip(reference));
    ASSERT_FALSE(IsIndexed(m_Name));
    const auto reader = MediaFileStream::OpenFile(m_Name.c_str());
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->Info().nVideoCodecID, clip.nVideoCodec);
    EXPECT_EQ(reader->Info().nAudioCodecID, clip.nAudioCodec);
    EXPECT_EQ(reader->Info().nTotalFrames, 50u);
    EXPECT_NEAR(reader->Info().nFrameRateNum, 25000, 1);
    const Track video = ReadVideo(m_Name), audio = ReadTrack(m_Name, QFT_Audio);
    EXPECT_EQ(video.frames.size(), 50u);
    EXPECT_EQ(audio.frames.size(), reader->Info().nAudioFrames);
    const bool h265 = clip.nVideoCodec == kCodecH265;
    EXPECT_EQ(NalUnitsOfPictures(Join(video), h265),
              NalUnitsOfPictures(ReadClip(reference + ".video"), h265));
    for (const uint32_t key : video.keyFrames)
      EXPECT_EQ(video.frames[key - 1][4], h265 ? 0x40 : 0x67);  // VPS or SPS
    if (clip.nAudioCodec != kCodecNone) {
      EXPECT_EQ(Join(audio), ReadClip(reference + ".audio"));
    }

    ExpectInterleaved(audio.frames.size(), video.keyFrames[2]);
    const uint32_t last = video.keyFrames.back();
    for (const auto& [target, key] :
         {std::pair(last - 1, video.keyFrames.end()[-2]), {last, last}, {1000, last}, {1, 1}}) {
      Bytes buffer(1 << 20);
      FrameRecord frame;
      reader->GotoKeyFrame(target);
      while (reader->ReadFrame(buffer, frame) && frame.ftFrameType == QFT_Audio) {
      }
      EXPECT_TRUE(frame.bKeyFrame);
      EXPECT_EQ(reader->GetCurFrameNum(), key) << target;
    }

    std::string error;
    ASSERT_TRUE(WriteQdxIndex(m_Name, m_Index, error)) << error;
    ASSERT_TRUE(IsIndexed(m_Name));
    EXPECT_EQ(ReadVideo(m_Name), video);
    EXPECT_EQ(ReadTrack(m_Name, QFT_Audio), audio);
    const auto indexed = MediaFileStream::OpenFile(m_Name.c_str());
    EXPECT_EQ(indexed->Info().nFrameRateNum, reader->Info().nFrameRateNum);
    ExpectInterleaved(audio.frames.size(), video.keyFrames[2]);
  }
  EXPECT_EQ(MediaFileStream::OpenFile(QX_CLIPS "older.mp4"), nullptr);
  EXPECT_EQ(MediaFileStream::OpenFile(QX_CLIPS "missing.mp4"), nullptr);
  EXPECT_EQ(MediaFileStream::OpenFile(QX_CLIPS "aac.mp4")->Info().nAudioSampleRate, 44100u);
}

TEST_F(Mp4Files, MayBeUnusual) {
  const Track original = ReadVideo(QX_CLIPS "alaw.mp4");
  const std::string tables = "moov/trak/mdia/minf/stbl/";
  const auto altered = [&](const std::string& path, const auto& alter) {
    WriteFile(m_Name, Altered(ReadClip("alaw.mp4"), path, alter));
    return ReadVideo(m_Name);
  };
  // Without a table of key frames all are; an empty one leaves the first.
  EXPECT_EQ(altered(tables + "stss", [](std::string& type, Bytes&) { type = "free"; }).keyFrames.size(), 50u);
  EXPECT_EQ(altered(tables + "stss", [](std::string&, Bytes& body) { body.assign(8, 0); }).keyFrames,
            std::vector<uint32_t>{1});

  // An edit that leaves the first 1.08 s out: it starts at the key frame before.
  const Track edited = altered("moov/trak/edts/elst", [](std::string&, Bytes& body) {
    body = {0, 0, 0, 0, 0, 0, 0, 1};
    for (const uint32_t word : {900u, 12800u + 1024u, 0x10000u})
      Append(body, word, 4);
  });
  ASSERT_FALSE(edited.frames.empty());
  EXPECT_EQ(edited.frames[0], original.frames[20]);

  // A second description with other parameter sets, from the second run of chunks on.
  altered(tables + "stsd", [](std::string&, Bytes& body) {
    const std::string config = "avcC";
    const auto at = std::search(body.begin(), body.end(), config.begin(), config.end());
    if (at == body.end()) return;  // the sound's
    Bytes second(body.begin() + 8, body.end());
    second[static_cast<size_t>(at - body.begin()) - 8 + 4 + 8 + 3] ^= 1;
    body.insert(body.end(), second.begin(), second.end());
    body[7] = 2;
  });
  bool isVideo = true;  // the first track
  WriteFile(m_Name, Altered(ReadFile(m_Name), tables + "stsc", [&](std::string&, Bytes& body) {
              for (size_t entry = 8 + 12; isVideo && entry < body.size(); entry += 12)
                body[entry + 11] = 2;
              isVideo = false;
            }));
  const Track changed = ReadVideo(m_Name);
  ASSERT_EQ(changed.frames.size(), 50u);
  EXPECT_EQ(changed.frames[0], original.frames[0]);
  Bytes other = original.frames[40];
  other[4 + 3] ^= 1;
  EXPECT_EQ(changed.frames[40], other);

  // Behind 5 GiB of nothing.
  constexpr uint64_t kHole = uint64_t{5} << 30;
  const Bytes moved = Altered(ReadClip("alaw.mp4"), tables + "stco", [](std::string& type, Bytes& body) {
    type = "co64";
    const Bytes offsets = std::exchange(body, Bytes(body.begin(), body.begin() + 8));
    for (size_t at = 8; at < offsets.size(); at += 4)
      Append(body, Word(offsets, at) + kHole, 8);
  });
  Bytes head = {0, 0, 0, 1, 'f', 'r', 'e', 'e'};
  Append(head, kHole, 8);
  WriteFile(m_Name, head);
  std::filesystem::resize_file(m_Name, kHole);
  WriteFile(m_Name, moved, std::ios::app);
  EXPECT_EQ(ReadVideo(m_Name), original);
}

// Cut anywhere, or one byte wrong anywhere outside the frames: nothing but fewer frames, and nothing on the
// standard error.
TEST_F(Mp4Files, MayBeDamaged) {
  testing::internal::CaptureStderr();
  for (const std::string clip : {"plain.mp4", "fragments.mp4", "amr.mp4"}) {
    const Bytes good = ReadClip(clip);
    const auto all = ReadVideo(QX_CLIPS + clip).frames;
    size_t most = 0;
    for (size_t size = 0; size < good.size(); size += 1000) {
      WriteFile(m_Name, Bytes(good.begin(), good.begin() + static_cast<ptrdiff_t>(size)));
      const auto some = ReadVideo(m_Name).frames;
      ASSERT_GE(some.size(), most) << clip << size;
      ASSERT_TRUE(std::mismatch(some.begin(), some.end(), all.begin(), all.end()).first == some.end());
      most = some.size();
    }
    EXPECT_EQ(most > 40, clip != "amr.mp4") << clip;  // its table stands at the end

    WriteFile(m_Name, good);
    size_t nextBox = 0, opened = 0;
    for (size_t at = 0; at < good.size(); ++at) {
      while (at == nextBox && at < good.size()) {
        nextBox += Word(good, at);
        if (good[at + 4] == 'm' && good[at + 5] == 'd') at = nextBox;
      }
      if (at >= good.size()) break;
      WriteByte(m_Name, at, good[at] ^ static_cast<uint8_t>(at % 3 == 0 ? 0x80 : 0xFF));
      if (!ReadVideo(m_Name).frames.empty()) ++opened;
      ReadTrack(m_Name, QFT_Audio);
      WriteByte(m_Name, at, good[at]);
    }
    EXPECT_GT(opened, 100u);
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

  // The file shrinks, and is gone, while it is open.
  WriteFile(m_Name, ReadClip("plain.mp4"));
  const auto reader = MediaFileStream::OpenFile(m_Name.c_str());
  std::filesystem::resize_file(m_Name, 8000);
  std::filesystem::remove(m_Name);
  Bytes buffer(1 << 20);
  FrameRecord frame;
  EXPECT_TRUE(reader->ReadFrame(buffer, frame));
  reader->GotoKeyFrame(50);
  EXPECT_FALSE(reader->ReadFrame(buffer, frame));
}

TEST_F(Mp4Files, AreNotReadByAWrongIndex) {
  const Bytes movie = ReadClip("aac.mp4");
  WriteFile(m_Name, movie);
  std::string error;
  ASSERT_TRUE(WriteQdxIndex(m_Name, m_Index, error));
  const Bytes good = ReadFile(m_Index);
  for (size_t at = 0; at < good.size(); ++at) {
    WriteByte(m_Index, at, good[at] ^ 1);
    ASSERT_FALSE(IsIndexed(m_Name)) << at;
    WriteByte(m_Index, at, good[at]);
  }
  EXPECT_TRUE(IsIndexed(m_Name));
  for (size_t size = 0; size < good.size(); size += 100) {
    std::filesystem::resize_file(m_Index, size);
    EXPECT_FALSE(IsIndexed(m_Name)) << size;
    WriteFile(m_Index, good);
  }
  Bytes other = movie;
  other.back() ^= 1;
  WriteFile(m_Name, other);
  EXPECT_FALSE(IsIndexed(m_Name));
  // What cannot be indexed says so, and takes no index away.
  for (const char* bad : {"older.mp4", "amr.mp4.video", "missing.mp4"})
    EXPECT_FALSE(WriteQdxIndex(std::string(QX_CLIPS) + bad, m_Index, error)) << bad;
  EXPECT_THAT(error, testing::HasSubstr("missing.mp4: No such file"));
  EXPECT_FALSE(WriteQdxIndex(m_Name, m_Folder / "none/a.qdx", error));
  EXPECT_EQ(std::filesystem::file_size(m_Index), good.size());
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_Folder.Path()), {}), 2);
}

}  // namespace
