#include "codecs/qmp4pkg/QdxIndex.h"

extern "C" {
#include <libavutil/crc.h>
}

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <span>

#include "codecs/qmp4pkg/Mp4Parser.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint32_t kMagic = 0x58445851;  // "QXDX"
constexpr uint32_t kVersion = 1;
constexpr size_t kCodeBytes = 4;
constexpr size_t kFrameBytes = 16;
constexpr size_t kChecksumBytes = 4;
constexpr size_t kConfigHeadBytes = 12;
constexpr uint32_t kMaxLengthBytes = 4;

uint32_t Checksum(uint32_t start, std::span<const uint8_t> bytes) {
  return av_crc(av_crc_get_table(AV_CRC_32_IEEE_LE), start, bytes.data(), bytes.size());
}

// Samples of the whole file: an MP4 that was replaced differs in its head or its end, mostly in its size.
uint32_t Fingerprint(const InputFile& mp4) {
  constexpr int64_t kBlocks = 16;
  constexpr int64_t kBlockBytes = 4096;
  uint32_t sum = 0;
  Bytes block(kBlockBytes);
  const int64_t last = std::max<int64_t>(mp4.Size() - kBlockBytes, 0);
  for (int64_t i = 0; i < kBlocks; ++i) {
    const int64_t at = last / (kBlocks - 1) * i + last % (kBlocks - 1) * i / (kBlocks - 1);
    const size_t got = mp4.ReadSome(at, block.data(), block.size());
    sum = Checksum(sum, std::span(block).first(got));
  }
  return sum;
}

class Writer {
 public:
  void Number(uint64_t value, int bytes) {
    for (int i = 0; i < bytes; ++i)
      m_Out.push_back(static_cast<uint8_t>(value >> 8 * i));
  }
  void Word(size_t value) { Number(value, 4); }
  void Text(const std::string& code) {
    for (size_t i = 0; i < kCodeBytes; ++i)
      m_Out.push_back(i < code.size() ? static_cast<uint8_t>(code[i]) : 0);
  }
  void Append(const Bytes& bytes) { m_Out.insert(m_Out.end(), bytes.begin(), bytes.end()); }
  void Frames(const std::vector<FrameEntry>& frames) {
    m_Out.reserve(m_Out.size() + frames.size() * kFrameBytes + kChecksumBytes);
    for (const FrameEntry& frame : frames) {
      Number(static_cast<uint64_t>(frame.llPosition), 8);
      Word(frame.nSize | uint32_t{frame.bKeyFrame} << 31);
      Word(frame.nTimeMs);
    }
  }
  const Bytes& Out() const { return m_Out; }

 private:
  Bytes m_Out;
};

// Past the end it reads zeros and fails.
class Reader {
 public:
  explicit Reader(std::span<const uint8_t> bytes) : m_Bytes(bytes) {}

  bool Failed() const { return m_bFailed; }
  size_t Left() const { return m_Bytes.size(); }
  std::span<const uint8_t> Take(size_t count) {
    if (count > m_Bytes.size()) {
      m_bFailed = true;
      return {};
    }
    const auto taken = m_Bytes.first(count);
    m_Bytes = m_Bytes.subspan(count);
    return taken;
  }
  uint64_t Number(size_t bytes) {
    uint64_t value = 0;
    int shift = 0;
    for (const uint8_t byte : Take(bytes)) {
      value |= uint64_t{byte} << shift;
      shift += 8;
    }
    return value;
  }
  uint32_t Word() { return static_cast<uint32_t>(Number(4)); }
  std::string Text() {
    std::string code;
    for (const uint8_t byte : Take(kCodeBytes))
      if (byte != 0) code += static_cast<char>(byte);
    return code;
  }
  std::vector<FrameEntry> Frames(uint32_t count) {
    const auto bytes = count <= Left() / kFrameBytes ? Take(count * kFrameBytes) : Take(Left() + 1);
    std::vector<FrameEntry> frames(bytes.size() / kFrameBytes);
    Reader reader(bytes);
    for (FrameEntry& frame : frames) {
      frame.llPosition = static_cast<int64_t>(reader.Number(8) & INT64_MAX);
      const uint32_t size = reader.Word();
      frame.nSize = size & INT32_MAX;
      frame.bKeyFrame = size >> 31;
      frame.nTimeMs = reader.Word();
    }
    return frames;
  }

 private:
  std::span<const uint8_t> m_Bytes;
  bool m_bFailed = false;
};

Bytes Encode(const FrameTable& table, const InputFile& mp4) {
  Writer writer;
  writer.Word(kMagic);
  writer.Word(kVersion);
  writer.Number(static_cast<uint64_t>(mp4.Size()), 8);
  writer.Word(Fingerprint(mp4));
  writer.Text(table.videoCode);
  writer.Word(table.nWidth);
  writer.Word(table.nHeight);
  writer.Number(std::bit_cast<uint64_t>(table.dFrameRate), 8);
  writer.Word(table.video.size());
  writer.Text(table.audioCode);
  writer.Word(table.nChannels);
  writer.Word(table.nSampleRate);
  writer.Word(table.audio.size());
  writer.Word(table.configs.size());
  for (const VideoConfig& config : table.configs) {
    writer.Word(config.nFirstFrame);
    writer.Word(config.nLengthBytes);
    writer.Word(config.parameterSets.size());
    writer.Append(config.parameterSets);
  }
  writer.Frames(table.video);
  writer.Frames(table.audio);
  writer.Word(Checksum(0, writer.Out()));
  return writer.Out();
}

std::optional<FrameTable> Decode(std::span<const uint8_t> bytes, const InputFile& mp4) {
  if (bytes.size() < kChecksumBytes) return std::nullopt;
  const auto content = bytes.first(bytes.size() - kChecksumBytes);
  if (Reader(bytes.last(kChecksumBytes)).Word() != Checksum(0, content)) return std::nullopt;
  Reader reader(content);
  if (reader.Word() != kMagic || reader.Word() != kVersion) return std::nullopt;
  if (reader.Number(8) != static_cast<uint64_t>(mp4.Size()) || reader.Word() != Fingerprint(mp4))
    return std::nullopt;
  FrameTable table;
  table.videoCode = reader.Text();
  table.nWidth = reader.Word();
  table.nHeight = reader.Word();
  table.dFrameRate = std::bit_cast<double>(reader.Number(8));
  const uint32_t videoFrames = reader.Word();
  table.audioCode = reader.Text();
  table.nChannels = reader.Word();
  table.nSampleRate = reader.Word();
  const uint32_t audioFrames = reader.Word();
  const uint32_t configs = reader.Word();
  if (configs == 0 || configs > reader.Left() / kConfigHeadBytes) return std::nullopt;
  table.configs.resize(configs);
  for (VideoConfig& config : table.configs) {
    config.nFirstFrame = reader.Word();
    config.nLengthBytes = reader.Word();
    if (config.nLengthBytes > kMaxLengthBytes) return std::nullopt;
    const auto sets = reader.Take(reader.Word());
    config.parameterSets.assign(sets.begin(), sets.end());
  }
  table.video = reader.Frames(videoFrames);
  table.audio = reader.Frames(audioFrames);
  const bool sane = !reader.Failed() && reader.Left() == 0 && !table.video.empty() &&
                    std::isfinite(table.dFrameRate) && table.dFrameRate > 0;
  return sane ? std::optional(std::move(table)) : std::nullopt;
}

struct FileClose {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

bool WriteWhole(const std::string& name, const Bytes& bytes) {
  std::unique_ptr<std::FILE, FileClose> file(std::fopen(name.c_str(), "wbe"));
  return file != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size() &&
         std::fclose(file.release()) == 0;
}

std::string Why(const std::string& name) {
  return name + ": " + std::strerror(errno);
}

bool IsPlayable(const FrameTable& table, std::string& error) {
  const auto isOneOf = [](const std::string& code, std::initializer_list<const char*> codes) {
    return std::find(codes.begin(), codes.end(), code) != codes.end();
  };
  if (!isOneOf(table.videoCode, {"avc1", "hvc1", "hev1"}))
    error = "video of kind \"" + table.videoCode + "\" cannot be played";
  else if (!isOneOf(table.audioCode, {"", "samr", "alaw", "ulaw", "mp4a"}))
    error = "sound of kind \"" + table.audioCode + "\" cannot be played";
  return error.empty();
}

bool Write(const std::string& mp4Name, const std::string& qdxName, std::string& error) {
  const auto mp4 = InputFile::Open(mp4Name);
  if (!mp4) {
    error = Why(mp4Name);
    return false;
  }
  const auto table = ParseMp4(*mp4, error);
  if (!table || !IsPlayable(*table, error)) {
    error = mp4Name + ": " + error;
    return false;
  }
  const std::string temporary = qdxName + ".part";
  const Bytes bytes = Encode(*table, *mp4);
  if (WriteWhole(temporary, bytes) && std::rename(temporary.c_str(), qdxName.c_str()) == 0) return true;
  error = Why(qdxName);
  std::remove(temporary.c_str());
  return false;
}

}  // namespace

std::string QdxNameOf(const std::string& mp4Name) {
  constexpr size_t kEnding = 3;
  return mp4Name.size() < kEnding ? std::string() : mp4Name.substr(0, mp4Name.size() - kEnding) + "qdx";
}

bool WriteQdxIndex(const std::string& mp4Name, const std::string& qdxName, std::string& error) {
  error.clear();
  try {
    return Write(mp4Name, qdxName, error);
  } catch (const std::bad_alloc&) {
    error = mp4Name + ": out of memory";
    return false;
  }
}

std::optional<FrameTable> ReadQdxIndex(const std::string& qdxName, const InputFile& mp4) {
  // An index of so many bytes for each of the MP4's is none.
  constexpr int64_t kMaxRatio = 16;
  const auto file = InputFile::Open(qdxName);
  if (!file || file->Size() / kMaxRatio > mp4.Size()) return std::nullopt;
  Bytes bytes(static_cast<size_t>(file->Size()));
  if (!file->Read(0, bytes.data(), bytes.size())) return std::nullopt;
  return Decode(bytes, mp4);
}
