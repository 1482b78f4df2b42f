// Reads the video access units of a file or a network stream, and the frames of its sound, through
// libavformat, as live input takes them.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "codecs/av/AvOwners.h"
#include "tools/common/AccessUnitFormatter.h"
#include "tools/common/AnnexBFilter.h"
#include "tools/common/MediaInput.h"
#include "tools/qxplay/LiveSound.h"
#include "tools/qxplay/Options.h"

struct StreamInfo {
  VideoCodec codec = VideoCodec::kH264;
  int width = 0;   // pixels, 1 to 10000
  int height = 0;  // pixels, 1 to 10000
  FrameRate frameRate;
  bool paced = false;      // arrives at its own pace: a network camera
  int64_t durationMs = 0;  // 0: unknown
  std::optional<SoundInfo> sound;
  std::string whyNoSound;  // half a sentence; empty when there is none to play
};

struct AccessUnit {
  std::span<const uint8_t> bytes;  // valid until the next call
  // Of video the decoding time, of sound the time to hear it. The first is 0, and neither ever decreases, not
  // over Restart either.
  int64_t timestampMs = 0;
  bool key = false;
  bool sound = false;
};

// No locks; one thread. Reads block, but for no longer than the timeout, or until `isCancelled` (called while
// waiting; any thread's flag) is true.
class AccessUnitSource {
 public:
  AccessUnitSource(std::string address, int timeoutSeconds, std::optional<FrameRate> frameRate,
                   std::function<bool()> isCancelled);
  ~AccessUnitSource();

  // A frame rate of the user's replaces all times, and sound could not follow: then there is none.
  // False: Error says why.
  bool Open();
  // The next access unit; none at the end of the source, after a failure (then Error says what it was) or
  // when cancelled.
  std::optional<AccessUnit> Next();
  // Begins again; the time line goes on.
  bool Restart();

  const StreamInfo& Info() const { return m_Info; }
  // A sentence that begins with the address; empty when nothing failed.
  const std::string& Error() const { return m_Input.Error(); }

 private:
  bool OpenVideo();
  void OpenSound();
  bool ReadPacket();
  std::optional<AccessUnit> NextSound();
  int64_t TimestampOf(std::optional<int64_t> decodingTimeMs);

  const std::optional<FrameRate> m_FrameRate;  // the user's
  const std::function<bool()> m_IsCancelled;
  MediaInput m_Input;
  AvPacket m_pPacket{av_packet_alloc()};
  std::unique_ptr<AnnexBFilter> m_pFilter;
  std::unique_ptr<LiveSound> m_pSound;  // null: none to play
  int m_nStream = 0;                    // of m_Input: the video
  int m_nSoundStream = -1;              // and the sound
  StreamInfo m_Info;
  std::vector<uint8_t> m_Unit;

  int64_t m_llUnits = 0;  // delivered since Open
  int64_t m_llLast = 0;   // timestamp of the newest unit, ms
  int64_t m_llLastSound = 0;
  std::optional<int64_t>
      m_llShift;  // from the container's time line to ours, ms; none until a unit after (re)opening
};
