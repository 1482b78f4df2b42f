#include "tools/qxplay/ContactSheet.h"

#include <utility>

void ContactSheet::Add(Milliseconds elapsed, const PixelView& view) {
  if (!view.top || view.width <= 0 || view.height <= 0) return;
  const MutexLock lock(m_Mutex);
  if (!IsDue(elapsed)) return;
  m_Thumbnails.push_back({.elapsed = elapsed, .image = Shrink(view, Thumbnail::kWidth)});
  if (m_Thumbnails.size() >= kMostPictures) {
    // Every second one stays, at twice the distance.
    for (size_t i = 0; i < kMostPictures / 2; ++i)
      std::swap(m_Thumbnails[i], m_Thumbnails[2 * i]);
    m_Thumbnails.resize(kMostPictures / 2);
    m_Interval *= 2;
  }
  // On the grid of intervals, so that lateness does not add up.
  const Milliseconds last = m_Thumbnails.back().elapsed;
  m_llNextDueMs = (last / m_Interval + 1) * m_Interval.count();
}

std::vector<ContactSheet::Milliseconds> ContactSheet::Times() const {
  const MutexLock lock(m_Mutex);
  std::vector<Milliseconds> times;
  for (const Thumbnail& thumbnail : m_Thumbnails)
    times.push_back(thumbnail.elapsed);
  return times;
}

bool ContactSheet::Write(const std::string& file, std::string& error) const {
  RgbImage sheet;
  {
    const MutexLock lock(m_Mutex);
    sheet = DrawSheet(m_Thumbnails);
  }
  if (sheet.bytes.empty()) {
    error = "no picture to write";
    return false;
  }
  return WritePng(sheet, file, true, error) == WritePngResult::kWritten;
}
