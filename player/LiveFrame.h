// Tells from a live frame's first bytes what it is; the host does not say.
#pragma once

#include <cstdint>

#include "player/FrameRecord.h"

struct LiveFrame {
  const uint8_t* pPayload = nullptr;  // within the host's bytes
  uint32_t nPayloadSize = 0;
  FrameType ftFrameType = QFT_Audio;
  bool bKeyFrame = false;
  bool bIllegal = false;  // the older codec's frame kind 3; refused
};

// Reads at most 14 bytes and never past `size`; a frame too short for its own head counts as audio, whole.
// `data` is not null, `size` not 0. `codecId` is the video decoder's type, 0 when there is none.
LiveFrame ClassifyLiveFrame(uint32_t codecId, const uint8_t* data, uint32_t size);
