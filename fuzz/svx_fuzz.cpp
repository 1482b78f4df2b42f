// Recordings: read from end to end, the same in pieces and past a failing read, and with a seek. The first
// three bytes of an input choose the size of the pieces, the read that fails, and the target; the rest is the
// file.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "file/SVXFileStream.h"
#include "platform/posix/KernelSeam.h"

namespace {

constexpr size_t kChoiceBytes = 3;

class Disk : public platform::KernelSeam {
 public:
  intptr_t ReadFile(int descriptor, void* buffer, size_t bytes) override {
    if (nReadsLeft-- == 0) {
      errno = EIO;
      return -1;
    }
    return KernelSeam::ReadFile(descriptor, buffer, std::min(bytes, nPieceBytes));
  }
  size_t nPieceBytes = SIZE_MAX;
  int nReadsLeft = -1;  // -1: none fails
} g_Disk;

int g_nFile = -1;  // in memory

void Check(bool holds) {
  if (!holds) std::abort();
}

struct Frame {
  bool bKeyFrame = false;
  uint32_t nNumber = 0;  // of the last video frame
  uint32_t nKeyPosition = 0;
  std::string type, bytes;
  bool operator==(const Frame&) const = default;
};

bool Open(SVXFileStream& reader) {
  return reader.Open(("/proc/self/fd/" + std::to_string(g_nFile)).c_str());
}

bool Read(SVXFileStream& reader, Frame& frame) {
  // Exactly the player's, so that the address sanitizer sees every write behind it.
  static std::vector<uint8_t> buffer(1 << 20);
  FrameRecord record;
  if (!reader.ReadFrame(buffer, record)) return false;
  uint32_t keyNumber = 0;
  Check(reader.GetKeyFramePos(frame.nKeyPosition, keyNumber));
  frame.nNumber = reader.GetCurFrameNum();
  frame.type = record.ftFrameType == QFT_Audio ? "audio" : "video";
  frame.bKeyFrame = record.bKeyFrame && record.ftFrameType == QFT_Video;
  frame.bytes.assign(record.pFrame, record.pFrame + record.dwFrameSize);
  Check(!frame.bKeyFrame || keyNumber == frame.nNumber);
  return true;
}

std::vector<Frame> ReadAll() {
  std::vector<Frame> frames;
  SVXFileStream reader;
  if (!Open(reader)) return frames;
  for (Frame frame; Read(reader, frame);)
    frames.push_back(frame);
  Check(frames.empty() || frames.front().bKeyFrame);
  return frames;
}

// The key frame that a seek must find, null for none.
const Frame* Expected(const std::vector<Frame>& frames, uint32_t target) {
  const uint32_t before = target == kFirstKeyFrame ? 0 : target - 1;
  if (frames.empty() || before > frames.back().nNumber) return nullptr;
  const Frame* found = nullptr;
  for (const Frame& frame : frames)
    if (frame.bKeyFrame && (found == nullptr || frame.nNumber <= before)) found = &frame;
  return found;
}

void SeekFrom(const std::vector<Frame>& frames, size_t start, uint32_t target) {
  SVXFileStream reader;
  if (!Open(reader)) return;
  Frame frame;
  for (size_t i = 0; i < start; ++i)
    Check(Read(reader, frame));
  reader.GotoKeyFrame(target);
  const Frame* const expected = Expected(frames, target);
  Check(Read(reader, frame) == (expected != nullptr));
  Check(expected == nullptr || frame == *expected);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  platform::SetKernelSeam(&g_Disk);
  g_nFile = memfd_create("recording", MFD_CLOEXEC);
  return g_nFile >= 0 ? 0 : 1;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < kChoiceBytes) return 0;
  const auto length = static_cast<ssize_t>(size - kChoiceBytes);
  if (ftruncate(g_nFile, 0) != 0 || pwrite(g_nFile, data + kChoiceBytes, size - kChoiceBytes, 0) != length)
    return 0;
  const std::vector<Frame> frames = ReadAll();
  size_t handedOut = 0;
  for (const Frame& frame : frames)
    handedOut += frame.bytes.size();
  Check(handedOut <= size);

  g_Disk.nPieceBytes = data[0] + size_t{1};
  Check(ReadAll() == frames);
  g_Disk.nReadsLeft = data[1];
  (void)ReadAll();
  g_Disk.nReadsLeft = -1;
  g_Disk.nPieceBytes = SIZE_MAX;

  SeekFrom(frames, frames.size() / 2, data[2] != 0 ? data[2] : kFirstKeyFrame);
  return 0;
}
