// What reading a recording costs beside read(): frames out of the page cache over a bare loop of 1 MiB reads
// on the same file, the memory of a reader, and a seek to the end. Everything is measured in one run; the
// rounds alternate. The recordings are made here and removed again.
//   bench_files [FOLDER]      where there is room for 2 GB, by default the build folder
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <random>
#include <string>

#include "bench/Measure.h"
#include "file/MediaFileStream.h"
#include "file/SvxFormat.h"

namespace {

constexpr int kRounds = 5;
constexpr size_t kReadBytes = 1 << 20;
constexpr uint64_t kGigabyte = 1'000'000'000;

[[noreturn]] void Fail(const std::string& why) {
  std::fprintf(stderr, "bench_files: %s\n", why.c_str());
  std::exit(1);
}

// What a camera writes in one group of pictures; each picture is followed by its 40 ms of sound.
struct Shape {
  const char* szName;
  size_t nKeyBytes, nDeltaBytes;
  int nPictures;
};
constexpr Shape kUsual = {"1080p25 at 4 Mbit/s", 100'000, 16'400, 50};
constexpr Shape kSmall = {"small frames (300 bytes)", 3'000, 300, 50};
constexpr size_t kSoundBytes = 320;

// One on disk, as long as this object.
class BenchRecording {
 public:
  BenchRecording(const std::filesystem::path& folder, const Shape& shape, uint64_t wantedBytes)
      : m_Path(folder / "bench-files.sv5") {
    constexpr uint64_t kSpare = kGigabyte / 2;
    if (std::filesystem::space(folder).available < wantedBytes + kSpare)
      Fail("no room for " + std::to_string(wantedBytes) + " bytes in " + folder.string());
    std::ofstream file(m_Path, std::ios::binary);
    file << Sync() << std::string(svx::kHeaderBytes - 4, '\0');
    const std::string group = Group(shape);
    while (static_cast<uint64_t>(file.tellp()) < wantedBytes && file << group)
      m_nPictures += static_cast<uint32_t>(shape.nPictures);
    file << Sync();
    file.seekp(svx::kWidthOffset);
    file << Word(1920) << Word(1080);
    file.seekp(svx::kTotalFramesOffset);
    file << Word(m_nPictures);
    if (!file.flush()) Fail("cannot write " + m_Path.string());
  }
  ~BenchRecording() {
    std::error_code ignored;
    std::filesystem::remove(m_Path, ignored);
  }
  BenchRecording(const BenchRecording&) = delete;
  BenchRecording& operator=(const BenchRecording&) = delete;

  const char* Name() const { return m_Path.c_str(); }
  double Gigabytes() const { return static_cast<double>(std::filesystem::file_size(m_Path)) / kGigabyte; }
  uint32_t Pictures() const { return m_nPictures; }

 private:
  static std::string Word(uint32_t value) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8)
      bytes += static_cast<char>(value >> shift);
    return bytes;
  }
  static std::string Sync() { return std::string("QXS") + static_cast<char>(svx::kVersionH264); }
  static std::string Record(uint32_t type, size_t bytes) {
    static std::minstd_rand chance(1);
    std::string payload(bytes, '\0');
    for (char& byte : payload)
      byte = static_cast<char>(chance() >> 8);
    return Sync() + Word(svx::MakeHeadWord({type, static_cast<uint32_t>(bytes)})) + payload;
  }
  static std::string Group(const Shape& shape) {
    std::string records;
    for (int picture = 0; picture < shape.nPictures; ++picture) {
      records +=
          picture == 0 ? Record(svx::kVideoKey, shape.nKeyBytes) : Record(svx::kVideo, shape.nDeltaBytes);
      records += Record(svx::kAudio, kSoundBytes);
    }
    return records;
  }

  std::filesystem::path m_Path;
  uint32_t m_nPictures = 0;
};

std::shared_ptr<MediaFileStream> OpenReader(const BenchRecording& recording) {
  std::shared_ptr<MediaFileStream> reader = MediaFileStream::OpenFile(recording.Name());
  if (reader == nullptr) Fail("the recording does not open");
  return reader;
}

// The reference: ms for the whole file.
double ReadBare(const BenchRecording& recording) {
  const std::unique_ptr<void, decltype(&std::free)> buffer(std::aligned_alloc(4096, kReadBytes), std::free);
  const auto start = Clock::now();
  const int file = open(recording.Name(), O_RDONLY);
  while (read(file, buffer.get(), kReadBytes) > 0) {
  }
  close(file);
  return MsSince(start);
}

double ReadFrames(const BenchRecording& recording) {
  std::vector<uint8_t> buffer(1 << 20);
  const auto start = Clock::now();
  const auto reader = OpenReader(recording);
  FrameRecord frame;
  while (reader->ReadFrame(buffer, frame)) {
  }
  const double used = MsSince(start);
  if (reader->GetCurFrameNum() != recording.Pictures()) Fail("not every frame was read");
  return used;
}

double SeekEnd(const BenchRecording& recording) {
  std::vector<uint8_t> buffer(1 << 20);
  const auto reader = OpenReader(recording);
  FrameRecord frame;
  if (!reader->ReadFrame(buffer, frame)) Fail("there is no first frame");
  const auto start = Clock::now();
  reader->GotoKeyFrame(recording.Pictures() + 1);
  if (!reader->ReadFrame(buffer, frame) || !frame.bKeyFrame) Fail("the seek failed");
  const double used = MsSince(start);
  if (reader->GetCurFrameNum() + kUsual.nPictures != recording.Pictures() + 1) Fail("the seek missed");
  return used;
}

// Alternates the two, after one round that fills the page cache. Prints what `text` says of the medians of
// throughput and of the ratio of times.
void Compare(const BenchRecording& recording, const char* text, const std::function<double()>& measured) {
  std::vector<double> ratios, bareMs, usedMs;
  ReadBare(recording);
  for (int round = 0; round < kRounds; ++round) {
    bareMs.push_back(ReadBare(recording));
    usedMs.push_back(measured());
    ratios.push_back(bareMs.back() / usedMs.back());
  }
  const auto rate = [&recording](const std::vector<double>& ms) {
    return recording.Gigabytes() * 1e3 / Quantile(ms, 0.5);
  };
  std::printf("  %-48s %.2f GB/s, read() %.2f GB/s, ratio of speeds: median %.2f (%.2f to %.2f)\n", text,
              rate(usedMs), rate(bareMs), Quantile(ratios, 0.5), Quantile(ratios, 0), Quantile(ratios, 1));
}

double ResidentKiB() {
  std::ifstream status("/proc/self/statm");
  double pages = 0;
  status >> pages >> pages;
  return pages * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1024;
}

void MeasureMemory(const BenchRecording& recording) {
  constexpr size_t kReaders = 64;
  constexpr int kFrames = 1000;
  std::vector<uint8_t> buffer(1 << 20, 1);
  std::vector<std::shared_ptr<MediaFileStream>> readers;
  readers.reserve(kReaders);
  const double before = ResidentKiB();
  for (size_t i = 0; i < kReaders; ++i) {
    readers.push_back(OpenReader(recording));
    FrameRecord frame;
    for (int count = 0; count < kFrames; ++count)
      if (!readers.back()->ReadFrame(buffer, frame)) Fail("the recording is too short");
  }
  std::printf("  memory of a reader that has read %d frames: %.0f KiB (mean of %zu)\n", kFrames,
              (ResidentKiB() - before) / kReaders, kReaders);
}

}  // namespace

int main(int argc, char** argv) {
  const std::filesystem::path folder = argc > 1 ? argv[1] : QX_BENCH_FOLDER;
  for (const Shape& shape : {kUsual, kSmall}) {
    const BenchRecording recording(folder, shape, kGigabyte);
    std::printf("reading %.2f GB, %s, %u pictures, from the page cache, %d rounds\n", recording.Gigabytes(),
                shape.szName, recording.Pictures(), kRounds);
    Compare(recording, "every frame", [&recording] { return ReadFrames(recording); });
    MeasureMemory(recording);
  }
  const BenchRecording recording(folder, kUsual, 2 * kGigabyte);
  std::printf("seeking in %.2f GB, %s\n", recording.Gigabytes(), kUsual.szName);
  Compare(recording, "from the first frame to the last key frame",
          [&recording] { return SeekEnd(recording); });
  return 0;
}
