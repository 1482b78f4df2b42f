// The video of an input on its way into a recording, copied or converted.
#pragma once

extern "C" {
#include <libavcodec/packet.h>
}

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// A compressed frame and its place in the recording.
struct VideoUnit {
  uint32_t nPlace = 0;  // counted from 0; always behind that of the unit before
  bool bKey = false;    // always true for the first one
  std::vector<uint8_t> bytes;
};

// No locks; one thread.
class VideoTrack {
 public:
  // False ends the sending.
  using Sink = std::function<bool(VideoUnit)>;

  virtual ~VideoTrack() = default;
  VideoTrack(const VideoTrack&) = delete;
  VideoTrack& operator=(const VideoTrack&) = delete;

  // Takes what the packet holds, null: the end of the stream, and hands on what it comes to. False when
  // `sink` answered so, or when it failed: then Error says why.
  virtual bool Send(AVPacket* packet, const Sink& sink) = 0;
  const std::string& Error() const { return m_strError; }

  // Of the frames sent: those that could not go into the recording, and why.
  struct Losses {
    uint64_t beforeKeyFrame = 0;  // nothing to build upon
    uint64_t tooMany = 0;         // more than the recording's frames per second
    uint64_t damaged = 0;         // not decodable
  };
  const Losses& Lost() const { return m_Lost; }

 protected:
  VideoTrack() = default;

  std::string m_strError;
  Losses m_Lost;
};
