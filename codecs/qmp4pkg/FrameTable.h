// What is known of an open MP4 file: where each frame lies and how it is decoded.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// One frame as it lies in the file. A day of video and sound has millions of them.
struct FrameEntry {
  int64_t llPosition = 0;      // byte offset in the file
  uint32_t nSize : 31 = 0;     // bytes
  uint32_t bKeyFrame : 1 = 0;  // video only
  uint32_t nTimeMs = 0;        // from the file's first frame on; never goes back in a track
};
static_assert(sizeof(FrameEntry) == 16);

// How the frames from one on are packed.
struct VideoConfig {
  uint32_t nFirstFrame = 0;            // index into FrameTable::video
  uint32_t nLengthBytes = 4;           // of the length in front of each NAL unit; 0: start codes
  std::vector<uint8_t> parameterSets;  // with start codes
};

struct FrameTable {
  std::string videoCode;  // of the sample entry: four characters
  uint32_t nWidth = 0;    // pixels
  uint32_t nHeight = 0;
  double dFrameRate = 0;             // frames per second, above 0
  std::vector<FrameEntry> video;     // in decoding order, timed by it
  std::vector<VideoConfig> configs;  // by first frame; the first one's is 0

  std::string audioCode;  // empty: no sound
  uint32_t nChannels = 0;
  uint32_t nSampleRate = 0;  // Hz
  std::vector<FrameEntry> audio;
};
