#include "tools/qxplay/LiveSound.h"

#include <algorithm>
#include <limits>

namespace {

constexpr int kTelephoneRate = 8000;  // what the decoders of AMR, A-law and mu-law are made for, one channel
constexpr size_t kMostPcmBytes = 8192;  // of a frame, in live input

// What a decoder of AAC without headers is to be told: rate and channels of the core, without its extensions.
// Sets no codec when there is no such core.
bool ReadAacConfig(const AVCodecParameters& parameters, int& rate, int& channels) {
  // ISO/IEC 14496-3, 1.6.2.1: 5 bits object type, 4 bits rate index, 4 bits channels; 1.6.3.4: the rates.
  constexpr int kRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                            22050, 16000, 12000, 11025, 8000,  7350};
  constexpr int kLowComplexity = 2, kSpectralBandReplication = 5, kParametricStereo = 29;
  if (parameters.extradata_size < 2) {  // frames with headers; what was found in them
    const bool doubled =
        parameters.profile == FF_PROFILE_AAC_HE || parameters.profile == FF_PROFILE_AAC_HE_V2;
    rate = doubled ? parameters.sample_rate / 2 : parameters.sample_rate;
    channels = parameters.ch_layout.nb_channels;
    return std::ranges::find(kRates, rate) != std::end(kRates);
  }
  const int bits = parameters.extradata[0] << 8 | parameters.extradata[1];
  const int type = bits >> 11, index = bits >> 7 & 0xF;
  channels = bits >> 3 & 0xF;
  if (index >= static_cast<int>(std::size(kRates))) return false;
  rate = kRates[index];
  return type == kLowComplexity || type == kSpectralBandReplication || type == kParametricStereo;
}

// False when no stream header can name it.
bool Describe(const AVCodecParameters& parameters, SoundInfo& info) {
  int rate = parameters.sample_rate, channels = parameters.ch_layout.nb_channels;
  const bool telephone = rate == kTelephoneRate && channels == 1;
  int mostChannels = 2;
  switch (parameters.codec_id) {
    case AV_CODEC_ID_PCM_U8:
      info = {.codec = SoundCodec::kPcm, .bits = 8};
      break;
    case AV_CODEC_ID_PCM_S16LE:
      info = {.codec = SoundCodec::kPcm};
      break;
    case AV_CODEC_ID_AMR_NB:
    case AV_CODEC_ID_PCM_ALAW:
    case AV_CODEC_ID_PCM_MULAW:
      if (!telephone) return false;
      info = {.codec = parameters.codec_id == AV_CODEC_ID_AMR_NB     ? SoundCodec::kAmr
                       : parameters.codec_id == AV_CODEC_ID_PCM_ALAW ? SoundCodec::kALaw
                                                                     : SoundCodec::kMuLaw};
      break;
    case AV_CODEC_ID_AAC:
      if (!ReadAacConfig(parameters, rate, channels)) return false;
      mostChannels = 6;
      info = {.codec = SoundCodec::kAac};
      break;
    default:
      return false;
  }
  if (rate <= 0 || rate > std::numeric_limits<uint16_t>::max() || channels <= 0 || channels > mostChannels)
    return false;
  info.sampleRate = static_cast<uint16_t>(rate);
  info.channels = static_cast<uint16_t>(channels);
  return true;
}

// Live input tells video from sound by how the bytes begin.
bool PassesForVideo(std::span<const uint8_t> bytes) {
  constexpr uint8_t kStart[] = {0, 0, 0, 1}, kLongStart[] = {0, 0, 0, 0, 1}, kPrefix[] = {'Q', 'X', 'S'};
  const auto begins = [&](std::span<const uint8_t> with) {
    return bytes.size() >= with.size() && std::ranges::equal(bytes.first(with.size()), with);
  };
  return begins(kStart) || begins(kLongStart) || begins(kPrefix);
}

}  // namespace

std::unique_ptr<LiveSound> LiveSound::Create(const AVStream& stream, std::string& reason) {
  std::unique_ptr<LiveSound> track(new LiveSound);
  const AVCodecParameters& parameters = *stream.codecpar;
  if (!Describe(parameters, track->m_Info)) {
    reason = "its sound is " + std::string(avcodec_get_name(parameters.codec_id)) + ", " +
             std::to_string(parameters.sample_rate) + " Hz, " +
             std::to_string(parameters.ch_layout.nb_channels) + " channels, which a live stream cannot carry";
    return nullptr;
  }
  if (track->m_pPacket && track->OpenFilter(stream)) return track;
  reason = "the description of its sound is damaged";
  return nullptr;
}

// Takes the headers off AAC frames that have any; all else passes.
bool LiveSound::OpenFilter(const AVStream& stream) {
  const char* name = m_Info.codec == SoundCodec::kAac ? "aac_adtstoasc" : "null";
  const AVBitStreamFilter* kind = av_bsf_get_by_name(name);
  AVBSFContext* filter = nullptr;
  if (!kind || av_bsf_alloc(kind, &filter) < 0) return false;
  m_pFilter.reset(filter);
  filter->time_base_in = m_TimeBase = stream.time_base;
  return avcodec_parameters_copy(filter->par_in, stream.codecpar) >= 0 && av_bsf_init(filter) >= 0;
}

void LiveSound::Send(AVPacket* packet) {
  if (av_bsf_send_packet(m_pFilter.get(), packet) < 0) av_packet_unref(packet);
}

std::optional<SoundFrame> LiveSound::Receive() {
  while (m_nHandedOut < static_cast<size_t>(m_pPacket->size) || NextPacket()) {
    const size_t bytesPerSample = size_t{m_Info.bits} / 8 * m_Info.channels;
    const bool pcm = m_Info.codec == SoundCodec::kPcm;
    const size_t most =
        pcm ? kMostPcmBytes / bytesPerSample * bytesPerSample : std::numeric_limits<size_t>::max();
    const size_t begin = m_nHandedOut;
    const std::span<uint8_t> bytes(m_pPacket->data + begin,
                                   std::min(static_cast<size_t>(m_pPacket->size) - begin, most));
    m_nHandedOut += bytes.size();
    if (bytes.empty()) continue;
    if (PassesForVideo(bytes)) {
      // The lowest bit of one sample is not heard; a frame of the other codecs would be another one.
      if (m_Info.codec == SoundCodec::kAmr || m_Info.codec == SoundCodec::kAac) continue;
      bytes[0] ^= 1;
    }
    SoundFrame frame{.bytes = bytes, .timeMs = {}};
    if (m_pPacket->pts != AV_NOPTS_VALUE) {
      const auto offsetMs = pcm ? begin / bytesPerSample * 1000 / m_Info.sampleRate : 0;
      frame.timeMs =
          av_rescale_q(m_pPacket->pts, m_TimeBase, AVRational{1, 1000}) + static_cast<int64_t>(offsetMs);
    }
    return frame;
  }
  return std::nullopt;
}

bool LiveSound::NextPacket() {
  m_nHandedOut = 0;
  av_packet_unref(m_pPacket.get());
  return av_bsf_receive_packet(m_pFilter.get(), m_pPacket.get()) >= 0 &&
         av_packet_make_writable(m_pPacket.get()) >= 0;
}
