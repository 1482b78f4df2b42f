// An elementary stream in memory, and a player into which its frames are pushed as a camera would.
#pragma once

extern "C" {
#include <libavformat/avformat.h>
}
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "qxsdkp.h"

using AccessUnit = std::vector<uint8_t>;

struct LiveClip {
  std::vector<AccessUnit> units;
  int nWidth = 0;
  int nHeight = 0;

  // A second, at 25 frames a second.
  double Megabits() const {
    double bytes = 0;
    for (const AccessUnit& unit : units)
      bytes += static_cast<double>(unit.size());
    return bytes * 8 / 1e6 * 25 / static_cast<double>(units.size());
  }
};

// These end the program when something fails.

inline LiveClip ReadLiveClip(const char* path) {
  AVFormatContext* format = nullptr;
  LiveClip clip;
  if (avformat_open_input(&format, path, nullptr, nullptr) < 0 ||
      avformat_find_stream_info(format, nullptr) < 0) {
    std::fprintf(stderr, "cannot read %s\n", path);
    std::exit(1);
  }
  AVPacket* packet = av_packet_alloc();
  while (av_read_frame(format, packet) >= 0) {
    clip.units.emplace_back(packet->data, packet->data + packet->size);
    av_packet_unref(packet);
  }
  clip.nWidth = format->streams[0]->codecpar->width;
  clip.nHeight = format->streams[0]->codecpar->height;
  av_packet_free(&packet);
  avformat_close_input(&format);
  if (clip.units.empty()) {
    std::fprintf(stderr, "nothing to play in %s\n", path);
    std::exit(1);
  }
  return clip;
}

// Plays at once whatever is pushed, in a window of this size.
inline uint32_t OpenLivePlayer(const LiveClip& clip, int width, int height) {
  const auto player = static_cast<uint32_t>(QXSP_CreatePlayer());
  QXSP_FILE_HEADER header = {};
  std::memcpy(reinterpret_cast<char*>(&header) + 32, "QFH", 3);
  header.wVideoCodecID = QXSP_VIDEO_H264;
  header.wVideoWidth = static_cast<uint16_t>(clip.nWidth);
  header.wVideoHeight = static_cast<uint16_t>(clip.nHeight);
  header.wFrameRateNum = 25;
  header.wFrameRateDen = 1;
  if (QXSP_OpenStream(player, &header, sizeof header) != 1) {
    std::fprintf(stderr, "the stream does not open\n");
    std::exit(1);
  }
  QXSP_SetFrameControlMode(player, QXSP_MODE_AT_ONCE);
  const QXSP_RECT rect = {0, 0, width, height};
  static int window;
  QXSP_SetVideoPreview(player, &window, &rect, 1);
  return player;
}

inline void PushLive(uint32_t player, const AccessUnit& unit) {
  const int32_t result =
      QXSP_WriteToStreamOneFrame2(player, unit.data(), static_cast<uint32_t>(unit.size()), 0, 0);
  if (result != QXSP_WRITE_QUEUED) {
    std::fprintf(stderr, "a frame was refused with %d\n", result);
    std::exit(1);
  }
}
