// Sharpening 1920 x 1080 pictures beside memcpy of the same luma and beside libavfilter's unsharp mask with
// the same amount and the largest matrix that it takes, 13 x 13, on one thread.
//   bench_sharpen [ROUNDS]
// The contenders take turns in one run; each takes the next of many pictures, so that none is still in the
// caches of a core, and writes to memory of its own that it uses again.
#include <cstdint>

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/frame.h>
}
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>

#include "bench/Measure.h"
#include "codecs/qimagep/Sharpener.h"

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr int32_t kRadius = 8;
constexpr float kStrength = 1.3F;
constexpr int kPictures = 48;  // 150 MB

void Require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "bench_sharpen: %s\n", what);
  std::exit(1);
}

AVFrame* NoisePicture(uint32_t seed) {
  AVFrame* frame = av_frame_alloc();
  frame->format = AV_PIX_FMT_YUV420P;
  frame->width = kWidth;
  frame->height = kHeight;
  Require(av_frame_get_buffer(frame, 0) >= 0, "no memory");
  for (int plane = 0; plane < 3; ++plane) {
    const int bytes = frame->linesize[plane] * (plane == 0 ? kHeight : kHeight / 2);
    for (int i = 0; i < bytes; ++i)
      frame->data[plane][i] = static_cast<uint8_t>((seed = seed * 1664525 + 1013904223) >> 24);
  }
  return frame;
}

class Peer {
 public:
  Peer() : m_pGraph(avfilter_graph_alloc()) {
    m_pGraph->nb_threads = 1;
    char size[80];
    std::snprintf(size, sizeof size, "video_size=%dx%d:pix_fmt=yuv420p:time_base=1/25", kWidth, kHeight);
    m_pSource = Add("buffer", size);
    AVFilterContext* unsharp = Add("unsharp", "lx=13:ly=13:la=0.3:ca=0");
    m_pSink = Add("buffersink", nullptr);
    Require(avfilter_link(m_pSource, 0, unsharp, 0) == 0 && avfilter_link(unsharp, 0, m_pSink, 0) == 0 &&
                avfilter_graph_config(m_pGraph, nullptr) >= 0,
            "libavfilter has no such filter");
  }
  ~Peer() {
    av_frame_free(&m_pResult);
    avfilter_graph_free(&m_pGraph);
  }
  void Sharpen(AVFrame* frame) {
    Require(av_buffersrc_add_frame_flags(m_pSource, frame, AV_BUFFERSRC_FLAG_KEEP_REF) >= 0 &&
                av_buffersink_get_frame(m_pSink, m_pResult) >= 0,
            "libavfilter fails");
    av_frame_unref(m_pResult);
  }

 private:
  AVFilterContext* Add(const char* name, const char* options) {
    AVFilterContext* filter = nullptr;
    Require(avfilter_graph_create_filter(&filter, avfilter_get_by_name(name), name, options, nullptr,
                                         m_pGraph) >= 0,
            name);
    return filter;
  }

  AVFilterGraph* m_pGraph;
  AVFilterContext* m_pSource = nullptr;
  AVFilterContext* m_pSink = nullptr;
  AVFrame* m_pResult = av_frame_alloc();
};

struct Contender {
  std::string name;
  std::function<void(AVFrame*)> work;
  std::vector<double> ms = {};
};

Contender Ours(SharpenInstructionSet instructionSet) {
  const SharpenKernels& kernels = *SharpenKernelsFor(instructionSet);
  return {kernels.szName, [sharpener = std::make_shared<Sharpener>(kernels)](AVFrame* frame) {
            const Sharpener::Plane luma = {frame->data[0], static_cast<uint32_t>(frame->linesize[0])};
            Require(sharpener->Sharpen(luma, kWidth, kHeight, kRadius, kStrength).pData != luma.pData,
                    "nothing was sharpened");
          }};
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::max(std::atoi(argv[1]), 1) : 60;
  std::vector<AVFrame*> pictures;
  for (uint32_t i = 0; i < kPictures; ++i)
    pictures.push_back(NoisePicture(i));

  std::vector<uint8_t> copy(static_cast<size_t>(pictures[0]->linesize[0]) * kHeight);
  Peer peer;
  std::vector<Contender> contenders = {
      {"memcpy", [&copy](AVFrame* frame) { std::memcpy(copy.data(), frame->data[0], copy.size()); }},
      {"libavfilter", [&peer](AVFrame* frame) { peer.Sharpen(frame); }}};
  for (const auto set :
       {SharpenInstructionSet::Plain, SharpenInstructionSet::Sse2, SharpenInstructionSet::Avx2}) {
    if (SharpenKernelsFor(set) != nullptr) contenders.push_back(Ours(set));
  }

  size_t next = 0;
  for (int round = -1; round < rounds; ++round) {  // the first one warms up
    for (Contender& contender : contenders) {
      const auto start = Clock::now();
      contender.work(pictures[next++ % pictures.size()]);
      if (round >= 0) contender.ms.push_back(MsSince(start));
    }
  }
  std::printf("sharpening %d x %d, radius %d, median of %d\n", kWidth, kHeight, kRadius, rounds);
  for (const Contender& contender : contenders) {
    const double ms = Quantile(contender.ms, 0.5);
    std::printf("  %-12s %6.3f ms, over memcpy %6.2f, over libavfilter %.3f\n", contender.name.c_str(), ms,
                ms / Quantile(contenders[0].ms, 0.5), ms / Quantile(contenders[1].ms, 0.5));
  }
  for (AVFrame* picture : pictures)
    av_frame_free(&picture);
  return 0;
}
