#include "codecs/qmp4pkg/Mp4Parser.h"

#include <algorithm>
#include <cmath>

#include "codecs/qmp4pkg/AacConfig.h"
#include "codecs/qmp4pkg/BoxCheck.h"
#include "codecs/qmp4pkg/Demuxer.h"
#include "codecs/qmp4pkg/NalUnits.h"

namespace {

constexpr double kDefaultRate = 25.0;  // of a file whose times say nothing
constexpr double kMaxRate = 1000.0;
constexpr double kMinRate = 0.01;
// In the place of a code that promises more than the track keeps.
constexpr const char* kUnplayable = "----";
constexpr int64_t kMaxTimeMs = UINT32_MAX;  // 49 days

struct PacketFree {
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

std::string CodeOf(const AVCodecParameters& parameters) {
  std::string code;
  for (int shift = 0; shift < 32; shift += 8)
    code += static_cast<char>(parameters.codec_tag >> shift & 0xFF);
  return code;
}

std::span<const uint8_t> ExtraData(const AVCodecParameters& parameters) {
  return {parameters.extradata, static_cast<size_t>(std::max(parameters.extradata_size, 0))};
}

bool ParseVideoConfig(AVCodecID codec, std::span<const uint8_t> box, VideoConfig& config) {
  return codec == AV_CODEC_ID_HEVC ? ParseHevcConfig(box, config) : ParseAvcConfig(box, config);
}

class Parser {
 public:
  explicit Parser(const InputFile& file) : m_File(file) {}

  std::optional<FrameTable> Run(std::string& error) {
    const auto facts = CheckBoxes(m_File);
    if (facts) m_pDemuxer = Demuxer::Open(m_File, facts->nEnd);
    if (m_pDemuxer == nullptr) {
      error = "not an MP4 file, or damaged";
      return std::nullopt;
    }
    if (facts->bFragmented) m_pDemuxer->ParseFragments();
    ChooseStreams();
    if (m_pVideo != nullptr) TakeVideo();
    if (m_pAudio != nullptr) TakeAudio();
    TakeFrames();
    if (m_Table.video.empty()) {
      error = "no video in it";
      return std::nullopt;
    }
    if (facts->bSeveralDescriptions) TakeLaterConfigs(*facts);
    return std::move(m_Table);
  }

 private:
  static bool IsKnownVideo(const std::string& code) {
    return code == "avc1" || code == "hvc1" || code == "hev1";
  }
  static bool IsPlayableVideo(const AVCodecParameters& parameters) {
    VideoConfig ignored;
    return IsKnownVideo(CodeOf(parameters)) &&
           ParseVideoConfig(parameters.codec_id, ExtraData(parameters), ignored);
  }
  static bool IsPlayableAudio(const AVCodecParameters& parameters) {
    const std::string code = CodeOf(parameters);
    return code == "samr" || code == "alaw" || code == "ulaw" ||
           (code == "mp4a" && IsPlayableAac(parameters));
  }
  // The code stands for many kinds of sound, the reader takes it for AAC.
  static bool IsPlayableAac(const AVCodecParameters& parameters) {
    return parameters.codec_id == AV_CODEC_ID_AAC && ParseAacConfig(ExtraData(parameters)).has_value();
  }

  void ChooseStreams() {
    AVFormatContext& context = m_pDemuxer->Context();
    bool videoPlays = false, audioPlays = false;
    const auto choose = [](AVStream*& chosen, bool& plays, AVStream* stream, bool playable) {
      if (chosen == nullptr || (!plays && playable)) chosen = stream;
      plays = plays || playable;
    };
    for (unsigned i = 0; i < context.nb_streams; ++i) {
      AVStream* const stream = context.streams[i];
      const AVCodecParameters& parameters = *stream->codecpar;
      const bool picture = (stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
      if (picture || avformat_index_get_entries_count(stream) <= 0) continue;
      if (parameters.codec_type == AVMEDIA_TYPE_VIDEO)
        choose(m_pVideo, videoPlays, stream, IsPlayableVideo(parameters));
      else if (parameters.codec_type == AVMEDIA_TYPE_AUDIO)
        choose(m_pAudio, audioPlays, stream, IsPlayableAudio(parameters));
    }
  }

  void TakeVideo() {
    const AVCodecParameters& parameters = *m_pVideo->codecpar;
    m_Table.videoCode = CodeOf(parameters);
    m_Table.nWidth = static_cast<uint32_t>(std::max(parameters.width, 0));
    m_Table.nHeight = static_cast<uint32_t>(std::max(parameters.height, 0));
    VideoConfig config;
    if (IsKnownVideo(m_Table.videoCode)) {
      const bool parsed = ParseVideoConfig(parameters.codec_id, ExtraData(parameters), config);
      if (!parsed) m_Table.videoCode = kUnplayable;
    } else {
      config.nLengthBytes = 0;
    }
    m_Table.configs.push_back(std::move(config));
  }

  void TakeAudio() {
    const AVCodecParameters& parameters = *m_pAudio->codecpar;
    m_Table.audioCode = CodeOf(parameters);
    m_Table.nChannels = static_cast<uint32_t>(std::max(parameters.ch_layout.nb_channels, 0));
    m_Table.nSampleRate = static_cast<uint32_t>(std::max(parameters.sample_rate, 0));
    if (m_Table.audioCode != "mp4a") return;
    if (!IsPlayableAac(parameters)) {
      m_Table.audioCode = kUnplayable;
      return;
    }
    const AacConfig aac = *ParseAacConfig(ExtraData(parameters));
    m_Table.nSampleRate = aac.nSampleRate;
    if (aac.nChannels != 0) m_Table.nChannels = aac.nChannels;
  }

  static int64_t TimeMs(const AVStream& stream, int64_t timestamp) {
    constexpr int64_t kFar = int64_t{1} << 52;
    return std::clamp(av_rescale_q(timestamp, stream.time_base, AVRational{1, 1000}), -kFar, kFar);
  }

  void TakeFrames() {
    int64_t first = INT64_MAX;
    for (AVStream* stream : {m_pVideo, m_pAudio})
      if (stream != nullptr)
        first = std::min(first, TimeMs(*stream, avformat_index_get_entry(stream, 0)->timestamp));
    if (m_pVideo != nullptr) {
      m_Table.video = Frames(*m_pVideo, first);
      m_Table.dFrameRate = FrameRate();
      // A file that marks none starts with its first frame, as well as it can.
      const auto isKey = [](const FrameEntry& frame) { return frame.bKeyFrame != 0; };
      if (!m_Table.video.empty() && std::none_of(m_Table.video.begin(), m_Table.video.end(), isKey))
        m_Table.video.front().bKeyFrame = 1;
    }
    if (m_pAudio != nullptr) m_Table.audio = Frames(*m_pAudio, first);
    if (m_Table.audio.empty()) m_Table.audioCode.clear();
  }

  std::vector<FrameEntry> Frames(AVStream& stream, int64_t firstMs) const {
    const int count = avformat_index_get_entries_count(&stream);
    std::vector<FrameEntry> frames(static_cast<size_t>(count));
    uint32_t earliest = 0;
    for (int i = 0; i < count; ++i) {
      const AVIndexEntry& entry = *avformat_index_get_entry(&stream, i);
      FrameEntry& frame = frames[static_cast<size_t>(i)];
      frame.llPosition = std::max<int64_t>(entry.pos, 0);
      frame.nSize = static_cast<uint32_t>(std::max<int>(entry.size, 0)) & INT32_MAX;
      frame.bKeyFrame = (entry.flags & AVINDEX_KEYFRAME) != 0;
      const int64_t time = std::clamp<int64_t>(TimeMs(stream, entry.timestamp) - firstMs, 0, kMaxTimeMs);
      earliest = frame.nTimeMs = std::max(static_cast<uint32_t>(time), earliest);
    }
    // Of a cut file plays what there is.
    const auto isMissing = [this](const FrameEntry& frame) {
      return frame.llPosition > m_File.Size() || int64_t{frame.nSize} > m_File.Size() - frame.llPosition;
    };
    while (!frames.empty() && isMissing(frames.back()))
      frames.pop_back();
    return frames;
  }

  // The average, so that pictures do not run away from the sound; the rate that nearly every frame has when
  // one odd frame alone makes the difference.
  double FrameRate() const {
    const int count = avformat_index_get_entries_count(m_pVideo);
    const auto time = [this](int i) {
      return static_cast<double>(avformat_index_get_entry(m_pVideo, i)->timestamp);
    };
    std::vector<double> periods;
    for (int i = 1; i < count; ++i)
      periods.push_back(time(i) - time(i - 1));
    if (periods.empty()) return SaneRate(av_q2d(m_pVideo->avg_frame_rate));
    const double whole = time(count - 1) - time(0);
    const auto number = static_cast<double>(periods.size());
    const auto middle = periods.begin() + static_cast<ptrdiff_t>(periods.size() / 2);
    std::nth_element(periods.begin(), middle, periods.end());
    const double usual = *middle;
    const auto equal = static_cast<double>(std::count(periods.begin(), periods.end(), usual));
    const bool oneIsOdd = equal >= 0.9 * number && std::abs(whole - usual * number) <= 2 * usual;
    const double period = oneIsOdd ? usual : whole / number;
    return SaneRate(1 / period * m_pVideo->time_base.den / m_pVideo->time_base.num);
  }
  static double SaneRate(double rate) {
    return std::isfinite(rate) && rate >= kMinRate && rate <= kMaxRate ? rate : kDefaultRate;
  }

  // The table that libavformat shows does not tell which description a frame has; packets do, where it
  // changes.
  void TakeLaterConfigs(const BoxFacts& facts) {
    const std::unique_ptr<Demuxer> demuxer = Demuxer::Open(m_File, facts.nEnd);
    const std::unique_ptr<AVPacket, PacketFree> packet(av_packet_alloc());
    if (demuxer == nullptr || packet == nullptr) return;
    AVFormatContext& context = demuxer->Context();
    for (unsigned i = 0; i < context.nb_streams; ++i)
      context.streams[i]->discard =
          static_cast<int>(i) == m_pVideo->index ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    if (!facts.bFragmented) demuxer->ReadZeros();
    uint32_t frame = 0;
    for (; av_read_frame(&context, packet.get()) >= 0; av_packet_unref(packet.get())) {
      if (packet->stream_index != m_pVideo->index) continue;
      while (frame < m_Table.video.size() && m_Table.video[frame].llPosition != packet->pos)
        ++frame;
      size_t bytes = 0;
      const uint8_t* data = av_packet_get_side_data(packet.get(), AV_PKT_DATA_NEW_EXTRADATA, &bytes);
      VideoConfig config;
      if (data != nullptr && ParseVideoConfig(m_pVideo->codecpar->codec_id, {data, bytes}, config)) {
        config.nFirstFrame = frame;
        if (frame == 0) m_Table.configs.clear();
        m_Table.configs.push_back(std::move(config));
      }
      ++frame;
    }
  }

  const InputFile& m_File;
  std::unique_ptr<Demuxer> m_pDemuxer;
  AVStream* m_pVideo = nullptr;
  AVStream* m_pAudio = nullptr;
  FrameTable m_Table;
};

}  // namespace

std::optional<FrameTable> ParseMp4(const InputFile& file, std::string& error) {
  return Parser(file).Run(error);
}
