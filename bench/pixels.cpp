// Pixel conversions of 1920 x 1080 pictures beside the libyuv functions that do the same work and beside
// memcpy of as many bytes.
//
//   bench_pixels [--pictures=N] [--rounds=N] [--kernels=plain|SSE2|AVX2] [--read]
//
// Every call takes the next of N pictures (source and target), so that none is still in the caches of a core:
// a player's picture has just been written by the decoder's thread and its surface was last touched a frame
// ago. The three contenders take turns in one run, each a few pictures a turn, first one then another going
// first; a ratio is the median over the turns of one contender's time over the other's.
// --read: after each conversion the target is copied on to one more buffer, as the viewer does next
// (off-screen to back surface).
#include <libyuv.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "video/PixelConversion.h"
#include "video/PixelKernels.h"

namespace {

constexpr int32_t kWidth = 1920;
constexpr int32_t kHeight = 1080;
constexpr int32_t kChroma = kWidth / 2;
constexpr size_t kLuma = size_t{kWidth} * kHeight;
constexpr size_t kPicture420 = kLuma * 3 / 2;
constexpr size_t kPictureRGB32 = kLuma * 4;
constexpr int kPicturesPerTurn = 6;

// The planes of a 4:2:0 picture, full size or half.
template <typename Byte>
struct Planes {
  Planes(Byte* picture, int32_t divisor) : all{picture, picture + kLuma / divisor / divisor, nullptr} {
    all[2] = all[1] + kLuma / 4 / divisor / divisor;
  }
  Byte* all[3];
};

struct Conversion {
  const char* name;
  size_t bytesRead;
  size_t bytesWritten;
  void (*ours)(const uint8_t* source, uint8_t* target);
  void (*libyuv)(const uint8_t* source, uint8_t* target);
};

constexpr int32_t kStrides[3] = {kWidth, kChroma, kChroma};
constexpr int32_t kHalfStrides[3] = {kWidth / 2, kChroma / 2, kChroma / 2};

void LibyuvHalf(const uint8_t* source, uint8_t* target) {
  const Planes s(source, 1);
  const Planes t(target, 2);
  libyuv::I420Scale(s.all[0], kWidth, s.all[1], kChroma, s.all[2], kChroma, kWidth, kHeight, t.all[0],
                    kWidth / 2, t.all[1], kChroma / 2, t.all[2], kChroma / 2, kWidth / 2, kHeight / 2,
                    libyuv::kFilterBox);
}

// What libyuv needs for a half-size packed picture: a planar one between, here kept from call to call.
const uint8_t* LibyuvScratchHalf(const uint8_t* source) {
  static std::vector<uint8_t> scratch(kPicture420 / 4);
  LibyuvHalf(source, scratch.data());
  return scratch.data();
}

const Conversion kConversions[] = {
    {"PlanarToRGB32", kPicture420, kPictureRGB32,
     [](const uint8_t* source, uint8_t* target) {
       const Planes s(source, 1);
       PlanarToRGB32(target, kWidth * 4, s.all[0], s.all[1], s.all[2], kWidth, kChroma, kWidth, kHeight,
                     false);
     },
     [](const uint8_t* source, uint8_t* target) {
       const Planes s(source, 1);
       libyuv::I420ToARGB(s.all[0], kWidth, s.all[1], kChroma, s.all[2], kChroma, target, kWidth * 4, kWidth,
                          kHeight);
     }},
    {"PlanarToYUY2", kPicture420, kLuma * 2,
     [](const uint8_t* source, uint8_t* target) {
       const Planes s(source, 1);
       PlanarToYUY2(target, kWidth * 2, s.all[0], s.all[1], s.all[2], kWidth, kChroma, kChroma, kWidth,
                    kHeight);
     },
     [](const uint8_t* source, uint8_t* target) {
       const Planes s(source, 1);
       libyuv::I420ToYUY2(s.all[0], kWidth, s.all[1], kChroma, s.all[2], kChroma, target, kWidth * 2, kWidth,
                          kHeight);
     }},
    {"PlanarHalf", kPicture420, kPicture420 / 4,
     [](const uint8_t* source, uint8_t* target) {
       PlanarHalf(Planes(target, 2).all, kHalfStrides, Planes(source, 1).all, kStrides, kWidth, kHeight);
     },
     LibyuvHalf},
    {"PlanarCopy", kPicture420, kPicture420,
     [](const uint8_t* source, uint8_t* target) {
       PlanarCopy(Planes(target, 1).all, kStrides, Planes(source, 1).all, kStrides, kWidth, kHeight);
     },
     [](const uint8_t* source, uint8_t* target) {
       const Planes s(source, 1);
       const Planes t(target, 1);
       libyuv::I420Copy(s.all[0], kWidth, s.all[1], kChroma, s.all[2], kChroma, t.all[0], kWidth, t.all[1],
                        kChroma, t.all[2], kChroma, kWidth, kHeight);
     }},
    {"NV12ToPlanar", kPicture420, kPicture420,
     [](const uint8_t* source, uint8_t* target) {
       const Planes t(target, 1);
       NV12ToPlanar(source, kWidth, t.all[0], t.all[1], t.all[2], kWidth, kWidth, kHeight);
     },
     [](const uint8_t* source, uint8_t* target) {
       const Planes t(target, 1);
       libyuv::NV12ToI420(source, kWidth, source + kLuma, kWidth, t.all[0], kWidth, t.all[1], kChroma,
                          t.all[2], kChroma, kWidth, kHeight);
     }},
    {"PlanarToRGB32Half", kPicture420, kPictureRGB32 / 4,
     [](const uint8_t* source, uint8_t* target) {
       const Planes s(source, 1);
       PlanarToRGB32Half(target, kWidth * 2, s.all[0], s.all[1], s.all[2], kWidth, kChroma, kChroma, kWidth,
                         kHeight);
     },
     [](const uint8_t* source, uint8_t* target) {
       const Planes s(LibyuvScratchHalf(source), 2);
       libyuv::I420ToARGB(s.all[0], kWidth / 2, s.all[1], kChroma / 2, s.all[2], kChroma / 2, target,
                          kWidth * 2, kWidth / 2, kHeight / 2);
     }},
    {"PlanarToYUY2Half", kPicture420, kLuma / 2,
     [](const uint8_t* source, uint8_t* target) {
       const Planes s(source, 1);
       PlanarToYUY2Half(target, kWidth, s.all[0], s.all[1], s.all[2], kWidth, kChroma, kChroma, kWidth,
                        kHeight);
     },
     [](const uint8_t* source, uint8_t* target) {
       const Planes s(LibyuvScratchHalf(source), 2);
       libyuv::I420ToYUY2(s.all[0], kWidth / 2, s.all[1], kChroma / 2, s.all[2], kChroma / 2, target, kWidth,
                          kWidth / 2, kHeight / 2);
     }},
    {"NV12Copy", kPicture420, kPicture420,
     [](const uint8_t* source, uint8_t* target) {
       NV12Copy(source, kWidth, target, kWidth, kWidth, kHeight);
     },
     [](const uint8_t* source, uint8_t* target) {
       libyuv::CopyPlane(source, kWidth, target, kWidth, kWidth, kHeight * 3 / 2);
     }},
};

struct Options {
  size_t pictures = 48;  // over 500 MB: beyond the last-level cache of a large server
  int rounds = 60;
  bool read = false;
};

// CPU time of this thread, so that a busy neighbour on the core does not count as our work.
double CpuMilliseconds() {
  timespec now;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

// Aligned to a page, as surfaces are, and touched.
class PageAligned {
 public:
  explicit PageAligned(size_t bytes)
      : m_bytes(static_cast<uint8_t*>(aligned_alloc(4096, (bytes + 4095) / 4096 * 4096))) {
    if (!m_bytes) abort();
    for (size_t i = 0; i < bytes; i++)
      m_bytes.get()[i] = static_cast<uint8_t>(i * 37 + i / 1920);
  }
  uint8_t* data() const { return m_bytes.get(); }

 private:
  struct Free {
    void operator()(uint8_t* bytes) const { free(bytes); }
  };
  std::unique_ptr<uint8_t, Free> m_bytes;
};

// The pictures, and the walk over them.
class Pictures {
 public:
  explicit Pictures(size_t count) : m_count(count), m_back(kPictureRGB32) {
    for (size_t i = 0; i < count; i++) {
      m_sources.emplace_back(kPicture420);
      m_targets.emplace_back(kPictureRGB32);
    }
  }

  // One contender's turn, milliseconds a picture.
  template <typename Work>
  double Turn(const Work& work, size_t readBack) {
    const double start = CpuMilliseconds();
    for (int i = 0; i < kPicturesPerTurn; i++, m_next = (m_next + 1) % m_count) {
      work(m_sources[m_next].data(), m_targets[m_next].data());
      if (readBack > 0) memcpy(m_back.data(), m_targets[m_next].data(), readBack);
    }
    return (CpuMilliseconds() - start) / kPicturesPerTurn;
  }

 private:
  const size_t m_count;
  std::vector<PageAligned> m_sources;
  std::vector<PageAligned> m_targets;
  PageAligned m_back;
  size_t m_next = 0;
};

double Median(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
  return values[values.size() / 2];
}

double MedianRatio(const std::vector<double>& times, const std::vector<double>& reference) {
  std::vector<double> ratios;
  for (size_t i = 0; i < times.size(); i++)
    ratios.push_back(times[i] / reference[i]);
  return Median(ratios);
}

void Measure(const Conversion& conversion, Pictures& pictures, const Options& options) {
  // As much traffic: half of what the conversion reads and writes in sum is read, half is written.
  const size_t copied = (conversion.bytesRead + conversion.bytesWritten) / 2;
  const auto copy = [copied](const uint8_t* source, uint8_t* target) {
    const size_t first = std::min(copied, kPicture420);
    memcpy(target, source, first);
    // RGB32 moves more than a source picture: the rest comes from the target's own end.
    if (copied > first) memcpy(target + first, target + kPictureRGB32 - (copied - first), copied - first);
  };
  const size_t readBack = options.read ? conversion.bytesWritten : 0;
  std::vector<double> times[3];
  for (int round = -1; round < options.rounds; round++) {  // the first one warms up
    for (int turn = 0; turn < 3; turn++) {
      const int who = (turn + round + 1) % 3;
      const double time = who == 0   ? pictures.Turn(conversion.ours, readBack)
                          : who == 1 ? pictures.Turn(conversion.libyuv, readBack)
                                     : pictures.Turn(copy, readBack);
      if (round >= 0) times[who].push_back(time);
    }
  }
  printf("%-18s", conversion.name);
  for (const std::vector<double>& of : times) {
    printf("  %6.3f /%6.3f", *std::min_element(of.begin(), of.end()), Median(of));
  }
  printf("  %8.2f  %8.2f  %8.2f\n", MedianRatio(times[0], times[1]), MedianRatio(times[0], times[2]),
         MedianRatio(times[1], times[2]));
}

bool Parse(int argc, char** argv, Options& options) {
  for (int i = 1; i < argc; i++) {
    const std::string argument = argv[i];
    const std::string value = argument.substr(std::min(argument.find('=') + 1, argument.size()));
    if (argument.starts_with("--pictures=")) {
      options.pictures = std::max<size_t>(strtoul(value.c_str(), nullptr, 10), 1);
    } else if (argument.starts_with("--rounds=")) {
      options.rounds = static_cast<int>(std::max(strtol(value.c_str(), nullptr, 10), 1L));
    } else if (argument == "--read") {
      options.read = true;
    } else if (argument.starts_with("--kernels=")) {
      const PixelKernels* named = nullptr;
      for (auto set : {PixelInstructionSet::Plain, PixelInstructionSet::Sse2, PixelInstructionSet::Avx2}) {
        const PixelKernels* kernels = PixelKernelsFor(set);
        if (kernels != nullptr && value == kernels->szName) named = kernels;
      }
      if (named == nullptr) return false;
      UsePixelKernels(*named);
    } else {
      return false;
    }
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!Parse(argc, argv, options)) {
    fprintf(stderr, "usage: %s [--pictures=N] [--rounds=N] [--kernels=plain|SSE2|AVX2] [--read]\n", argv[0]);
    return 2;
  }
  Pictures pictures(options.pictures);
  printf(
      "%d x %d, %zu pictures in turn, %s kernels%s; ms a picture, least / median; ratios of time, below 1 is "
      "faster\n",
      kWidth, kHeight, options.pictures, ActivePixelKernels().szName,
      options.read ? ", each copied on afterwards" : "");
  printf("%-18s  %14s  %14s  %14s  %8s  %8s  %8s\n", "", "ours", "libyuv", "memcpy", "ours/yuv", "ours/cpy",
         "yuv/cpy");
  for (const Conversion& conversion : kConversions)
    Measure(conversion, pictures, options);
  return 0;
}
