#include "tools/common/AnnexBFilter.h"

std::unique_ptr<AnnexBFilter> AnnexBFilter::Create(const AVStream& stream, int& averror) {
  const bool h264 = stream.codecpar->codec_id == AV_CODEC_ID_H264;
  std::unique_ptr<AnnexBFilter> self(new AnnexBFilter(h264 ? VideoCodec::kH264 : VideoCodec::kH265));
  // From length-prefixed units, as MP4 and Matroska hold them; units with start codes pass as they are.
  const AVBitStreamFilter* kind = av_bsf_get_by_name(h264 ? "h264_mp4toannexb" : "hevc_mp4toannexb");
  AVBSFContext* filter = nullptr;
  averror = !kind || !self->m_pPacket ? AVERROR(ENOMEM) : av_bsf_alloc(kind, &filter);
  self->m_pFilter.reset(filter);
  if (averror >= 0) averror = avcodec_parameters_copy(filter->par_in, stream.codecpar);
  if (averror < 0) return nullptr;
  filter->time_base_in = stream.time_base;
  averror = av_bsf_init(filter);
  if (averror < 0) return nullptr;
  const AVCodecParameters& parameters = *filter->par_out;
  if (parameters.extradata_size > 0) {
    self->m_Formatter.LearnParameterSets(
        {parameters.extradata, static_cast<size_t>(parameters.extradata_size)});
  }
  return self;
}

void AnnexBFilter::Send(AVPacket* packet) {
  if (av_bsf_send_packet(m_pFilter.get(), packet) < 0 && packet) av_packet_unref(packet);
}

AnnexBFilter::Result AnnexBFilter::Receive(std::vector<uint8_t>& bytes, bool& key, int64_t& dts) {
  for (;;) {
    const int result = av_bsf_receive_packet(m_pFilter.get(), m_pPacket.get());
    if (result == AVERROR(EAGAIN)) return Result::kWantsPacket;
    if (result == AVERROR_EOF) return Result::kEnd;
    if (result < 0) continue;  // this packet is damaged; the filter goes on with the next
    const AVPacket& packet = *m_pPacket;
    key = m_Formatter.Format({packet.data, static_cast<size_t>(packet.size)},
                             (packet.flags & AV_PKT_FLAG_KEY) != 0, bytes);
    dts = packet.dts;
    av_packet_unref(m_pPacket.get());
    if (!bytes.empty()) return Result::kUnit;
  }
}
