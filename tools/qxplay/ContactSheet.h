// Small pictures of what was presented, at equal distances over the whole run, on one sheet that is written
// as a PNG file.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/common/Mutex.h"

// Pixels in somebody's memory: bytes blue, green, red, unused.
struct PixelView {
  const uint8_t* top = nullptr;
  int pitch = 0;  // bytes from a row to the next
  int width = 0;
  int height = 0;
};

// An RGB picture, rows without gaps.
struct RgbImage {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> bytes;

  RgbImage() = default;
  RgbImage(int widthPixels, int heightPixels, uint8_t grey);
  uint8_t* At(int x, int y) { return &bytes[(static_cast<size_t>(y) * width + x) * 3]; }
};

// The picture at most `width` pixels wide, in its shape; each pixel the mean of those it stands for. `view`
// is not empty.
RgbImage Shrink(const PixelView& view, int width);

// Any thread. Nobody knows how long the run will be: the distance of the pictures doubles whenever there are
// kMostPictures.
class ContactSheet {
 public:
  using Milliseconds = std::chrono::milliseconds;
  static constexpr size_t kMostPictures = 24;
  static constexpr Milliseconds kFirstInterval{200};

  // Whether a picture is wanted at this time of the run. Cheap: asked for every picture that is presented.
  bool IsDue(Milliseconds elapsed) const { return elapsed.count() >= m_llNextDueMs; }
  // Takes a picture when one is due. A view without pixels is ignored.
  void Add(Milliseconds elapsed, const PixelView& view);

  // When the pictures so far were taken.
  std::vector<Milliseconds> Times() const;
  // All pictures with their times; without any, one of no size.
  RgbImage Draw() const;
  // False, with the reason, when the file cannot be written.
  bool Write(const std::string& file, std::string& error) const;

 private:
  struct Thumbnail {
    Milliseconds elapsed{};
    RgbImage image;
  };
  std::atomic<int64_t> m_llNextDueMs{0};  // written under m_Mutex
  mutable Mutex m_Mutex;
  std::vector<Thumbnail> m_Thumbnails GUARDED_BY(m_Mutex);
  Milliseconds m_Interval GUARDED_BY(m_Mutex) = kFirstInterval;
};
