#include "bench/scale/Streams.h"

#include <array>
#include <cstring>

#include "bench/scale/Process.h"

QXSP_FILE_HEADER LiveHeader(int width, int height, int framesPerSecond) {
  QXSP_FILE_HEADER header = {};
  std::memcpy(header.szMarker, "QFH", sizeof header.szMarker);
  header.wVideoCodecID = QXSP_VIDEO_H264;
  header.wVideoWidth = static_cast<uint16_t>(width);
  header.wVideoHeight = static_cast<uint16_t>(height);
  header.wFrameRateNum = static_cast<uint16_t>(framesPerSecond);
  header.wFrameRateDen = 1;
  return header;
}

uint32_t OpenStream(const QXSP_FILE_HEADER& header, uint32_t mode, const QXSP_RECT& place) {
  static std::array<char, QXSP_MAX_PLAYERS> windows;  // headless any address is a window
  const int32_t player = QXSP_CreatePlayer();
  Require(player != QXSP_NO_PLAYER, "no player is left");
  const auto identifier = static_cast<uint32_t>(player);
  Require(QXSP_OpenStream(identifier, &header, sizeof header) == 1, "a stream does not open");
  Require(QXSP_SetFrameControlMode(identifier, mode) == 1, "a mode is refused");
  Require(QXSP_SetVideoPreview(identifier, &windows[identifier], &place, 1) == 1, "a window is refused");
  return identifier;
}
