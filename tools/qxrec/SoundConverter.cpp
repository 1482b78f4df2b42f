#include "tools/qxrec/SoundConverter.h"

extern "C" {
#include <libswresample/swresample.h>
}

#include "file/SvxFormat.h"
#include "tools/common/MediaInput.h"
#include "tools/qxrec/InputClock.h"

void SoundConverter::ResamplerFree::operator()(SwrContext* resampler) const {
  swr_free(&resampler);
}

SoundConverter::~SoundConverter() = default;

std::unique_ptr<SoundConverter> SoundConverter::Create(const AVStream& stream, std::string& error) {
  std::unique_ptr<SoundConverter> self(new SoundConverter);
  const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
  self->m_TimeBase = stream.time_base;
  self->m_pDecoder.reset(codec ? avcodec_alloc_context3(codec) : nullptr);
  int result = self->m_pDecoder && self->m_pFrame ? 0 : AVERROR_DECODER_NOT_FOUND;
  if (result >= 0) result = avcodec_parameters_to_context(self->m_pDecoder.get(), stream.codecpar);
  if (result >= 0) {
    self->m_pDecoder->pkt_timebase = stream.time_base;
    result = avcodec_open2(self->m_pDecoder.get(), codec, nullptr);
  }
  if (result >= 0) return self;
  error = AvErrorText(result);
  return nullptr;
}

void SoundConverter::Send(const AVPacket* packet, const Sink& sink) {
  avcodec_send_packet(m_pDecoder.get(), packet);
  while (avcodec_receive_frame(m_pDecoder.get(), m_pFrame.get()) >= 0) {
    const AVFrame& frame = *m_pFrame;
    const bool isAsBefore = m_pResampler && static_cast<AVSampleFormat>(frame.format) == m_Format &&
                            frame.sample_rate == m_nSampleRate && frame.ch_layout.nb_channels == m_nChannels;
    if (isAsBefore || OpenResampler()) Convert(&frame, sink);
  }
  if (!packet && m_pResampler) Convert(nullptr, sink);
}

// For what m_pFrame holds.
bool SoundConverter::OpenResampler() {
  const AVFrame& frame = *m_pFrame;
  m_Format = static_cast<AVSampleFormat>(frame.format);
  m_nSampleRate = frame.sample_rate;
  m_nChannels = frame.ch_layout.nb_channels;
  AVChannelLayout from{}, mono = AV_CHANNEL_LAYOUT_MONO;
  // A count of channels without their places is taken for the usual places.
  if (frame.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC) {
    av_channel_layout_default(&from, m_nChannels);
  } else {
    av_channel_layout_copy(&from, &frame.ch_layout);
  }
  SwrContext* resampler = nullptr;
  int result = swr_alloc_set_opts2(&resampler, &mono, AV_SAMPLE_FMT_U8, svx::kAudioSampleRate, &from,
                                   m_Format, m_nSampleRate, 0, nullptr);
  av_channel_layout_uninit(&from);
  m_pResampler.reset(resampler);
  if (result >= 0) result = swr_init(resampler);
  if (result < 0) m_pResampler.reset();
  return result >= 0;
}

// Null: what the resampler still holds.
void SoundConverter::Convert(const AVFrame* frame, const Sink& sink) {
  std::optional<int64_t> timeUs;
  if (frame && frame->best_effort_timestamp != AV_NOPTS_VALUE) {
    timeUs = ToMicroseconds(frame->best_effort_timestamp, m_TimeBase) -
             swr_get_delay(m_pResampler.get(), AV_TIME_BASE);
  }
  const int most = swr_get_out_samples(m_pResampler.get(), frame ? frame->nb_samples : 0);
  if (most <= 0) return;
  m_Samples.resize(static_cast<size_t>(most));
  uint8_t* const to[] = {m_Samples.data()};
  const int count = swr_convert(m_pResampler.get(), const_cast<uint8_t**>(to), most,
                                frame ? const_cast<const uint8_t**>(frame->extended_data) : nullptr,
                                frame ? frame->nb_samples : 0);
  if (count > 0) sink(timeUs, {m_Samples.data(), static_cast<size_t>(count)});
}
