#include "tools/qxplay/Outline.h"

#include <algorithm>
#include <cstring>

#include "include/qxsdkp.h"

void DrawOutline(void* surface, const Area& area, uint32_t colour) {
  QXSP_SURFACE_DESC desc;
  if (!QXSP_LockSurface(surface, nullptr, &desc)) return;
  const Area whole = {.right = static_cast<int>(desc.dwWidth), .bottom = static_cast<int>(desc.dwHeight)};
  const auto put = [&](int x, int y) {
    if (!whole.Contains({x, y})) return;
    std::memcpy(static_cast<uint8_t*>(desc.lpSurface) + int64_t{y} * desc.lPitch + int64_t{x} * 4, &colour,
                sizeof(colour));
  };
  for (int x = area.left; x < area.right; ++x) {
    put(x, area.top);
    put(x, area.bottom - 1);
  }
  for (int y = area.top; y < area.bottom; ++y) {
    put(area.left, y);
    put(area.right - 1, y);
  }
  QXSP_UnlockSurface(surface);
}
