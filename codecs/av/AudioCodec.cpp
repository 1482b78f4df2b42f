#include "codecs/av/AudioCodec.h"

#include <cstring>
#include <new>
#include <utility>

#include "codecs/av/Silence.h"

namespace {

constexpr size_t kSampleBytes = sizeof(int16_t);
// Far more than one frame of any codec holds.
constexpr size_t kMaxPcm = 16 * 1024 * 1024;
constexpr size_t kPcmGranule = 16 * 1024;

}  // namespace

std::unique_ptr<AudioCodec> AudioCodec::Create(AVCodecID codecId, int channels, int sampleRate,
                                               const uint8_t* header, size_t headerSize) {
  const AVCodec* codec = avcodec_find_decoder(codecId);
  if (codec == nullptr) return nullptr;
  std::unique_ptr<AudioCodec> self(new (std::nothrow) AudioCodec(codec, channels, sampleRate));
  if (self == nullptr) return nullptr;
  self->m_pFrame.reset(av_frame_alloc());
  if (!self->m_Input.Create() || !self->m_pFrame) return nullptr;
  if (headerSize == 0) return self;
  self->m_pHeader.reset(static_cast<uint8_t*>(av_memdup(header, headerSize)));
  self->m_nHeaderSize = headerSize;
  return self->m_pHeader != nullptr ? std::move(self) : nullptr;
}

// False when memory is exhausted or the codec refuses the header; the next frame tries again.
bool AudioCodec::Open() {
  if (m_pContext) return true;
  AvContext opening(avcodec_alloc_context3(m_pCodec));
  if (!opening) return false;
  AVCodecContext& context = *opening;
  context.thread_count = 1;
  context.log_level_offset = kLogSilence;
  context.sample_rate = m_nSampleRate;
  av_channel_layout_default(&context.ch_layout, m_nChannels);
  if (m_nHeaderSize != 0) {
    context.extradata = static_cast<uint8_t*>(av_mallocz(m_nHeaderSize + AV_INPUT_BUFFER_PADDING_SIZE));
    if (context.extradata == nullptr) return false;
    std::memcpy(context.extradata, m_pHeader.get(), m_nHeaderSize);
    context.extradata_size = static_cast<int>(m_nHeaderSize);
  }
  if (avcodec_open2(&context, m_pCodec, nullptr) < 0) return false;
  m_pContext = std::move(opening);
  return true;
}

bool AudioCodec::Decode(const uint8_t* data, uint32_t size) {
  if (!Open() || !m_Input.Fill(data, size)) return false;
  avcodec_send_packet(m_pContext.get(), m_Input.Packet());
  while (avcodec_receive_frame(m_pContext.get(), m_pFrame.get()) >= 0) {
    if (!Append()) return false;
  }
  return true;
}

// Converts m_pFrame to the end of the PCM.
bool AudioCodec::Append() {
  if (!MatchResampler()) return false;
  const int room = swr_get_out_samples(m_pResampler.get(), m_pFrame->nb_samples);
  const size_t sampleBytes = kSampleBytes * static_cast<size_t>(m_nChannels);
  if (room < 0 || !Reserve(m_nPcmSize + static_cast<size_t>(room) * sampleBytes)) return false;
  uint8_t* target = m_pPcm.get() + m_nPcmSize;
  const int samples = swr_convert(m_pResampler.get(), &target, room,
                                  const_cast<const uint8_t**>(m_pFrame->extended_data), m_pFrame->nb_samples);
  if (samples < 0) return false;
  m_nPcmSize += static_cast<size_t>(samples) * sampleBytes;
  return true;
}

bool AudioCodec::MatchResampler() {
  AVFrame& frame = *m_pFrame;
  if (m_pResampler != nullptr && frame.ch_layout.nb_channels == m_nFrameChannels &&
      frame.sample_rate == m_nFrameRate && frame.format == m_nFrameFormat)
    return true;
  AVChannelLayout target = {};
  av_channel_layout_default(&target, m_nChannels);
  SwrContext* resampler = nullptr;
  swr_alloc_set_opts2(&resampler, &target, AV_SAMPLE_FMT_S16, m_nSampleRate, &frame.ch_layout,
                      static_cast<AVSampleFormat>(frame.format), frame.sample_rate, kLogSilence, nullptr);
  m_pResampler.reset(resampler);
  if (resampler != nullptr && swr_init(resampler) < 0) m_pResampler.reset();
  m_nFrameChannels = frame.ch_layout.nb_channels;
  m_nFrameRate = frame.sample_rate;
  m_nFrameFormat = frame.format;
  return m_pResampler != nullptr;
}

bool AudioCodec::Reserve(size_t bytes) {
  if (bytes <= m_nPcmCapacity && m_pPcm != nullptr) return true;
  if (bytes > kMaxPcm) return false;
  const size_t capacity = (bytes / kPcmGranule + 1) * kPcmGranule;
  uint8_t* const memory = static_cast<uint8_t*>(av_realloc(m_pPcm.get(), capacity));
  if (memory == nullptr) return false;
  static_cast<void>(m_pPcm.release());
  m_pPcm.reset(memory);
  m_nPcmCapacity = capacity;
  return true;
}
