#include "tools/qxplay/AccessUnitSource.h"

extern "C" {
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
}

#include <chrono>
#include <limits>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kMostPixels = 10000;  // a side, of a stream header
// A step of the source's time line beyond this is a break in it, not a pause of the camera.
constexpr int64_t kMostStepMs = 10000;
// Between two questions to an input that has nothing yet and does not wait by itself.
constexpr std::chrono::milliseconds kPoll{5};

struct InputCloser {
  void operator()(AVFormatContext* input) const { avformat_close_input(&input); }
};
struct FilterCloser {
  void operator()(AVBSFContext* filter) const { av_bsf_free(&filter); }
};
struct PacketCloser {
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

std::string ErrorText(int averror) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(averror, text, sizeof(text));
  return text;
}

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

struct AccessUnitSource::Av {
  std::unique_ptr<AVFormatContext, InputCloser> input;
  std::unique_ptr<AVBSFContext, FilterCloser> filter;
  std::unique_ptr<AVPacket, PacketCloser> packet{av_packet_alloc()};
  const AVStream* stream = nullptr;  // of input
  bool drained = false;              // the filter got the end of the stream
  Clock::time_point opened = Clock::now();
};

AccessUnitSource::AccessUnitSource(std::string address, int timeoutSeconds,
                                   std::optional<FrameRate> frameRate, std::function<bool()> isCancelled)
    : m_strAddress(std::move(address)),
      m_nTimeoutSeconds(timeoutSeconds),
      m_FrameRate(frameRate),
      m_IsCancelled(std::move(isCancelled)) {}

AccessUnitSource::~AccessUnitSource() = default;

bool AccessUnitSource::Open() {
  m_strError.clear();
  m_llShift.reset();
  // Closing the old input talks to the camera, too, and needs its time.
  StartCall();
  m_Av.reset();
  m_Av = std::make_unique<Av>();
  return OpenInput() && OpenVideo() && OpenFilter();
}

bool AccessUnitSource::Restart() {
  return Open();
}

void AccessUnitSource::StartCall() {
  m_Deadline = Clock::now() + std::chrono::seconds(m_nTimeoutSeconds);
}

bool AccessUnitSource::OpenInput() {
  StartCall();
  if (!m_Av->packet) return Fail("no memory");
  AVFormatContext* input = avformat_alloc_context();
  if (!input) return Fail("no memory");
  input->interrupt_callback.opaque = this;
  input->interrupt_callback.callback = [](void* self) {
    const auto& source = *static_cast<const AccessUnitSource*>(self);
    return source.m_IsCancelled() || Clock::now() >= source.m_Deadline ? 1 : 0;
  };
  AVDictionary* settings = nullptr;
  av_dict_set(&settings, "rtsp_transport", "tcp", 0);  // loses no packets; cameras speak it
  const int result = avformat_open_input(&input, m_strAddress.c_str(), nullptr, &settings);
  av_dict_free(&settings);
  m_Av->input.reset(result < 0 ? nullptr : input);  // a failed open has freed it
  if (result < 0) return Fail("cannot be opened", result);
  const int found = avformat_find_stream_info(input, nullptr);
  if (found < 0) return Fail("cannot be read", found);
  return true;
}

bool AccessUnitSource::OpenVideo() {
  AVFormatContext& input = *m_Av->input;
  const int index = av_find_best_stream(&input, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (index < 0) return Fail("has no video");
  const AVStream& stream = *input.streams[index];
  const AVCodecParameters& parameters = *stream.codecpar;
  if (parameters.codec_id != AV_CODEC_ID_H264 && parameters.codec_id != AV_CODEC_ID_HEVC) {
    return Fail("its video is " + std::string(avcodec_get_name(parameters.codec_id)) +
                "; only H.264 and H.265 can be played");
  }
  if (parameters.width <= 0 || parameters.height <= 0)
    return Fail("the size of its pictures cannot be found");
  if (parameters.width > kMostPixels || parameters.height > kMostPixels) {
    return Fail("its pictures are larger than 10000 pixels");
  }
  for (unsigned i = 0; i < input.nb_streams; ++i) {
    if (static_cast<int>(i) != index) input.streams[i]->discard = AVDISCARD_ALL;
  }
  m_Av->stream = &stream;
  m_Info.codec = parameters.codec_id == AV_CODEC_ID_H264 ? VideoCodec::kH264 : VideoCodec::kH265;
  m_Info.width = parameters.width;
  m_Info.height = parameters.height;
  m_Info.frameRate =
      m_FrameRate.value_or(ToFrameRate(av_guess_frame_rate(&input, input.streams[index], nullptr)));
  m_Info.paced = m_strAddress.starts_with("rtsp:") || m_strAddress.starts_with("rtsps:");
  m_Info.durationMs = !m_Info.paced && input.duration > 0 ? input.duration / (AV_TIME_BASE / 1000) : 0;
  return true;
}

// From length-prefixed units, as MP4 and Matroska hold them, to start codes; units with start codes pass as
// they are.
bool AccessUnitSource::OpenFilter() {
  const AVBitStreamFilter* kind =
      av_bsf_get_by_name(m_Info.codec == VideoCodec::kH264 ? "h264_mp4toannexb" : "hevc_mp4toannexb");
  AVBSFContext* filter = nullptr;
  if (!kind || av_bsf_alloc(kind, &filter) < 0) return Fail("no memory");
  m_Av->filter.reset(filter);
  int result = avcodec_parameters_copy(filter->par_in, m_Av->stream->codecpar);
  filter->time_base_in = m_Av->stream->time_base;
  if (result >= 0) result = av_bsf_init(filter);
  if (result < 0) return Fail("its parameter sets are damaged", result);
  m_Formatter = std::make_unique<AccessUnitFormatter>(m_Info.codec);
  const AVCodecParameters& parameters = *filter->par_out;
  if (parameters.extradata_size > 0) {
    m_Formatter->LearnParameterSets({parameters.extradata, static_cast<size_t>(parameters.extradata_size)});
  }
  return true;
}

std::optional<AccessUnit> AccessUnitSource::Next() {
  if (!m_Av || !m_Av->filter) return std::nullopt;
  AVPacket* packet = m_Av->packet.get();
  while (!m_IsCancelled()) {
    const int result = av_bsf_receive_packet(m_Av->filter.get(), packet);
    if (result == AVERROR(EAGAIN)) {
      if (!ReadPacket()) return std::nullopt;
      continue;
    }
    if (result == AVERROR_EOF) return std::nullopt;
    if (result < 0) continue;  // this packet is damaged; the filter goes on with the next
    const bool key = m_Formatter->Format({packet->data, static_cast<size_t>(packet->size)},
                                         (packet->flags & AV_PKT_FLAG_KEY) != 0, m_Unit);
    std::optional<int64_t> timeMs;
    if (packet->dts != AV_NOPTS_VALUE) {
      timeMs = av_rescale_q(packet->dts, m_Av->filter->time_base_out, AVRational{1, 1000});
    } else if (m_Info.paced) {
      timeMs = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - m_Av->opened).count();
    }
    av_packet_unref(packet);
    if (m_Unit.empty()) continue;
    return AccessUnit{.bytes = m_Unit, .timestampMs = TimestampOf(timeMs), .key = key};
  }
  return std::nullopt;
}

// Hands one video packet, or the end, to the filter. False: failed or cancelled.
bool AccessUnitSource::ReadPacket() {
  AVPacket* packet = m_Av->packet.get();
  StartCall();
  while (!m_Av->drained) {
    if (m_IsCancelled()) return false;
    const int result = av_read_frame(m_Av->input.get(), packet);
    if (result == AVERROR(EAGAIN) && Clock::now() < m_Deadline) {
      std::this_thread::sleep_for(kPoll);
      continue;
    }
    if (result == AVERROR_EOF) {
      m_Av->drained = true;
      break;
    }
    if (result < 0) return Fail("reading failed", result);
    if (packet->stream_index == m_Av->stream->index && packet->size > 0) break;
    av_packet_unref(packet);
  }
  if (av_bsf_send_packet(m_Av->filter.get(), m_Av->drained ? nullptr : packet) < 0) av_packet_unref(packet);
  return true;
}

bool AccessUnitSource::Fail(const std::string& what, int averror) {
  if (m_IsCancelled()) return false;  // nothing to complain about
  // libavformat has many words for an interrupted call.
  const bool timedOut = averror != 0 && Clock::now() >= m_Deadline;
  m_strError = m_strAddress + ": " + what;
  if (timedOut) {
    m_strError += ": no answer within " + std::to_string(m_nTimeoutSeconds) + " s";
  } else if (averror != 0) {
    m_strError += ": " + ErrorText(averror);
  }
  return false;
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
