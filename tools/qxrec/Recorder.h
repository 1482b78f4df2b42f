// One run of qxrec: from an input to a finished recording.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "tools/common/Console.h"
#include "tools/common/MediaInput.h"
#include "tools/qxrec/Options.h"
#include "tools/qxrec/RecordProgress.h"
#include "tools/qxrec/Recording.h"
#include "tools/qxrec/SoundConverter.h"
#include "tools/qxrec/SvxWriter.h"
#include "tools/qxrec/TimeLine.h"
#include "tools/qxrec/VideoTrack.h"

enum class Outcome { kRecorded, kFailed, kEndedByItself };

// Used once. No locks; one thread, but the flag is any thread's.
class Recorder {
 public:
  // All borrowed; they outlive this object. stop: set when the user wants an end.
  Recorder(const Options& options, Console& console, const std::atomic<bool>& stop);
  // Tells everything there is to tell.
  Outcome Run();

 private:
  using Clock = std::chrono::steady_clock;
  enum class End { kInput, kWanted, kReadFailed, kFailed };

  bool CheckInput();
  bool CheckOutput();
  bool OpenVideo();
  bool OpenVideoTrack(const AVStream& stream, double inputRate, SvxParameters& parameters);
  void OpenSound();
  End Record();
  bool SendVideo(AVPacket* packet);
  bool SendSound(const AVPacket* packet);
  void GiveTimes(AVPacket& packet) const;
  Outcome Finish(End end);
  void ShowProgress();
  RecordProgress Progress() const;
  void TellResult();
  // Notes the reason; always false.
  bool Fail(const std::string& what);
  std::string Reason() const;

  const Options& m_Options;
  Console& m_Console;
  const std::atomic<bool>& m_bStop;
  MediaInput m_Input;
  SvxWriter m_Writer;
  std::optional<TimeLine> m_TimeLine;
  std::unique_ptr<VideoTrack> m_pVideo;
  std::unique_ptr<SoundConverter> m_pSound;  // null: none
  std::optional<Recording> m_Recording;
  int m_nVideoStream = -1;
  int m_nSoundStream = -1;
  double m_dTotalSeconds = 0;   // of the input's video; 0: unknown
  bool m_bSoundFailed = false;  // the recording could not take it
  std::string m_strError;
  bool m_bBegun = false;  // and told so
  const Clock::time_point m_Begin = Clock::now();
  Clock::time_point m_NextProgress;
};
