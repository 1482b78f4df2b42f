// Streams of frames through a video decoder, and a snapshot after each: the planes must be as large as the
// picture says. The first byte picks the codec; a four-byte start code begins a frame.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "decode/Decoder.h"
#include "src/kitc/Log.h"

namespace {

constexpr std::array<uint8_t, 4> kStartCode = {0, 0, 0, 1};
constexpr uint64_t kMaxPixels = 4096 * 4096;  // a snapshot of more is only slow

// Every byte of the planes, into one that the compiler cannot drop.
volatile uint8_t g_sum;

void ReadPlanes(const DecodedPicture& picture) {
  if (!picture.bHasImage) return;
  uint8_t sum = 0;
  for (int plane = 0; plane < 3; plane++) {
    if (picture.pPlane[plane] == nullptr) continue;
    const uint32_t width = plane == 0 ? picture.nWidth : picture.nWidth / 2;
    const uint32_t height = plane == 0 ? picture.nHeight : picture.nHeight / 2;
    for (uint32_t y = 0; y < height; y++) {
      const uint8_t* row = picture.pPlane[plane] + size_t{y} * picture.nStride[plane];
      for (uint32_t x = 0; x < width; x++)
        sum = static_cast<uint8_t>(sum + row[x]);
    }
  }
  g_sum = sum;
}

void Decode(Decoder& decoder, std::span<const uint8_t> frame) {
  const std::vector<uint8_t> exact(frame.begin(), frame.end());
  DecodedPicture picture;
  if (!decoder.DecodeFrameVideo(picture, exact.data(), static_cast<uint32_t>(exact.size()), 0)) return;
  ReadPlanes(picture);
  const uint64_t pixels = uint64_t{picture.nWidth} * picture.nHeight;
  if (!picture.bHasImage || pixels > kMaxPixels) return;
  std::vector<uint8_t> snapshot(static_cast<size_t>(pixels) * 4);
  decoder.GetImageRGB32(snapshot.data(), static_cast<uint32_t>(snapshot.size()));
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  kitc_log_config(kLogNone, nullptr, kLogNone);
  return Decoder::InitSDK() ? 0 : 1;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const auto decoder = Decoder::CreateVideoDecoder(data[0] % 2 == 0 ? kCodecH264 : kCodecH265, 64, 48, 40);
  if (decoder == nullptr) return 0;
  std::span<const uint8_t> rest(data + 1, size - 1);
  while (!rest.empty()) {
    const auto next = std::search(rest.begin() + 1, rest.end(), kStartCode.begin(), kStartCode.end());
    const auto length = static_cast<size_t>(next - rest.begin());
    Decode(*decoder, rest.first(length));
    rest = rest.subspan(length);
  }
  return 0;
}
