// Stands in for the MP4 library in a test program that compiles it in: every QP_ function does what the test
// says.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "qmp4pkg.h"

namespace scripted_mp4 {

// Frames are numbered by their place; the bytes of each are its track and its number.
struct Frame {
  int64_t llTime = 0;  // ms
  bool bKeyFrame = false;
  bool bReadable = true;
  uint32_t nSize = 2;  // bytes, at most 16
};

struct Script {
  bool bUsable = true;
  bool bOpens = true;
  bool bUnpacking = true;
  std::string videoCode = "avc1", audioCode = "mp4a";
  double dFrameRate = 25;
  std::vector<Frame> video, audio;
  QP_AudioInfo audioInfo = {};
  // What a look-up answers.
  int32_t nLookUp = 1;
  uint32_t nKeyFrame = 1, nContinueFrame = 0;

  std::string indexName;  // given to QP_OpenFile
  int nOpen = 0;          // handles
  int nReads = 0;         // requested frames
};

Script& TheScript();

}  // namespace scripted_mp4
