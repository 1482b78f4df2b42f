#include "tools/common/MediaInput.h"

#include <thread>
#include <utility>

namespace {

// Between two questions to an input that has nothing yet and does not wait by itself.
constexpr std::chrono::milliseconds kPoll{5};

}  // namespace

std::string AvErrorText(int averror) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(averror, text, sizeof(text));
  return text;
}

MediaInput::MediaInput(std::string address, int timeoutSeconds, std::function<bool()> isCancelled)
    : m_strAddress(std::move(address)),
      m_nTimeoutSeconds(timeoutSeconds),
      m_IsCancelled(std::move(isCancelled)) {}

bool MediaInput::Open() {
  m_strError.clear();
  // Closing the old input talks to the camera, too, and needs its time.
  StartCall();
  m_pInput.reset();
  m_Opened = Clock::now();
  StartCall();
  AVFormatContext* input = avformat_alloc_context();
  if (!input) return Fail("no memory");
  input->interrupt_callback.opaque = this;
  input->interrupt_callback.callback = [](void* self) {
    const auto& media = *static_cast<const MediaInput*>(self);
    return media.m_IsCancelled() || Clock::now() >= media.m_Deadline ? 1 : 0;
  };
  AVDictionary* settings = nullptr;
  av_dict_set(&settings, "rtsp_transport", "tcp", 0);  // loses no packets; cameras speak it
  const int result = avformat_open_input(&input, m_strAddress.c_str(), nullptr, &settings);
  av_dict_free(&settings);
  if (result < 0) return Fail("cannot be opened", result);  // which has freed the input
  m_pInput.reset(input);
  const int found = avformat_find_stream_info(input, nullptr);
  if (found < 0) return Fail("cannot be read", found);
  return true;
}

bool MediaInput::IsCamera() const {
  return m_strAddress.starts_with("rtsp:") || m_strAddress.starts_with("rtsps:");
}

std::chrono::milliseconds MediaInput::Age() const {
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - m_Opened);
}

MediaInput::ReadResult MediaInput::Read(AVPacket& packet) {
  StartCall();
  while (!m_IsCancelled()) {
    const int result = av_read_frame(m_pInput.get(), &packet);
    if (result >= 0) return ReadResult::kPacket;
    if (result == AVERROR_EOF) return ReadResult::kEnd;
    if (result != AVERROR(EAGAIN) || Clock::now() >= m_Deadline) {
      Fail("reading failed", result);
      break;
    }
    std::this_thread::sleep_for(kPoll);
  }
  return ReadResult::kFailed;
}

void MediaInput::StartCall() {
  m_Deadline = Clock::now() + std::chrono::seconds(m_nTimeoutSeconds);
}

bool MediaInput::Fail(const std::string& what, int averror) {
  if (m_IsCancelled()) return false;
  m_strError = m_strAddress + ": " + what;
  // libavformat has many words for an interrupted call.
  if (averror != 0 && Clock::now() >= m_Deadline) {
    m_strError += ": no answer within " + std::to_string(m_nTimeoutSeconds) + " s";
  } else if (averror != 0) {
    m_strError += ": " + AvErrorText(averror);
  }
  return false;
}
