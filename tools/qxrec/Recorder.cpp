#include "tools/qxrec/Recorder.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <fstream>

#include "tools/qxrec/RecordProgress.h"
#include "tools/qxrec/VideoCopier.h"
#include "tools/qxrec/VideoTranscoder.h"

namespace {

constexpr int kMostPixels = 10000;  // a side, that a player takes
// A longer pause is a break in the input's times. A camera's clock may be set at any moment; a file may hold
// pictures that stand for minutes.
constexpr int64_t kMostPauseLiveUs = 10 * int64_t{AV_TIME_BASE};
constexpr int64_t kMostPauseFileUs = 600 * int64_t{AV_TIME_BASE};
// Containers round what they say of their length.
constexpr double kShortSeconds = 2;
constexpr std::chrono::milliseconds kRedrawBar{200}, kNextLine{1000};

std::string Hundredths(double value) {
  char text[32];
  snprintf(text, sizeof(text), "%.2f", value);
  return text;
}

// Frames per second; 0 when the input does not know, or takes its clock for it.
double FrameRateOf(const AVStream& stream) {
  constexpr double kLeast = 0.01, kMost = 1000;
  for (const AVRational rate : {stream.avg_frame_rate, stream.r_frame_rate}) {
    if (rate.num > 0 && rate.den > 0 && av_q2d(rate) >= kLeast && av_q2d(rate) <= kMost) return av_q2d(rate);
  }
  return 0;
}

}  // namespace

Recorder::Recorder(const Options& options, Console& console, const std::atomic<bool>& stop)
    : m_Options(options),
      m_Console(console),
      m_bStop(stop),
      m_Input(options.input, options.timeoutSeconds, [&stop] { return stop.load(); }),
      m_NextProgress(m_Begin + (console.IsTerminal() ? kRedrawBar : kNextLine)) {}

Outcome Recorder::Run() {
  const bool opened = CheckInput() && CheckOutput() && m_Input.Open() && OpenVideo();
  const Outcome outcome = opened ? Finish(Record()) : Outcome::kFailed;
  if (outcome == Outcome::kFailed) m_Console.Complain(Reason());
  return outcome;
}

// Why it failed: the nearest to the user first.
std::string Recorder::Reason() const {
  if (!m_strError.empty()) return m_strError;
  if (m_pVideo && !m_pVideo->Error().empty()) return m_Options.input + ": " + m_pVideo->Error();
  if (!m_Writer.Error().empty()) return m_Writer.Error();
  if (!m_Input.Error().empty()) return m_Input.Error();
  return "interrupted; nothing is written";
}

bool Recorder::Fail(const std::string& what) {
  m_strError = what;
  return false;
}

// libavformat would find H.264 in a recording, and take the heads of the records for a part of it.
bool Recorder::CheckInput() {
  char magic[sizeof(svx::kMagic)] = {};
  std::ifstream(m_Options.input, std::ios::binary).read(magic, sizeof(magic));
  return !std::ranges::equal(magic, svx::kMagic) || Fail(m_Options.input + ": is a recording already");
}

bool Recorder::CheckOutput() {
  struct stat output {
  }, input{};
  if (stat(m_Options.output.c_str(), &output) != 0) return true;
  if (!S_ISREG(output.st_mode)) return Fail(m_Options.output + ": is no ordinary file");
  const bool isInput = stat(m_Options.input.c_str(), &input) == 0 && input.st_dev == output.st_dev &&
                       input.st_ino == output.st_ino;
  if (isInput) return Fail(m_Options.output + ": is the input itself");
  return m_Options.force || Fail(m_Options.output + ": exists already; --force replaces it");
}

bool Recorder::OpenVideo() {
  AVFormatContext& input = *m_Input.Context();
  m_nVideoStream = av_find_best_stream(&input, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (m_nVideoStream < 0) return m_Input.Fail("has no video");
  const AVStream& stream = *input.streams[m_nVideoStream];
  const AVCodecParameters& parameters = *stream.codecpar;
  if (parameters.width <= 0 || parameters.height <= 0)
    return m_Input.Fail("the size of its pictures cannot be found");
  if (parameters.width > kMostPixels || parameters.height > kMostPixels)
    return m_Input.Fail("its pictures are larger than 10000 pixels");
  OpenSound();
  for (unsigned i = 0; i < input.nb_streams; ++i) {
    const int index = static_cast<int>(i);
    if (index != m_nVideoStream && index != m_nSoundStream) input.streams[i]->discard = AVDISCARD_ALL;
  }

  const double inputRate = FrameRateOf(stream);
  const RecordingRate rate = ChooseRecordingRate(inputRate);
  m_TimeLine.emplace(rate.framesPerSecond, m_Options.live ? kMostPauseLiveUs : kMostPauseFileUs);
  SvxParameters recording{.width = static_cast<uint32_t>(parameters.width),
                          .height = static_cast<uint32_t>(parameters.height),
                          .framesPerSecond = rate.framesPerSecond};
  if (!OpenVideoTrack(stream, inputRate, recording) || !m_Writer.Open(m_Options.output, recording))
    return false;
  m_Recording.emplace(m_Writer, *m_TimeLine, m_pSound != nullptr, m_Options.seconds);
  if (!m_Options.live) {
    const double duration = stream.duration > 0
                                ? static_cast<double>(stream.duration) * av_q2d(stream.time_base)
                                : static_cast<double>(input.duration) / AV_TIME_BASE;
    m_dTotalSeconds = std::max(duration, 0.0);
  }
  if (m_Options.seconds > 0) {
    m_dTotalSeconds =
        m_dTotalSeconds > 0 ? std::min<double>(m_dTotalSeconds, m_Options.seconds) : m_Options.seconds;
  }
  return true;
}

// How the video gets into the recording; says when it is not just copied.
bool Recorder::OpenVideoTrack(const AVStream& stream, double inputRate, SvxParameters& parameters) {
  const std::string codec = avcodec_get_name(stream.codecpar->codec_id);
  const bool isExceeded = ChooseRecordingRate(inputRate).isExceeded;
  const std::string rates =
      Hundredths(inputRate) + " frames per second become " + std::to_string(parameters.framesPerSecond);
  const InputClock clock(stream.time_base, inputRate);
  const bool isH264 = stream.codecpar->codec_id == AV_CODEC_ID_H264;
  if (isH264 && !isExceeded && !m_Options.IsOlderCodec()) {
    int averror = 0;
    std::unique_ptr<AnnexBFilter> filter = AnnexBFilter::Create(stream, averror);
    if (!filter) return m_Input.Fail("its parameter sets are damaged", averror);
    m_pVideo = std::make_unique<VideoCopier>(std::move(filter), clock, *m_TimeLine);
    return true;
  }
  const auto target =
      m_Options.IsOlderCodec() ? VideoTranscoder::Target::kOlderCodec : VideoTranscoder::Target::kH264;
  std::string error;
  auto transcoder = VideoTranscoder::Create(stream, inputRate, target, *m_TimeLine, error);
  if (!transcoder) return m_Input.Fail(error);
  parameters.version = m_Options.IsOlderCodec() ? svx::kVersionOlderCodec : svx::kVersionH264;
  parameters.width = transcoder->Width();
  parameters.height = transcoder->Height();
  m_pVideo = std::move(transcoder);
  m_Console.Say(m_Options.input + ": its video (" + codec + ") is converted to " +
                (m_Options.IsOlderCodec() ? "the older codec" : "H.264") + (isExceeded ? "; " + rates : ""));
  return true;
}

// Sound that cannot be had is told, and does not keep the pictures from being recorded.
void Recorder::OpenSound() {
  if (m_Options.noSound) return;
  AVFormatContext& input = *m_Input.Context();
  const int index = av_find_best_stream(&input, AVMEDIA_TYPE_AUDIO, -1, m_nVideoStream, nullptr, 0);
  if (index < 0) return;
  std::string error;
  m_pSound = SoundConverter::Create(*input.streams[index], error);
  if (m_pSound) {
    m_nSoundStream = index;
  } else {
    m_Console.Complain(m_Options.input + ": its sound (" +
                       avcodec_get_name(input.streams[index]->codecpar->codec_id) +
                       ") is left out: " + error);
  }
}

Recorder::End Recorder::Record() {
  const AvPacket packet(av_packet_alloc());
  if (!packet) {
    Fail("no memory");
    return End::kFailed;
  }
  while (!m_Recording->IsFull()) {
    if (m_bStop) return End::kWanted;
    const MediaInput::ReadResult result = m_Input.Read(*packet);
    if (result == MediaInput::ReadResult::kEnd) return End::kInput;
    if (result == MediaInput::ReadResult::kFailed) return m_bStop ? End::kWanted : End::kReadFailed;
    GiveTimes(*packet);
    bool taken = true;
    if (packet->stream_index == m_nVideoStream) taken = SendVideo(packet.get());
    if (packet->stream_index == m_nSoundStream) taken = SendSound(packet.get());
    av_packet_unref(packet.get());
    if (!taken) return End::kFailed;
    ShowProgress();
  }
  return End::kWanted;
}

// A camera's packet without a time has that of its arrival.
void Recorder::GiveTimes(AVPacket& packet) const {
  if (!m_Options.live || packet.dts != AV_NOPTS_VALUE) return;
  const AVRational base = m_Input.Context()->streams[packet.stream_index]->time_base;
  packet.dts = av_rescale_q(m_Input.Age().count(), AVRational{1, 1000}, base);
}

bool Recorder::SendVideo(AVPacket* packet) {
  return m_pVideo->Send(packet, [this](VideoUnit unit) { return m_Recording->AddVideo(std::move(unit)); });
}

bool Recorder::SendSound(const AVPacket* packet) {
  m_pSound->Send(packet, [this](std::optional<int64_t> inputUs, std::span<const uint8_t> samples) {
    m_bSoundFailed = m_bSoundFailed || !m_Recording->AddSound(inputUs, samples);
  });
  return !m_bSoundFailed;
}

// A file that could not be converted whole is still there to be converted again; what a camera showed is not.
Outcome Recorder::Finish(End end) {
  const bool isInterrupted = end == End::kWanted && m_bStop;
  const bool isAllThere = end == End::kInput || (end == End::kWanted && !isInterrupted);
  if (!isAllThere && !m_Options.live) return Outcome::kFailed;
  bool isWhole =
      end != End::kFailed && (!m_pSound || SendSound(nullptr)) && SendVideo(nullptr) && m_Recording->Flush();
  if (!isWhole && !m_Options.live) return Outcome::kFailed;
  std::string reason = isWhole ? m_Input.Error() : Reason();
  if (m_Writer.VideoRecords() == 0) {
    if (!isInterrupted && reason.empty())
      Fail(m_Options.input + ": no picture in it can be decoded, or none is a key frame");
    return Outcome::kFailed;
  }
  if (!m_Writer.Finish(m_Options.force)) {
    if (reason.empty()) reason = m_Writer.Error();
    isWhole = false;
    if (!m_Options.live || !m_Writer.FinishWhatIsThere(m_Options.force)) return Outcome::kFailed;
  }
  TellResult();
  if (!m_Options.live || (isWhole && end == End::kWanted)) return Outcome::kRecorded;
  if (!reason.empty()) m_Console.Complain(reason);
  m_Console.Complain(m_Options.input + ": the recording ended by itself; what came until then is kept");
  return Outcome::kEndedByItself;
}

void Recorder::ShowProgress() {
  const bool begins = m_Options.live && !m_bBegun && m_Recording->Frames() > 0;
  if (begins) m_Console.Say(m_Options.input + ": recording; Ctrl-C ends it");
  m_bBegun = m_bBegun || begins;
  const Clock::time_point now = Clock::now();
  if (now < m_NextProgress) return;
  const bool isTerminal = m_Console.IsTerminal();
  m_NextProgress = now + (isTerminal ? kRedrawBar : kNextLine);
  m_Console.Progress(ProgressLine(Progress(), isTerminal));
}

RecordProgress Recorder::Progress() const {
  return {.recordedSeconds = m_Recording->Seconds(),
          .totalSeconds = m_dTotalSeconds,
          .elapsedSeconds = std::chrono::duration<double>(Clock::now() - m_Begin).count(),
          .bytes = m_Writer.Bytes()};
}

// The last line: what is in the file, and what of the input is not.
void Recorder::TellResult() {
  RecordProgress progress = Progress();
  progress.recordedSeconds = static_cast<double>(m_Writer.VideoRecords()) / m_TimeLine->FramesPerSecond();
  if (m_Console.IsTerminal()) m_Console.Progress(ProgressLine(progress, true));
  // After a failure fewer than came.
  const uint64_t frames = std::min<uint64_t>(m_Recording->Frames(), m_Writer.VideoRecords());
  const uint64_t fills = m_Writer.VideoRecords() - frames;
  std::string text = m_Options.output + ": " + std::to_string(frames) + " frames";
  if (fills > 0) text += " and " + std::to_string(fills) + " repeats";
  text += ", " + Hundredths(progress.recordedSeconds) + " s, " + SizeText(m_Writer.Bytes());
  const VideoTrack::Losses& lost = m_pVideo->Lost();
  if (lost.beforeKeyFrame > 0)
    text += "; dropped before the first key frame: " + std::to_string(lost.beforeKeyFrame);
  if (lost.tooMany > 0) text += "; dropped, too many a second: " + std::to_string(lost.tooMany);
  if (lost.damaged > 0) text += "; damaged: " + std::to_string(lost.damaged);
  m_Console.Say(text);
  const bool isShort =
      m_dTotalSeconds - progress.recordedSeconds > std::max(kShortSeconds, m_dTotalSeconds / 20);
  if (isShort && !m_Options.live) {
    m_Console.Complain(m_Options.input + ": ended early; it should last " + Hundredths(m_dTotalSeconds) +
                       " s");
  }
}
