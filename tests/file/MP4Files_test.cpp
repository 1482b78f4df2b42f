// MP4 files as FFmpeg's own program writes them, whole, altered and damaged, through the MP4 library of this
// project.
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <functional>
#include <set>

#include "codecs/qmp4pkg/QdxIndex.h"
#include "decode/Decoder.h"
#include "file/MediaFileStream.h"
#include "qmp4pkg.h"
#include "src/kitc/Log.h"
#include "tests/decode/Clips.h"
#include "tests/support/TempDir.h"

namespace {

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

// A box: contents, or boxes.
struct Box {
  std::string type;
  Bytes body;
  std::vector<Box> boxes;

  Box& At(const std::string& name) {
    return *std::find_if(boxes.begin(), boxes.end(), [&](const Box& box) { return box.type == name; });
  }
  Box& Table() { return At("moov").At("trak").At("mdia").At("minf").At("stbl"); }  // of the first track
};
uint32_t Word(const Bytes& bytes, size_t at) {
  return uint32_t{bytes[at]} << 24 | uint32_t{bytes[at + 1]} << 16 | uint32_t{bytes[at + 2]} << 8 |
         bytes[at + 3];
}
void Append(Bytes& bytes, uint64_t value, int size) {
  for (int shift = 8 * (size - 1); shift >= 0; shift -= 8)
    bytes.push_back(static_cast<uint8_t>(value >> shift));
}
Box Parse(const std::string& type, const Bytes& body) {
  static const std::set<std::string> kContainers = {"", "moov", "trak", "mdia", "minf", "stbl", "edts"};
  Box box = {type, {}, {}};
  if (!kContainers.contains(type)) box.body = body;
  for (size_t at = 0; kContainers.contains(type) && at < body.size(); at += Word(body, at)) {
    const auto begin = body.begin() + static_cast<ptrdiff_t>(at);
    box.boxes.push_back(Parse(std::string(begin + 4, begin + 8), Bytes(begin + 8, begin + Word(body, at))));
  }
  return box;
}
Bytes Compose(const Box& box) {
  Bytes body = box.body;
  for (const Box& inner : box.boxes) {
    const Bytes bytes = Compose(inner);
    Append(body, bytes.size() + 8, 4);
    body.insert(body.end(), inner.type.begin(), inner.type.end());
    body.insert(body.end(), bytes.begin(), bytes.end());
  }
  return body;
}

// The NAL units of a stream, but for parameter sets: muxers repeat those as they like.
std::vector<Bytes> NalUnits(const Bytes& stream, bool h265) {
  const std::array<uint8_t, 3> code = {0, 0, 1};
  std::vector<Bytes> units;
  auto at = std::search(stream.begin(), stream.end(), code.begin(), code.end());
  while (at != stream.end()) {
    const auto next = std::search(at + 3, stream.end(), code.begin(), code.end());
    Bytes unit(at + 3, next);
    while (!unit.empty() && unit.back() == 0)
      unit.pop_back();
    const int type = h265 ? unit[0] >> 1 & 63 : unit[0] & 31;
    if (h265 ? type < 32 || type > 34 : type != 7 && type != 8) units.push_back(unit);
    at = next;
  }
  return units;
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
    EXPECT_EQ(NalUnits(Join(video), h265), NalUnits(ReadClip(reference + ".video"), h265));
    for (const uint32_t key : video.keyFrames)
      EXPECT_EQ(video.frames[key - 1][4], h265 ? 0x40 : 0x67);  // VPS or SPS
    if (clip.nAudioCodec != kCodecNone) {
      EXPECT_EQ(Join(audio), ReadClip(reference + ".audio"));
    }

    // Halfway through the pictures so is the sound.
    Bytes buffer(1 << 20);
    size_t sounds = 0;
    for (FrameRecord frame; reader->GetCurFrameNum() < 26 && reader->ReadFrame(buffer, frame);)
      sounds += frame.ftFrameType == QFT_Audio ? 1 : 0;
    EXPECT_NEAR(static_cast<double>(sounds), static_cast<double>(audio.frames.size()) / 2,
                0.1 * static_cast<double>(audio.frames.size()));
    const uint32_t last = video.keyFrames.back();
    for (const auto& [target, key] :
         {std::pair(last - 1, video.keyFrames.end()[-2]), {last, last}, {1000, last}, {1, 1}}) {
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
    // Sound that runs ahead is over before the last pictures.
    indexed->SetAVOffset(200);
    int shown = 0;
    for (FrameRecord frame; indexed->ReadFrame(buffer, frame);)
      shown += frame.ftFrameType == QFT_Video ? 1 : 0;
    EXPECT_EQ(shown, 50);
  }
  EXPECT_EQ(MediaFileStream::OpenFile(QX_CLIPS "older.mp4"), nullptr);
  EXPECT_EQ(MediaFileStream::OpenFile(QX_CLIPS "missing.mp4"), nullptr);
  EXPECT_EQ(MediaFileStream::OpenFile(QX_CLIPS "aac.mp4")->Info().nAudioSampleRate, 44100u);
}

TEST_F(Mp4Files, MayBeUnusual) {
  const Track original = ReadVideo(QX_CLIPS "alaw.mp4");
  const auto altered = [&](const std::function<void(Box&)>& alter) {
    Box file = Parse("", ReadClip("alaw.mp4"));
    alter(file);
    WriteFile(m_Name, Compose(file));
    return ReadVideo(m_Name);
  };
  // Without a table of key frames all are; an empty one leaves the first.
  EXPECT_EQ(altered([](Box& file) { file.Table().At("stss").type = "free"; }).keyFrames.size(), 50u);
  EXPECT_EQ(altered([](Box& file) { file.Table().At("stss").body.assign(8, 0); }).keyFrames,
            std::vector<uint32_t>{1});

  // An edit that leaves the first 1.08 s out: it starts at the key frame before.
  const Track edited = altered([](Box& file) {
    Box& edits = file.At("moov").At("trak").At("edts").At("elst");
    edits.body = {0, 0, 0, 0, 0, 0, 0, 1};
    for (const uint32_t word : {900u, 12800u + 1024u, 0x10000u})
      Append(edits.body, word, 4);
  });
  ASSERT_FALSE(edited.frames.empty());
  EXPECT_EQ(edited.frames[0], original.frames[20]);

  // A second description with other parameter sets, from the second run of chunks on.
  const Track changed = altered([](Box& file) {
    Bytes& descriptions = file.Table().At("stsd").body;
    Bytes second(descriptions.begin() + 8, descriptions.end());
    const std::array<uint8_t, 4> config = {'a', 'v', 'c', 'C'};
    *(std::search(second.begin(), second.end(), config.begin(), config.end()) + 4 + 8 + 3) ^= 1;
    descriptions.insert(descriptions.end(), second.begin(), second.end());
    descriptions[7] = 2;
    Bytes& chunks = file.Table().At("stsc").body;
    for (size_t entry = 8 + 12; entry < chunks.size(); entry += 12)
      chunks[entry + 11] = 2;
  });
  ASSERT_EQ(changed.frames.size(), 50u);
  EXPECT_EQ(changed.frames[0], original.frames[0]);
  Bytes other = original.frames[40];
  other[4 + 3] ^= 1;
  EXPECT_EQ(changed.frames[40], other);

  // Behind 5 GiB of nothing.
  constexpr uint64_t kHole = uint64_t{5} << 30;
  EXPECT_EQ(altered([](Box& file) {
              for (Box& track : file.At("moov").boxes) {
                if (track.type != "trak") continue;
                Box& offsets = track.At("mdia").At("minf").At("stbl").At("stco");
                Bytes wide(offsets.body.begin(), offsets.body.begin() + 8);
                for (size_t at = 8; at < offsets.body.size(); at += 4)
                  Append(wide, Word(offsets.body, at) + kHole, 8);
                offsets = {"co64", wide, {}};
              }
            }).frames.size(),
            0u);
  std::ifstream whole(m_Name, std::ios::binary);
  const Bytes rest(std::istreambuf_iterator<char>(whole), {});
  Bytes head = {0, 0, 0, 1, 'f', 'r', 'e', 'e'};
  Append(head, kHole, 8);
  WriteFile(m_Name, head);
  std::filesystem::resize_file(m_Name, kHole);
  WriteFile(m_Name, rest, std::ios::app);
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
  std::ifstream file(m_Index, std::ios::binary);
  const Bytes good(std::istreambuf_iterator<char>(file), {});
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
