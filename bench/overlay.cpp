// What the text overlay costs a 1080p frame over that frame's bare decode: eight lines of 32 characters,
// drawn into each picture right after libavcodec decoded it, in one run.
//   bench_overlay [CLIP.h264...]
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "video/Osd.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kLines = 8;
constexpr uint32_t kCharacters = 32;

struct Text {
  const char* pszName;
  uint8_t nAlpha;
  const char* pszUnit;  // repeated until the line is full
};
constexpr Text kTexts[] = {
    {"ASCII, opaque", 255, "Camera 07, Gate North: 25 fps 4k"},
    {"ASCII, blended", 128, "Camera 07, Gate North: 25 fps 4k"},
    {"Chinese, opaque", 255, "\xCA\xD3\xC6\xB5\xB1\xE0\xC2\xEB"},  // "video codec" in GBK, four characters
    {"Chinese, blended", 128, "\xCA\xD3\xC6\xB5\xB1\xE0\xC2\xEB"},
};

void SetTexts(Osd& osd, const Text& text) {
  const bool wide = static_cast<uint8_t>(text.pszUnit[0]) >= 0x80;
  std::string line;
  while (line.size() < kCharacters * (wide ? 2 : 1))
    line += text.pszUnit;
  OsdItem items[kLines] = {};
  for (int i = 0; i < kLines; ++i) {
    items[i].pszText = line.c_str();
    items[i].nX = 10;
    items[i].nY = 10 + 20 * i;
    items[i].abColour[0] = 255;
    items[i].abColour[3] = text.nAlpha;
  }
  if (!osd.SetOSD(items, kLines)) std::exit(1);
}

double MsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double Median(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + static_cast<ptrdiff_t>(values.size() / 2), values.end());
  return values[values.size() / 2];
}

[[noreturn]] void Fail(const char* what, const char* path) {
  std::fprintf(stderr, "bench_overlay: %s %s\n", what, path);
  std::exit(1);
}

// A player's picture: a copy of the decoder's frame in memory of its own, which was just written.
class Picture {
 public:
  DecodedPicture& CopyOf(const AVFrame& frame) {
    m_Picture = DecodedPicture();
    m_Picture.bHasImage = true;
    m_Picture.nWidth = static_cast<uint32_t>(frame.width);
    m_Picture.nHeight = static_cast<uint32_t>(frame.height);
    m_Picture.nPixelFormat = QPF_YV12;
    for (int plane = 0; plane < 3; ++plane) {
      const auto rows = static_cast<size_t>(plane == 0 ? frame.height : frame.height / 2);
      const auto stride = static_cast<size_t>(frame.linesize[plane]);
      m_Planes[plane].assign(frame.data[plane], frame.data[plane] + rows * stride);
      m_Picture.pPlane[plane] = m_Planes[plane].data();
      m_Picture.nStride[plane] = static_cast<uint32_t>(stride);
    }
    return m_Picture;
  }

 private:
  DecodedPicture m_Picture;
  std::vector<uint8_t> m_Planes[3];
};

void Measure(const char* path, const Text& text) {
  AVFormatContext* format = nullptr;
  if (avformat_open_input(&format, path, nullptr, nullptr) < 0) Fail("cannot read", path);
  if (avformat_find_stream_info(format, nullptr) < 0) Fail("cannot read", path);
  AVCodecContext* codec =
      avcodec_alloc_context3(avcodec_find_decoder(format->streams[0]->codecpar->codec_id));
  codec->thread_count = 1;
  codec->flags |= AV_CODEC_FLAG_LOW_DELAY;
  if (avcodec_open2(codec, nullptr, nullptr) < 0) Fail("cannot decode", path);
  AVPacket* packet = av_packet_alloc();
  AVFrame* frame = av_frame_alloc();
  Osd osd;
  SetTexts(osd, text);
  Picture picture;
  std::vector<double> decode;
  std::vector<double> draw;
  while (av_read_frame(format, packet) >= 0) {
    const auto decodeStart = Clock::now();
    avcodec_send_packet(codec, packet);
    const bool decoded = avcodec_receive_frame(codec, frame) >= 0;
    if (decoded) {
      decode.push_back(MsSince(decodeStart));
      const DecodedPicture& copy = picture.CopyOf(*frame);
      const auto drawStart = Clock::now();
      osd.Draw(copy);
      draw.push_back(MsSince(drawStart));
    }
    av_packet_unref(packet);
  }
  if (draw.empty()) Fail("no pictures in", path);
  std::printf("  %-18s %6.1f us a frame, %.2f %% of its bare decode of %.2f ms (medians of %zu)\n",
              text.pszName, Median(draw) * 1e3, Median(draw) / Median(decode) * 100, Median(decode),
              draw.size());
  av_frame_free(&frame);
  av_packet_free(&packet);
  avcodec_free_context(&codec);
  avformat_close_input(&format);
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<const char*> paths =
      argc > 1 ? std::vector<const char*>(argv + 1, argv + argc) : std::vector<const char*>{QX_CLIPS};
  for (const char* path : paths) {
    std::printf("%d lines of %u characters into %s\n", kLines, static_cast<unsigned>(kCharacters), path);
    for (const Text& text : kTexts)
      Measure(path, text);
  }
  return 0;
}
