// MP4 files as FFmpeg's own program writes them, whole, altered and damaged, through the MP4 library of this
// project.
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <functional>
#include <set>

#include "codecs/qmp4pkg/QdxIndex.h"
#include "file/MediaFileStream.h"
#include "qmp4pkg.h"
#include "tests/decode/Clips.h"
#include "tests/support/TempDir.h"

namespace {

void WriteFile(const std::string& name, const Bytes& bytes) {
  std::ofstream(name, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

struct Frame {
  Bytes bytes;
  int64_t llTime = 0;
  bool bKeyFrame = false;
  bool operator==(const Frame&) const = default;
};

// An open file in the mode that the library chooses.
class File {
 public:
  explicit File(const std::string& name) {
    QP_CheckResult check = {};
    if (QP_CheckFile(name.c_str(), &check) == 0) return;
    m_bUnpacking = check.nMode != 0;
    if (m_bUnpacking) {
      m_hFile = QP_OpenUnpkg(name.c_str(), &info, 0);
      return;
    }
    QP_FileInfo indexed = {};
    m_hFile = QP_OpenFile(name.c_str(), check.nValue, QdxNameOf(name).c_str(), &indexed, 0);
    info.nVideoFrames = indexed.nVideoFrames;
    info.nAudioFrames = indexed.bAudio != 0 ? indexed.nAudioFrames : 0;
    info.dFrameRate = indexed.dFrameRate;
    std::copy_n(indexed.szVideoCode, 8, info.szVideoCode);
    std::copy_n(indexed.szAudioCode, 8, info.szAudioCode);
  }
  ~File() { m_bUnpacking ? QP_CloseUnpkg(m_hFile) : QP_CloseFile(m_hFile); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  bool IsOpen() const { return m_hFile != nullptr; }
  bool IsUnpacking() const { return m_bUnpacking; }
  bool Read(uint32_t track, uint32_t number, Frame& frame) {
    QP_FrameRequest request = {};
    request.nTrack = track;
    request.nFrame = number;
    if ((m_bUnpacking ? QP_UnpkgOneFrame : QP_ReadFile)(m_hFile, &request) == 0) return false;
    frame = {Bytes(request.pData, request.pData + request.dwSize), request.llTimeStamp,
             request.bKeyFrame != 0};
    return true;
  }
  std::vector<Frame> ReadAll(uint32_t track) {
    std::vector<Frame> frames;
    for (Frame frame; IsOpen() && Read(track, static_cast<uint32_t>(frames.size() + 1), frame);)
      frames.push_back(frame);
    return frames;
  }
  uint32_t KeyFrameFor(uint32_t number) {
    uint32_t key = 0, next = 9;
    EXPECT_GT((m_bUnpacking ? QP_UpkVIdrFrameNo : QP_ReadVIdrFrameNo)(m_hFile, number, &key, &next), 0);
    EXPECT_EQ(next, 0u);
    return key;
  }

  QP_UnpkgInfo info = {};

 private:
  QP_Handle m_hFile = nullptr;
  bool m_bUnpacking = true;
};

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

Bytes Join(const std::vector<Frame>& frames) {
  Bytes all;
  for (const Frame& frame : frames)
    all.insert(all.end(), frame.bytes.begin(), frame.bytes.end());
  return all;
}

// Every frame of every kind of file, the same in both modes.
TEST(Mp4Files, AreTakenApart) {
  const TempDir folder;
  struct Clip {
    const char *name, *videoCode, *audioCode;
  };
  for (const Clip& clip : {Clip{"plain.mp4", "avc1", ""}, Clip{"aac.mp4", "avc1", "mp4a"},
                           Clip{"alaw.mp4", "avc1", "alaw"}, Clip{"mulaw.mp4", "hvc1", "ulaw"},
                           Clip{"amr.mp4", "hev1", "samr"}, Clip{"fragments.mp4", "avc1", "mp4a"}}) {
    SCOPED_TRACE(clip.name);
    const std::string name = folder / clip.name;
    WriteFile(name, ReadClip(clip.name));
    File file(name);
    ASSERT_TRUE(file.IsUnpacking());
    const auto video = file.ReadAll(QP_TRACK_VIDEO), audio = file.ReadAll(QP_TRACK_AUDIO);
    EXPECT_EQ(std::string(file.info.szVideoCode), clip.videoCode);
    EXPECT_EQ(std::string(file.info.szAudioCode), clip.audioCode);
    EXPECT_EQ(file.info.nVideoFrames, 50u);
    EXPECT_EQ(video.size(), 50u);
    EXPECT_EQ(file.info.nAudioFrames, audio.size());
    EXPECT_NEAR(file.info.dFrameRate, 25, 0.001);
    const bool h265 = clip.videoCode[0] == 'h';
    EXPECT_EQ(NalUnits(Join(video), h265), NalUnits(ReadClip(std::string(clip.name) + ".video"), h265));
    if (!audio.empty()) {
      EXPECT_EQ(Join(audio), ReadClip(std::string(clip.name) + ".audio"));
      EXPECT_EQ(std::min(video[0].llTime, audio[0].llTime), 0);
      EXPECT_NEAR(static_cast<double>(audio.back().llTime - audio[0].llTime), 1970, 100);
    }
    EXPECT_NEAR(static_cast<double>(video[49].llTime - video[1].llTime), 48 * 40, 1);
    uint32_t key = 1;
    for (uint32_t i = 0; i < 50; ++i) {
      if (video[i].bKeyFrame) {
        key = i + 1;
        EXPECT_EQ(video[i].bytes[4], h265 ? 0x40 : 0x67);  // VPS or SPS
      }
      EXPECT_EQ(file.KeyFrameFor(i + 1), key);
    }
    EXPECT_GT(key, 35u);
    EXPECT_EQ(file.KeyFrameFor(1000), key);
    EXPECT_EQ(file.KeyFrameFor(0), 1u);

    std::string error;
    ASSERT_TRUE(WriteQdxIndex(name, QdxNameOf(name), error)) << error;
    File indexed(name);
    ASSERT_FALSE(indexed.IsUnpacking());
    EXPECT_EQ(indexed.ReadAll(QP_TRACK_VIDEO), video);
    EXPECT_EQ(indexed.ReadAll(QP_TRACK_AUDIO), audio);
    EXPECT_EQ(indexed.info.dFrameRate, file.info.dFrameRate);
    EXPECT_EQ(indexed.KeyFrameFor(50), key);
  }
  EXPECT_EQ(MediaFileStream::OpenFile(QX_CLIPS "older.mp4"), nullptr);
  EXPECT_EQ(MediaFileStream::OpenFile(QX_CLIPS "amr.mp4.video"), nullptr);
  EXPECT_EQ(MediaFileStream::OpenFile(QX_CLIPS "aac.mp4")->Info().nAudioSampleRate, 44100u);
}

TEST(Mp4Files, MayBeUnusual) {
  const TempDir folder;
  const std::string name = folder / "a.mp4";
  const auto original = File(QX_CLIPS "alaw.mp4").ReadAll(QP_TRACK_VIDEO);
  const auto altered = [&](const std::function<void(Box&)>& alter) {
    Box file = Parse("", ReadClip("alaw.mp4"));
    alter(file);
    WriteFile(name, Compose(file));
    return File(name).ReadAll(QP_TRACK_VIDEO);
  };
  // Without a table of key frames all are; an empty one leaves the first.
  for (const Frame& frame : altered([](Box& file) { file.Table().At("stss").type = "free"; }))
    EXPECT_TRUE(frame.bKeyFrame);
  const auto unmarked = altered([](Box& file) { file.Table().At("stss").body.assign(8, 0); });
  EXPECT_EQ(
      std::count_if(unmarked.begin(), unmarked.end(), [](const Frame& frame) { return frame.bKeyFrame; }), 1);

  // An edit that leaves the first second out: it starts at the key frame before.
  const auto edited = altered([](Box& file) {
    Box& edits = file.At("moov").At("trak").At("edts").At("elst");
    edits.body = {0, 0, 0, 0, 0, 0, 0, 1};
    for (const uint32_t word : {900u, 12800u + 1024u, 0x10000u})
      Append(edits.body, word, 4);
  });
  ASSERT_FALSE(edited.empty());
  EXPECT_EQ(edited[0].bytes, original[20].bytes);

  // A second description with other parameter sets, from the second run of chunks on.
  const auto changed = altered([](Box& file) {
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
  ASSERT_EQ(changed.size(), 50u);
  EXPECT_EQ(changed[0].bytes, original[0].bytes);
  EXPECT_EQ(changed[40].bytes.size(), original[40].bytes.size());
  EXPECT_NE(changed[40].bytes[7], original[40].bytes[7]);

  // Behind 5 GiB of nothing.
  constexpr int64_t kHole = int64_t{5} << 30;
  Box file = Parse("", ReadClip("alaw.mp4"));
  for (Box& track : file.At("moov").boxes) {
    if (track.type != "trak") continue;
    Box& offsets = track.At("mdia").At("minf").At("stbl").At("stco");
    Bytes wide(offsets.body.begin(), offsets.body.begin() + 8);
    for (size_t at = 8; at < offsets.body.size(); at += 4)
      Append(wide, Word(offsets.body, at) + static_cast<uint64_t>(kHole), 8);
    offsets = {"co64", wide, {}};
  }
  Bytes head = {0, 0, 0, 1, 'f', 'r', 'e', 'e'};
  Append(head, kHole, 8);
  WriteFile(name, head);
  std::filesystem::resize_file(name, kHole);
  const Bytes rest = Compose(file);
  std::ofstream(name, std::ios::binary | std::ios::app)
      .write(reinterpret_cast<const char*>(rest.data()), static_cast<std::streamsize>(rest.size()));
  EXPECT_EQ(File(name).ReadAll(QP_TRACK_VIDEO), original);
}

// Cut anywhere, or one byte wrong anywhere outside the frames: nothing but fewer frames, and nothing on the
// standard error.
TEST(Mp4Files, MayBeDamaged) {
  const TempDir folder;
  const std::string name = folder / "a.mp4";
  testing::internal::CaptureStderr();
  for (const char* clip : {"plain.mp4", "fragments.mp4", "amr.mp4"}) {
    const Bytes good = ReadClip(clip);
    WriteFile(name, good);
    const auto all = File(name).ReadAll(QP_TRACK_VIDEO);
    size_t most = 0;
    for (size_t size = 0; size < good.size(); size += 1000) {
      WriteFile(name, Bytes(good.begin(), good.begin() + static_cast<ptrdiff_t>(size)));
      const auto some = File(name).ReadAll(QP_TRACK_VIDEO);
      ASSERT_TRUE(some.size() <= all.size() &&
                  std::equal(some.begin(), some.end(), all.begin(),
                             [](const Frame& a, const Frame& b) { return a.bytes == b.bytes; }))
          << clip << size;
      EXPECT_GE(some.size(), most);
      most = some.size();
    }
    EXPECT_EQ(most > 40, clip[0] != 'a') << clip;  // its table stands at the end

    size_t boxEnd = 0, opened = 0;
    for (size_t at = 0; at < good.size(); ++at) {
      if (at == boxEnd) {
        boxEnd += Word(good, at);
        if (good[at + 4] == 'm' && good[at + 5] == 'd') at = boxEnd - 1;
        if (at == boxEnd - 1) continue;
      }
      Bytes damaged = good;
      damaged[at] ^= static_cast<uint8_t>(at % 3 == 0 ? 0x80 : 0xFF);
      WriteFile(name, damaged);
      File file(name);
      if (!file.IsOpen()) continue;
      ++opened;
      EXPECT_LE(file.ReadAll(QP_TRACK_VIDEO).size(), good.size());
      file.ReadAll(QP_TRACK_AUDIO);
      EXPECT_GT(file.info.dFrameRate, 0);
    }
    EXPECT_GT(opened, 100u);
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

  // The file shrinks, and is gone, while it is open.
  WriteFile(name, ReadClip("plain.mp4"));
  File file(name);
  std::filesystem::resize_file(name, 8000);
  std::filesystem::remove(name);
  Frame frame;
  EXPECT_TRUE(file.Read(QP_TRACK_VIDEO, 1, frame));
  EXPECT_FALSE(file.Read(QP_TRACK_VIDEO, 50, frame));
}

TEST(Mp4Files, AreNotReadByAWrongIndex) {
  const TempDir folder;
  const std::string name = folder / "a.mp4", index = folder / "a.qdx";
  WriteFile(name, ReadClip("aac.mp4"));
  std::string error;
  ASSERT_TRUE(WriteQdxIndex(name, index, error));
  const Bytes good = [&] {
    std::ifstream file(index, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), {});
  }();
  for (size_t at = 0; at < good.size(); ++at) {
    Bytes damaged = good;
    damaged[at] ^= 1;
    if (at % 50 == 0) damaged.resize(at);
    WriteFile(index, damaged);
    ASSERT_TRUE(File(name).IsUnpacking()) << at;
  }
  WriteFile(index, good);
  EXPECT_FALSE(File(name).IsUnpacking());
  Bytes other = ReadClip("aac.mp4");
  other[other.size() - 1] ^= 1;
  WriteFile(name, other);
  EXPECT_TRUE(File(name).IsUnpacking());
  // What cannot be indexed says so, and takes no index away.
  for (const char* bad : {"older.mp4", "amr.mp4.video", "missing.mp4"})
    EXPECT_FALSE(WriteQdxIndex(std::string(QX_CLIPS) + bad, index, error)) << bad;
  EXPECT_THAT(error, testing::HasSubstr("missing.mp4: No such file"));
  EXPECT_FALSE(WriteQdxIndex(name, folder / "none/a.qdx", error));
  EXPECT_EQ(std::filesystem::file_size(index), good.size());
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()), {}), 2);
}

}  // namespace
