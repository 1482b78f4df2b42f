// One compressed frame on its way from the host or a file to a decoder.
#pragma once

#include <cstdint>

enum FrameType : int32_t {
  QFT_Video = 0,
  QFT_Audio = 1,  // and every other value but 0
};

struct FrameRecord {
  const uint8_t* pFrame = nullptr;  // owned by whoever filled the record
  uint32_t dwFrameSize = 0;         // bytes at pFrame
  int32_t ftFrameType = QFT_Video;
  bool bKeyFrame = false;  // decodable without earlier frames; video only
  bool bDisplay = false;   // false: decode to keep the decoder's state, do not show
  uint32_t dwReserved[2] = {};
  int64_t llTimeStamp = 0;  // presentation time, ms, on the stream's own time line
};
