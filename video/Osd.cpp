#include "video/Osd.h"

#include <new>

#include "video/TextOsdDrawer.h"

bool Osd::SetOSD(const OsdItem* items, uint32_t count) {
  Drawers drawers;
  const bool made = items == nullptr || MakeDrawers(items, count, drawers);
  if (!made) drawers.clear();
  {
    ScopedLock hold(m_OsdLock);
    m_Drawers.swap(drawers);
  }
  return made;  // the old ones go without the lock
}

bool Osd::MakeDrawers(const OsdItem* items, uint32_t count, Drawers& drawers) {
  try {
    for (uint32_t i = 0; i < count; ++i) {
      if (items[i].wType != kOsdText) return false;
      Drawer drawer(new (std::nothrow) TextOsdDrawer(items[i]));
      if (drawer == nullptr) return false;
      drawers.push_back(std::move(drawer));
    }
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

void Osd::Draw(const DecodedPicture& picture) {
  ScopedLock hold(m_OsdLock);
  for (const Drawer& drawer : m_Drawers) {
    switch (picture.nPixelFormat) {
      case QPF_YV12:
        drawer->DrawYV12(picture.pPlane, picture.nStride, picture.nWidth, picture.nHeight);
        break;
      case QPF_XRGB:
        drawer->DrawRGB32(picture.pPlane[0], picture.nStride[0], picture.nWidth, picture.nHeight);
        break;
      case QPF_YUYV:
        drawer->DrawYUY2(picture.pPlane[0], picture.nStride[0], picture.nWidth, picture.nHeight);
        break;
      default:
        return;
    }
  }
}
