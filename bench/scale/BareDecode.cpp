#include "bench/scale/BareDecode.h"

#include "bench/scale/Process.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace {

class BareDecoder {
 public:
  BareDecoder() : m_pCodec(avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_H264))) {
    m_pCodec->thread_count = 1;
    m_pCodec->flags |= AV_CODEC_FLAG_LOW_DELAY;
    Require(avcodec_open2(m_pCodec, nullptr, nullptr) == 0, "libavcodec does not open a decoder");
  }
  ~BareDecoder() { avcodec_free_context(&m_pCodec); }
  BareDecoder(const BareDecoder&) = delete;
  BareDecoder& operator=(const BareDecoder&) = delete;

  bool Decode(AVPacket* packet, AVFrame* frame) {
    return avcodec_send_packet(m_pCodec, packet) == 0 && avcodec_receive_frame(m_pCodec, frame) == 0;
  }

 private:
  AVCodecContext* m_pCodec;
};

}  // namespace

double DecodeBareMs(const Load& load) {
  std::vector<AccessUnit> padded(load.clip.units);
  for (AccessUnit& unit : padded)
    unit.resize(unit.size() + AV_INPUT_BUFFER_PADDING_SIZE);
  std::vector<BareDecoder> decoders(load.nStreams);
  const std::vector<Arrival> arrivals = Arrivals(load);
  AVPacket* packet = av_packet_alloc();
  AVFrame* frame = av_frame_alloc();
  size_t failed = 0;
  double start = 0;
  bool warm = false;
  for (const Arrival& arrival : arrivals) {
    if (!warm && arrival.atMs >= kWarmMs) {
      warm = true;
      start = ThreadCpuMs();
    }
    const size_t unit = UnitOf(load, arrival);
    packet->data = padded[unit].data();
    packet->size = static_cast<int>(load.clip.units[unit].size());
    if (!decoders[arrival.stream].Decode(packet, frame)) ++failed;
  }
  const double used = ThreadCpuMs() - start;
  av_frame_free(&frame);
  av_packet_free(&packet);
  Require(failed == 0, "libavcodec did not decode every frame");
  return used;
}
