// A file or a network stream, opened through libavformat, where no wait is without end.
#pragma once

extern "C" {
#include <libavformat/avformat.h>
}

#include <chrono>
#include <functional>
#include <memory>
#include <string>

// libavutil's words for one of its error codes.
std::string AvErrorText(int averror);

// No locks; one thread. Calls block, but for no longer than the timeout, or until `isCancelled` (called while
// waiting; any thread's flag) is true.
class MediaInput {
 public:
  MediaInput(std::string address, int timeoutSeconds, std::function<bool()> isCancelled);

  // Opens the address and finds its streams; opened before, it is closed first. False: Error says why.
  bool Open();
  // The input, while it is open.
  AVFormatContext* Context() const { return m_pInput.get(); }
  // Arrives at its own pace: a network camera.
  bool IsCamera() const;
  // Since Open.
  std::chrono::milliseconds Age() const;

  enum class ReadResult { kPacket, kEnd, kFailed };
  // The next packet of the streams that are not discarded. kFailed: Error says why, or it was cancelled.
  ReadResult Read(AVPacket& packet);

  // Notes "address: what: reason", unless the input was cancelled: then there is nothing to complain about.
  // Always false.
  bool Fail(const std::string& what, int averror = 0);
  // Empty when nothing failed.
  const std::string& Error() const { return m_strError; }

 private:
  using Clock = std::chrono::steady_clock;
  struct Closer {
    void operator()(AVFormatContext* input) const { avformat_close_input(&input); }
  };

  void StartCall();

  const std::string m_strAddress;
  const int m_nTimeoutSeconds;
  const std::function<bool()> m_IsCancelled;
  std::string m_strError;
  Clock::time_point m_Opened;
  // Of the call into libavformat at work. Outlives m_pInput, whose closing asks for it.
  Clock::time_point m_Deadline;
  std::unique_ptr<AVFormatContext, Closer> m_pInput;
};
