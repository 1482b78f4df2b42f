// Small pictures of what was presented, at equal distances over the whole run, on one sheet that is written
// as a PNG file.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/common/Mutex.h"
#include "tools/qxplay/ThumbnailSheet.h"

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
  // All pictures with their times. False, with the reason, when there are none or the file cannot be written.
  bool Write(const std::string& file, std::string& error) const;

 private:
  std::atomic<int64_t> m_llNextDueMs{0};  // written under m_Mutex
  mutable Mutex m_Mutex;
  std::vector<Thumbnail> m_Thumbnails GUARDED_BY(m_Mutex);
  Milliseconds m_Interval GUARDED_BY(m_Mutex) = kFirstInterval;
};
