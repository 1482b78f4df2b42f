#include "codecs/av/PaddedInput.h"

#include <climits>
#include <cstring>

namespace {

// Memory comes in multiples of this many bytes, so that a growing frame seldom means a new buffer.
constexpr size_t kGranule = 64 * 1024;

}  // namespace

bool PaddedInput::Create() {
  m_pPacket.reset(av_packet_alloc());
  return m_pPacket != nullptr;
}

bool PaddedInput::Fill(const uint8_t* data, uint32_t size) {
  if (data == nullptr || size == 0 || size > INT_MAX - kGranule) return false;
  const size_t needed = static_cast<size_t>(size) + AV_INPUT_BUFFER_PADDING_SIZE;
  AVPacket& packet = *m_pPacket;
  // A codec that still refers to the last input keeps it.
  if (packet.buf == nullptr || packet.buf->size < needed || av_buffer_is_writable(packet.buf) == 0) {
    av_packet_unref(&packet);
    packet.buf = av_buffer_alloc((needed + kGranule - 1) / kGranule * kGranule);
    if (packet.buf == nullptr) return false;
  }
  std::memcpy(packet.buf->data, data, size);
  std::memset(packet.buf->data + size, 0, AV_INPUT_BUFFER_PADDING_SIZE);
  packet.data = packet.buf->data;
  packet.size = static_cast<int>(size);
  return true;
}
