// How long a jump in an MP4 file takes until the key frame is on the screen, through the exports and
// headless, beside a bare libavformat and libavcodec program that seeks, reads and decodes the same key
// frame. Then the same for a key frame as 32-bit pixels, without a player. Everything is measured in one run;
// the two take turns at every target.
//   bench_seeking [FILE.mp4...]
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include "bench/Measure.h"
#include "qxsdkp.h"

namespace {

constexpr int kTargets = 100;

[[noreturn]] void Fail(const std::string& why) {
  std::fprintf(stderr, "bench_seeking: %s\n", why.c_str());
  std::exit(1);
}

// The reference: one file, open, with a decoder as the library's: one thread, low delay.
class BareReader {
 public:
  explicit BareReader(const char* path) {
    if (avformat_open_input(&m_pFormat, path, nullptr, nullptr) < 0 ||
        avformat_find_stream_info(m_pFormat, nullptr) < 0)
      Fail("cannot read " + std::string(path));
    m_nVideo = av_find_best_stream(m_pFormat, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (m_nVideo < 0) Fail("no pictures in " + std::string(path));
    m_pCodec = avcodec_alloc_context3(avcodec_find_decoder(Video().codecpar->codec_id));
    avcodec_parameters_to_context(m_pCodec, Video().codecpar);
    m_pCodec->thread_count = 1;
    m_pCodec->flags |= AV_CODEC_FLAG_LOW_DELAY;
    if (avcodec_open2(m_pCodec, nullptr, nullptr) < 0) Fail("no decoder");
  }
  ~BareReader() {
    sws_freeContext(m_pScaler);
    av_frame_free(&m_pFrame);
    av_packet_free(&m_pPacket);
    avcodec_free_context(&m_pCodec);
    avformat_close_input(&m_pFormat);
  }
  BareReader(const BareReader&) = delete;
  BareReader& operator=(const BareReader&) = delete;

  double FrameRate() const { return av_q2d(Video().avg_frame_rate); }
  double Minutes() const { return static_cast<double>(m_pFormat->duration) / AV_TIME_BASE / 60; }
  // Of every key frame, from 1. By reading the file once.
  std::vector<uint32_t> KeyFrames() {
    std::vector<uint32_t> keyFrames;
    for (uint32_t number = 0; av_read_frame(m_pFormat, m_pPacket) >= 0; av_packet_unref(m_pPacket)) {
      if (m_pPacket->stream_index != m_nVideo) continue;
      ++number;
      if ((m_pPacket->flags & AV_PKT_FLAG_KEY) != 0) keyFrames.push_back(number);
    }
    return keyFrames;
  }
  // ms until the key frame at or before frame `number` is decoded.
  double SeekAndDecode(uint32_t number) {
    const auto start = Clock::now();
    const int64_t time = av_rescale_q(number - 1, av_inv_q(Video().avg_frame_rate), Video().time_base);
    if (av_seek_frame(m_pFormat, m_nVideo, time, AVSEEK_FLAG_BACKWARD) < 0) Fail("the reference cannot seek");
    avcodec_flush_buffers(m_pCodec);
    bool decoded = false;
    while (!decoded && av_read_frame(m_pFormat, m_pPacket) >= 0) {
      if (m_pPacket->stream_index == m_nVideo) {
        avcodec_send_packet(m_pCodec, m_pPacket);
        decoded = avcodec_receive_frame(m_pCodec, m_pFrame) >= 0;
      }
      av_packet_unref(m_pPacket);
    }
    const double used = MsSince(start);
    if (!decoded || m_pFrame->key_frame == 0) Fail("the reference decoded no key frame");
    return used;
  }
  // The same until its pixels lie in `pixels`.
  double SeekAndConvert(uint32_t number, uint8_t* pixels) {
    double used = SeekAndDecode(number);
    const auto start = Clock::now();
    const int width = m_pFrame->width;
    m_pScaler = sws_getCachedContext(m_pScaler, width, m_pFrame->height,
                                     static_cast<AVPixelFormat>(m_pFrame->format), width, m_pFrame->height,
                                     AV_PIX_FMT_BGR0, SWS_BILINEAR, nullptr, nullptr, nullptr);
    const int stride = width * 4;
    if (m_pScaler == nullptr ||
        sws_scale(m_pScaler, m_pFrame->data, m_pFrame->linesize, 0, m_pFrame->height, &pixels, &stride) <= 0)
      Fail("the reference cannot convert");
    return used + MsSince(start);
  }

 private:
  AVStream& Video() const { return *m_pFormat->streams[m_nVideo]; }

  AVFormatContext* m_pFormat = nullptr;
  AVCodecContext* m_pCodec = nullptr;
  AVPacket* m_pPacket = av_packet_alloc();
  AVFrame* m_pFrame = av_frame_alloc();
  SwsContext* m_pScaler = nullptr;
  int m_nVideo = -1;
};

// The number of the frame that was copied to the screen last, and how many were.
std::mutex g_Mutex;
std::condition_variable g_Changed;
uint32_t g_nShown = 0;
uint32_t g_nCount = 0;

void QXSP_CALLBACK AfterCopy(uint32_t player, void*, void*, void*, QXSP_RECT*, QXSP_RECT*) {
  const uint32_t number = QXSP_GetCurFrameNum(player);  // no later frame was read yet
  const std::lock_guard lock(g_Mutex);
  g_nShown = number;
  ++g_nCount;
  g_Changed.notify_all();
}

uint32_t PictureCount() {
  const std::lock_guard lock(g_Mutex);
  return g_nCount;
}

template <typename Condition>
uint32_t WaitUntil(Condition condition) {
  std::unique_lock lock(g_Mutex);
  if (!g_Changed.wait_for(lock, std::chrono::seconds(20), condition)) Fail("a picture was not presented");
  return g_nShown;
}
// Answers the number of the frame that was shown last.
uint32_t WaitForPictureAfter(uint32_t count) {
  return WaitUntil([count] { return g_nCount > count; });
}
void WaitForFrame(uint32_t number) {
  (void)WaitUntil([number] { return g_nShown == number; });
}

// As a host does that goes on playing: a frame that was read already comes first, and each keeps its time.
double JumpPlaying(uint32_t player, uint32_t keyFrame) {
  WaitForPictureAfter(PictureCount());  // playing steadily again, after the last jump
  const auto start = Clock::now();
  QXSP_GotoKeyFrame(player, keyFrame, 0);
  WaitForFrame(keyFrame);
  return MsSince(start);
}

// As a host does whose user drags a slider: a frame that was read already passes, then the key frame.
double JumpPaused(uint32_t player, uint32_t keyFrame) {
  const uint32_t before = PictureCount();
  const auto start = Clock::now();
  QXSP_GotoKeyFrame(player, keyFrame, 1);
  if (WaitForPictureAfter(before) != keyFrame) {
    QXSP_StepForward(player);
    WaitForFrame(keyFrame);
  }
  return MsSince(start);
}

void Print(const char* text, const std::vector<double>& ms, const std::vector<double>& bareMs) {
  std::printf("  %-56s median %6.2f ms, worst %6.2f ms, over the reference %.2f\n", text, Quantile(ms, 0.5),
              Quantile(ms, 1), Quantile(ms, 0.5) / Quantile(bareMs, 0.5));
}

void MeasureJumps(BareReader& bare, uint32_t player, const std::vector<uint32_t>& keyFrames,
                  double (*jump)(uint32_t, uint32_t), const char* text) {
  std::minstd_rand chance(1);
  std::vector<double> bareMs, usedMs;
  uint32_t keyFrame = 0;
  for (int target = 0; target < kTargets; ++target) {
    // Never where the player is already: that picture could not be told from the earlier one.
    const uint32_t earlier = keyFrame;
    while (keyFrame == earlier)
      keyFrame = keyFrames[1 + chance() % (keyFrames.size() - 1)];
    bareMs.push_back(bare.SeekAndDecode(keyFrame));
    usedMs.push_back(jump(player, keyFrame));
  }
  Print("  the reference: seek, read, decode", bareMs, bareMs);
  Print(text, usedMs, bareMs);
}

void MeasurePictures(BareReader& bare, const char* path, const std::vector<uint32_t>& keyFrames) {
  QXSP_MEDIA_FILE_INFO info;
  void* const file = QXSP_MediaFileOpen(path, &info);
  if (file == nullptr) Fail("cannot look into " + std::string(path));
  std::vector<uint8_t> pixels(size_t{4} * info.dwWidth * info.dwHeight);
  const auto bytes = static_cast<uint32_t>(pixels.size());
  std::minstd_rand chance(1);
  std::vector<double> bareMs, usedMs;
  for (int target = 0; target < kTargets; ++target) {
    const uint32_t keyFrame = keyFrames[chance() % keyFrames.size()];
    bareMs.push_back(bare.SeekAndConvert(keyFrame, pixels.data()));
    const auto start = Clock::now();
    if (QXSP_MediaFileGetOneFrame(file, keyFrame, pixels.data(), bytes) != static_cast<int32_t>(keyFrame))
      Fail("no picture of a key frame");
    usedMs.push_back(MsSince(start));
  }
  QXSP_MediaFileClose(file);
  Print("  the reference: seek, read, decode, convert", bareMs, bareMs);
  Print("QXSP_MediaFileGetOneFrame", usedMs, bareMs);
}

void Measure(const char* path) {
  BareReader bare(path);
  const std::vector<uint32_t> keyFrames = bare.KeyFrames();
  if (keyFrames.size() < 3) Fail("too few key frames in " + std::string(path));
  std::printf("%s: %.1f minutes at %.0f pictures a second, %zu key frames, %d random ones\n", path,
              bare.Minutes(), bare.FrameRate(), keyFrames.size(), kTargets);
  const auto player = static_cast<uint32_t>(QXSP_CreatePlayer());
  const uint32_t before = PictureCount();
  if (QXSP_OpenFile(player, path) != 1) Fail("cannot play " + std::string(path));
  const QXSP_RECT rect = {0, 0, 960, 540};
  static int window;
  QXSP_SetVideoPreview(player, &window, &rect, 1);
  WaitForPictureAfter(before);
  MeasureJumps(bare, player, keyFrames, JumpPlaying, "playing: each frame at its time");
  MeasureJumps(bare, player, keyFrames, JumpPaused, "paused: the frame at hand, then the key frame");
  QXSP_ReleasePlayer(player);
  MeasurePictures(bare, path, keyFrames);
}

}  // namespace

int main(int argc, char** argv) {
  setenv("QXSDKP_DISPLAY", "headless:1920x1080+0+0", 1);
  setenv("QXSDKP_SOUND", "null", 1);
  if (QXSP_InitSDK() != 1) Fail("the library does not start");
  QXSP_ConfigLog(QXSP_LOG_NONE, nullptr, QXSP_LOG_NONE);
  QXSP_SetCallBack(nullptr, nullptr, nullptr, AfterCopy);
  const std::vector<const char*> paths =
      argc > 1 ? std::vector<const char*>(argv + 1, argv + argc) : std::vector<const char*>{QX_FILES};
  for (const char* path : paths)
    Measure(path);
  QXSP_ReleaseSDK();
  return 0;
}
