#include "tools/qxrec/VideoTranscoder.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <cmath>

#include "tools/common/MediaInput.h"

namespace {

constexpr double kSecondsBetweenKeyFrames = 2;
// Between the usual 23 and "visually lossless" 18: this is footage that is looked at closely.
constexpr const char* kH264Quality = "21";
constexpr const char* kH264Preset = "veryfast";  // several times real time at 1080p on one core
constexpr int kOlderCodecQuantiser = 3;          // 1 to 31; 3 shows no blocks

const AVCodec* FindEncoder(VideoTranscoder::Target target) {
  if (target == VideoTranscoder::Target::kOlderCodec) return avcodec_find_encoder_by_name("mpeg4");
  const AVCodec* best = avcodec_find_encoder_by_name("libx264");
  return best ? best : avcodec_find_encoder_by_name("libopenh264");
}

}  // namespace

std::unique_ptr<VideoTranscoder> VideoTranscoder::Create(const AVStream& stream, double inputRate,
                                                         Target target, TimeLine& timeLine,
                                                         std::string& error) {
  std::unique_ptr<VideoTranscoder> self(
      new VideoTranscoder(InputClock(stream.time_base, inputRate), timeLine));
  if (!self->m_pPicture || !self->m_pPacket) {
    error = "no memory";
    return nullptr;
  }
  if (!self->OpenDecoder(stream, error) || !self->OpenEncoder(target, inputRate, error)) return nullptr;
  if (target == Target::kH264) self->m_pFormatter = std::make_unique<AccessUnitFormatter>(VideoCodec::kH264);
  return self;
}

bool VideoTranscoder::OpenDecoder(const AVStream& stream, std::string& error) {
  const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
  m_pDecoder.reset(codec ? avcodec_alloc_context3(codec) : nullptr);
  int result = m_pDecoder ? avcodec_parameters_to_context(m_pDecoder.get(), stream.codecpar)
                          : AVERROR_DECODER_NOT_FOUND;
  if (result >= 0) {
    m_pDecoder->pkt_timebase = stream.time_base;
    m_pDecoder->thread_count = 0;  // as many as there are processors
    result = avcodec_open2(m_pDecoder.get(), codec, nullptr);
  }
  if (result >= 0) return true;
  error = "its video (" + std::string(avcodec_get_name(stream.codecpar->codec_id)) +
          ") cannot be decoded: " + AvErrorText(result);
  return false;
}

bool VideoTranscoder::OpenEncoder(Target target, double inputRate, std::string& error) {
  const AVCodec* codec = FindEncoder(target);
  m_pEncoder.reset(codec ? avcodec_alloc_context3(codec) : nullptr);
  if (!m_pEncoder) {
    error = target == Target::kH264
                ? "its video must be converted to H.264, and there is no encoder (libx264)"
                : "there is no encoder for the older codec (mpeg4)";
    return false;
  }
  AVCodecContext& encoder = *m_pEncoder;
  const int rate = static_cast<int>(m_TimeLine.FramesPerSecond());
  encoder.width = m_pDecoder->width & ~1;  // 4:2:0 pictures
  encoder.height = m_pDecoder->height & ~1;
  encoder.pix_fmt = AV_PIX_FMT_YUV420P;
  encoder.sample_aspect_ratio = m_pDecoder->sample_aspect_ratio;
  encoder.time_base = {.num = 1, .den = rate};  // a frame's time is its place
  encoder.framerate = {.num = rate, .den = 1};
  const double frames = inputRate > 0 ? std::min<double>(inputRate, rate) : rate;
  encoder.gop_size = std::max(1, static_cast<int>(std::lround(frames * kSecondsBetweenKeyFrames)));
  encoder.max_b_frames = 0;  // so that no group of pictures reaches into another
  if (target == Target::kH264) {
    av_opt_set(encoder.priv_data, "preset", kH264Preset, 0);  // only libx264 has these two
    av_opt_set(encoder.priv_data, "crf", kH264Quality, 0);
  } else {
    encoder.flags |= AV_CODEC_FLAG_QSCALE;
    encoder.global_quality = kOlderCodecQuantiser * FF_QP2LAMBDA;
  }
  const int result = avcodec_open2(m_pEncoder.get(), codec, nullptr);
  if (result >= 0) return true;
  error = "the " + std::string(codec->name) + " encoder takes no pictures of " +
          std::to_string(encoder.width) + " x " + std::to_string(encoder.height) + ": " + AvErrorText(result);
  return false;
}

bool VideoTranscoder::Send(AVPacket* packet, const Sink& sink) {
  int result = avcodec_send_packet(m_pDecoder.get(), packet);
  if (!EncodePictures(sink)) return false;
  if (result == AVERROR(EAGAIN)) {  // it was full of pictures, which are out now
    result = avcodec_send_packet(m_pDecoder.get(), packet);
    if (!EncodePictures(sink)) return false;
  }
  if (result < 0 && result != AVERROR_EOF) ++m_Lost.damaged;
  return packet || Encode(nullptr, sink);
}

// Everything that the decoder has ready. A picture without a place on the time line is left out.
bool VideoTranscoder::EncodePictures(const Sink& sink) {
  while (true) {
    AVFrame* picture = m_pPicture.get();
    const int result = avcodec_receive_frame(m_pDecoder.get(), picture);
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return true;
    if (result < 0) {
      ++m_Lost.damaged;
      return true;
    }
    const auto place = m_TimeLine.PlaceOrDrop(m_Clock.Next(picture->best_effort_timestamp));
    if (!place) {
      ++m_Lost.tooMany;
      continue;
    }
    AVFrame* converted = m_Converter.Convert(*picture, m_pEncoder->width, m_pEncoder->height);
    if (!converted) {
      m_strError = "a picture cannot be brought into the encoder's format";
      return false;
    }
    converted->pts = *place;
    converted->pict_type = AV_PICTURE_TYPE_NONE;  // the encoder decides, not the input
    if (!Encode(converted, sink)) return false;
  }
}

bool VideoTranscoder::Encode(const AVFrame* picture, const Sink& sink) {
  int result = avcodec_send_frame(m_pEncoder.get(), picture);
  if (result == AVERROR_EOF) return true;  // ended before
  while (result >= 0) {
    AVPacket& packet = *m_pPacket;
    result = avcodec_receive_packet(m_pEncoder.get(), &packet);
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return true;
    if (result < 0) break;
    VideoUnit unit;
    unit.nPlace = static_cast<uint32_t>(packet.pts);
    unit.bKey = (packet.flags & AV_PKT_FLAG_KEY) != 0;
    const std::span<const uint8_t> bytes(packet.data, static_cast<size_t>(packet.size));
    if (m_pFormatter) {
      unit.bKey = m_pFormatter->Format(bytes, unit.bKey, unit.bytes);
    } else {
      unit.bytes.assign(bytes.begin(), bytes.end());
    }
    av_packet_unref(&packet);
    if (!sink(std::move(unit))) return false;
  }
  m_strError = "a picture cannot be encoded: " + AvErrorText(result);
  return false;
}
