#include "tools/qxplay/AccessUnitSource.h"

#include <limits>

namespace {

constexpr int kMostPixels = 10000;  // a side, of a stream header
// A step of the source's time line beyond this is a break in it, not a pause of the camera.
constexpr int64_t kMostStepMs = 10000;

// The usual 25 when the source says nothing or gives its clock instead of its frame rate.
FrameRate ToFrameRate(AVRational rate) {
  constexpr double kLeast = 0.1, kMost = 240;
  if (rate.num <= 0 || rate.den <= 0 || av_q2d(rate) < kLeast || av_q2d(rate) > kMost) return {};
  int num = 0, den = 0;
  av_reduce(&num, &den, rate.num, rate.den, std::numeric_limits<uint16_t>::max());
  if (num <= 0 || den <= 0) return {};
  return {.num = static_cast<uint16_t>(num), .den = static_cast<uint16_t>(den)};
}

}  // namespace

AccessUnitSource::AccessUnitSource(std::string address, int timeoutSeconds,
                                   std::optional<FrameRate> frameRate, std::function<bool()> isCancelled)
    : m_FrameRate(frameRate),
      m_IsCancelled(std::move(isCancelled)),
      m_Input(std::move(address), timeoutSeconds, m_IsCancelled) {}

AccessUnitSource::~AccessUnitSource() = default;

bool AccessUnitSource::Open() {
  m_llShift.reset();
  m_pFilter.reset();
  m_pSound.reset();
  if (!m_pPacket) return m_Input.Fail("no memory");
  return m_Input.Open() && OpenVideo();
}

bool AccessUnitSource::Restart() {
  return Open();
}

bool AccessUnitSource::OpenVideo() {
  AVFormatContext& input = *m_Input.Context();
  const int index = av_find_best_stream(&input, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (index < 0) return m_Input.Fail("has no video");
  const AVStream& stream = *input.streams[index];
  const AVCodecParameters& parameters = *stream.codecpar;
  if (parameters.codec_id != AV_CODEC_ID_H264 && parameters.codec_id != AV_CODEC_ID_HEVC) {
    return m_Input.Fail("its video is " + std::string(avcodec_get_name(parameters.codec_id)) +
                        "; only H.264 and H.265 can be played");
  }
  if (parameters.width <= 0 || parameters.height <= 0)
    return m_Input.Fail("the size of its pictures cannot be found");
  if (parameters.width > kMostPixels || parameters.height > kMostPixels) {
    return m_Input.Fail("its pictures are larger than 10000 pixels");
  }
  m_nStream = index;
  OpenSound();
  for (unsigned i = 0; i < input.nb_streams; ++i) {
    const bool wanted = static_cast<int>(i) == index || (m_pSound && static_cast<int>(i) == m_nSoundStream);
    if (!wanted) input.streams[i]->discard = AVDISCARD_ALL;
  }
  m_Info.codec = parameters.codec_id == AV_CODEC_ID_H264 ? VideoCodec::kH264 : VideoCodec::kH265;
  m_Info.width = parameters.width;
  m_Info.height = parameters.height;
  m_Info.frameRate =
      m_FrameRate.value_or(ToFrameRate(av_guess_frame_rate(&input, input.streams[index], nullptr)));
  m_Info.paced = m_Input.IsCamera();
  m_Info.durationMs = !m_Info.paced && input.duration > 0 ? input.duration / (AV_TIME_BASE / 1000) : 0;
  int averror = 0;
  m_pFilter = AnnexBFilter::Create(stream, averror);
  if (!m_pFilter) return m_Input.Fail("its parameter sets are damaged", averror);
  return true;
}

void AccessUnitSource::OpenSound() {
  AVFormatContext& input = *m_Input.Context();
  m_Info.sound.reset();
  m_Info.whyNoSound.clear();
  m_nSoundStream = av_find_best_stream(&input, AVMEDIA_TYPE_AUDIO, -1, m_nStream, nullptr, 0);
  if (m_nSoundStream < 0 || m_FrameRate) return;
  m_pSound = LiveSound::Create(*input.streams[m_nSoundStream], m_Info.whyNoSound);
  if (m_pSound) m_Info.sound = m_pSound->Info();
}

std::optional<AccessUnit> AccessUnitSource::Next() {
  if (!m_pFilter) return std::nullopt;
  bool key = false;
  int64_t dts = 0;
  while (!m_IsCancelled()) {
    if (const auto sound = NextSound()) return sound;
    const AnnexBFilter::Result result = m_pFilter->Receive(m_Unit, key, dts);
    if (result == AnnexBFilter::Result::kEnd) return std::nullopt;
    if (result == AnnexBFilter::Result::kWantsPacket) {
      if (!ReadPacket()) return std::nullopt;
      continue;
    }
    std::optional<int64_t> timeMs;
    if (dts != AV_NOPTS_VALUE) {
      timeMs = av_rescale_q(dts, m_Input.Context()->streams[m_nStream]->time_base, AVRational{1, 1000});
    } else if (m_Info.paced) {
      timeMs = m_Input.Age().count();
    }
    return AccessUnit{.bytes = m_Unit, .timestampMs = TimestampOf(timeMs), .key = key};
  }
  return std::nullopt;
}

// Sound from before the first picture has no place on the time line yet.
std::optional<AccessUnit> AccessUnitSource::NextSound() {
  while (const auto frame = m_pSound ? m_pSound->Receive() : std::nullopt) {
    if (!m_llShift || !frame->timeMs) continue;
    const int64_t timestamp = *frame->timeMs + *m_llShift;
    if (timestamp < m_llLastSound) continue;
    m_llLastSound = timestamp;
    return AccessUnit{.bytes = frame->bytes, .timestampMs = timestamp, .sound = true};
  }
  return std::nullopt;
}

// Hands one packet, or the end, to whom it belongs. False: failed or cancelled.
bool AccessUnitSource::ReadPacket() {
  AVPacket* packet = m_pPacket.get();
  for (;;) {
    const MediaInput::ReadResult result = m_Input.Read(*packet);
    if (result == MediaInput::ReadResult::kFailed) return false;
    const bool end = result == MediaInput::ReadResult::kEnd;
    if (end || (packet->stream_index == m_nStream && packet->size > 0)) {
      m_pFilter->Send(end ? nullptr : packet);
      return true;
    }
    if (m_pSound && packet->stream_index == m_nSoundStream && packet->size > 0) {
      m_pSound->Send(packet);
      return true;
    }
    av_packet_unref(packet);
  }
}

// Puts the container's decoding time, which it may not know, on our time line.
int64_t AccessUnitSource::TimestampOf(std::optional<int64_t> decodingTimeMs) {
  const FrameRate& rate = m_Info.frameRate;
  const int64_t count = m_llUnits++;
  if (m_FrameRate) return m_llLast = count * 1000 * rate.den / rate.num;
  const int64_t next =
      count == 0 ? 0 : m_llLast + 1000 * rate.den / rate.num;  // where a unit without a time goes
  if (!decodingTimeMs) return m_llLast = next;
  if (!m_llShift) m_llShift = next - *decodingTimeMs;
  const int64_t timestamp = *decodingTimeMs + *m_llShift;
  const bool broken = timestamp < m_llLast || timestamp - m_llLast > kMostStepMs;
  if (broken) m_llShift = next - *decodingTimeMs;
  return m_llLast = broken ? next : timestamp;
}
