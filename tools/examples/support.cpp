#include "tools/examples/support.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <thread>
#include <vector>

#include "tools/qxplay/AccessUnitSource.h"

namespace {

constexpr int kTimeoutSeconds = 10;
constexpr size_t kBmpHeadBytes = 54;

std::unique_ptr<AccessUnitSource> g_pCamera;
bool g_bSteady = false;
int64_t g_llBegin = 0;  // the clock's time of the first frame
[[maybe_unused]] const int g_nShownMade = sem_init(&shown, 0, 0);

}  // namespace

sem_t shown;

void note_picture(uint32_t, const uint8_t*, const uint8_t*, const uint8_t*, uint32_t, uint32_t) {
  sem_post(&shown);
}

int32_t write_frame(int32_t player, const void* frame, uint32_t size, int64_t ms) {
  return QXSP_WriteToStreamOneFrame2(static_cast<uint32_t>(player), frame, size, static_cast<uint32_t>(ms),
                                     static_cast<uint32_t>(ms >> 32));
}

int save_snapshot(int32_t player, const char* file) {
  int32_t width = 0, height = 0;
  if (QXSP_GetBitmapSize(static_cast<uint32_t>(player), &width, &height) == 0) return 0;
  std::vector<uint8_t> pixels(static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
  if (!QXSP_GetBitmap(static_cast<uint32_t>(player), pixels.data(), static_cast<uint32_t>(pixels.size())))
    return 0;
  return save_picture(file, pixels.data(), width, height);
}

int open_camera(const char* address, int pace, QXSP_FILE_HEADER* header) {
  g_pCamera =
      std::make_unique<AccessUnitSource>(address, kTimeoutSeconds, std::nullopt, [] { return false; });
  if (!g_pCamera->Open()) {
    std::fprintf(stderr, "%s\n", g_pCamera->Error().c_str());
    return 0;
  }
  const StreamInfo& info = g_pCamera->Info();
  *header = {};
  std::memcpy(header->szMarker, "QFH", 3);
  header->wVideoCodecID = info.codec == VideoCodec::kH264 ? QXSP_VIDEO_H264 : QXSP_VIDEO_H265;
  header->wVideoDataType = QXSP_DATA_VIDEO;
  header->wVideoWidth = static_cast<uint16_t>(info.width);
  header->wVideoHeight = static_cast<uint16_t>(info.height);
  header->wFrameRateNum = info.frameRate.num;
  header->wFrameRateDen = info.frameRate.den;
  g_bSteady = pace == CAMERA_STEADY;
  g_llBegin = now_ms();
  return 1;
}

uint32_t read_camera(const uint8_t** frame, int64_t* time_ms) {
  auto unit = g_pCamera->Next();
  while (unit && unit->sound)
    unit = g_pCamera->Next();
  if (!unit) return 0;
  if (g_bSteady) {
    std::this_thread::sleep_for(std::chrono::milliseconds(g_llBegin + unit->timestampMs - now_ms()));
  }
  *frame = unit->bytes.data();
  *time_ms = unit->timestampMs;
  return static_cast<uint32_t>(unit->bytes.size());
}

int64_t now_ms() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

int wait_for(sem_t* event) {
  timespec end;
  clock_gettime(CLOCK_REALTIME, &end);
  end.tv_sec += kTimeoutSeconds;
  return sem_timedwait(event, &end) == 0 ? 1 : 0;
}

int save_picture(const char* file, const void* pixels, int32_t width, int32_t height) {
  const size_t bytes = static_cast<size_t>(width) * static_cast<size_t>(height) * 4;
  uint8_t head[kBmpHeadBytes] = {'B', 'M'};
  const auto put = [&head](size_t at, size_t value) {
    for (size_t i = 0; i < 4; ++i)
      head[at + i] = static_cast<uint8_t>(value >> 8 * i);
  };
  put(2, kBmpHeadBytes + bytes);
  put(10, kBmpHeadBytes);  // where the pixels begin
  put(14, 40);             // size of the second half of the head
  put(18, static_cast<size_t>(width));
  put(22, static_cast<size_t>(height));
  put(26, 1 | 32 << 16);  // one plane, 32 bits a pixel
  put(34, bytes);
  std::FILE* const out = std::fopen(file, "wb");
  if (out == nullptr) return 0;
  const bool written = std::fwrite(head, sizeof head, 1, out) == 1 && std::fwrite(pixels, bytes, 1, out) == 1;
  return std::fclose(out) == 0 && written ? 1 : 0;
}
