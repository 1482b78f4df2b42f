#include "codecs/qmp4pkg/NalUnits.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr uint8_t kStartCode[kStartCodeBytes] = {0, 0, 0, 1};

// Takes big-endian numbers and runs of bytes off the front; once too few are left, nothing more comes.
class Taker {
 public:
  explicit Taker(std::span<const uint8_t> bytes) : m_Bytes(bytes) {}

  bool Failed() const { return m_bFailed; }
  std::span<const uint8_t> Bytes(size_t count) {
    if (count > m_Bytes.size()) {
      m_bFailed = true;
      m_Bytes = {};
      return {};
    }
    const auto taken = m_Bytes.first(count);
    m_Bytes = m_Bytes.subspan(count);
    return taken;
  }
  uint32_t Number(size_t bytes) {
    uint32_t value = 0;
    for (const uint8_t byte : Bytes(bytes))
      value = value << 8 | byte;
    return value;
  }

 private:
  std::span<const uint8_t> m_Bytes;
  bool m_bFailed = false;
};

bool BeginsWithStartCode(std::span<const uint8_t> box) {
  return box.size() >= kStartCodeBytes && box[0] == 0 && box[1] == 0 &&
         (box[2] == 1 || (box[2] == 0 && box[3] == 1));
}

void TakeSets(Taker& taker, uint32_t count, VideoConfig& config) {
  for (; count > 0 && !taker.Failed(); --count) {
    const auto set = taker.Bytes(taker.Number(2));
    if (set.empty()) continue;
    config.parameterSets.insert(config.parameterSets.end(), std::begin(kStartCode), std::end(kStartCode));
    config.parameterSets.insert(config.parameterSets.end(), set.begin(), set.end());
  }
}

}  // namespace

bool ParseAvcConfig(std::span<const uint8_t> box, VideoConfig& config) {
  if (BeginsWithStartCode(box)) {
    config.nLengthBytes = 0;
    config.parameterSets.assign(box.begin(), box.end());
    return true;
  }
  // ISO/IEC 14496-15, AVCDecoderConfigurationRecord: version, profile, compatibility, level, length size.
  Taker taker(box);
  if (taker.Number(1) != 1) return false;
  taker.Bytes(3);
  config.nLengthBytes = (taker.Number(1) & 3) + 1;
  TakeSets(taker, taker.Number(1) & 0x1F, config);
  TakeSets(taker, taker.Number(1), config);
  return !taker.Failed();
}

bool ParseHevcConfig(std::span<const uint8_t> box, VideoConfig& config) {
  if (BeginsWithStartCode(box)) {
    config.nLengthBytes = 0;
    config.parameterSets.assign(box.begin(), box.end());
    return true;
  }
  // ISO/IEC 14496-15, HEVCDecoderConfigurationRecord: 21 bytes of profile and format, length size, arrays of
  // sets.
  Taker taker(box);
  taker.Bytes(21);
  config.nLengthBytes = (taker.Number(1) & 3) + 1;
  for (uint32_t arrays = taker.Number(1); arrays > 0 && !taker.Failed(); --arrays) {
    taker.Bytes(1);
    TakeSets(taker, taker.Number(2), config);
  }
  return !taker.Failed();
}

size_t ToStartCodesInPlace(std::span<uint8_t> frame) {
  size_t at = 0;
  while (frame.size() - at > kStartCodeBytes) {
    uint8_t* const head = &frame[at];
    const size_t length = size_t{head[0]} << 24 | size_t{head[1]} << 16 | size_t{head[2]} << 8 | head[3];
    std::copy(std::begin(kStartCode), std::end(kStartCode), head);
    at += kStartCodeBytes;
    at += std::min(length, frame.size() - at);
  }
  return at;
}

void ToStartCodes(std::span<const uint8_t> frame, uint32_t lengthBytes, std::vector<uint8_t>& out) {
  size_t at = 0;
  while (frame.size() - at > lengthBytes) {
    size_t length = 0;
    for (uint32_t i = 0; i < lengthBytes; ++i)
      length = length << 8 | frame[at++];
    length = std::min(length, frame.size() - at);
    out.insert(out.end(), std::begin(kStartCode), std::end(kStartCode));
    out.insert(out.end(), frame.begin() + static_cast<ptrdiff_t>(at),
               frame.begin() + static_cast<ptrdiff_t>(at + length));
    at += length;
  }
}
