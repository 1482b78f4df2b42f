// MP4 files: opened, described, and read from end to end.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "qmp4pkg.h"

namespace {

constexpr uint32_t kMaxFrames = 5000;  // of a track: many frames that lie at one place only take time

// Every byte, into one that the compiler cannot drop.
volatile uint8_t g_sum;

void ReadTrack(QP_Handle file, uint32_t track) {
  QP_FrameRequest request = {};
  request.nTrack = track;
  int64_t last = 0;
  for (request.nFrame = 1; request.nFrame <= kMaxFrames && QP_UnpkgOneFrame(file, &request) != 0;
       ++request.nFrame) {
    uint8_t sum = 0;
    for (uint32_t i = 0; i < request.dwSize; ++i)
      sum = static_cast<uint8_t>(sum + request.pData[i]);
    g_sum = sum;
    if (request.llTimeStamp < last) std::abort();
    last = request.llTimeStamp;
  }
}

int g_nFile = -1;  // in memory

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  g_nFile = memfd_create("mp4", MFD_CLOEXEC);
  return g_nFile >= 0 ? 0 : 1;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (ftruncate(g_nFile, 0) != 0 || pwrite(g_nFile, data, size, 0) != static_cast<ssize_t>(size)) return 0;
  const std::string name = "/proc/self/fd/" + std::to_string(g_nFile);
  QP_CheckResult check = {};
  QP_UnpkgInfo info = {};
  if (QP_CheckFile(name.c_str(), &check) == 0) return 0;
  const QP_Handle file = QP_OpenUnpkg(name.c_str(), &info, 0);
  if (file == nullptr) return 0;
  if (info.nVideoFrames == 0 || !(info.dFrameRate > 0)) std::abort();
  ReadTrack(file, QP_TRACK_VIDEO);
  ReadTrack(file, QP_TRACK_AUDIO);
  uint32_t key = 0, next = 0;
  QP_UpkVIdrFrameNo(file, info.nVideoFrames / 2, &key, &next);
  if (key > info.nVideoFrames) std::abort();
  QP_CloseUnpkg(file);
  return 0;
}
