#include "tools/qxplay/SheetCamera.h"

#include <algorithm>
#include <cstring>

void SheetCamera::SetWindow(const Area& window) {
  const MutexLock lock(m_Mutex);
  m_Window = window;
}

void SheetCamera::Take(void* surface, const QXSP_RECT& tile, const Area& desktopTile) {
  const auto elapsed =
      std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - m_Start);
  const bool placedAnew =
      tile.right - tile.left != desktopTile.Width() || tile.bottom - tile.top != desktopTile.Height();
  if (placedAnew || !m_Sheet.IsDue(elapsed)) return;
  Area window;
  {
    const MutexLock lock(m_Mutex);
    window = m_Window;
  }
  if (window.Width() <= 0 || window.Height() <= 0) return;
  std::vector<uint32_t> pixels(static_cast<size_t>(window.Width()) * static_cast<size_t>(window.Height()));
  QXSP_SURFACE_DESC desc;
  if (!QXSP_LockSurface(surface, nullptr, &desc)) return;
  CopyTiles({.top = static_cast<const uint8_t*>(desc.lpSurface),
             .pitch = desc.lPitch,
             .width = static_cast<int>(desc.dwWidth),
             .height = static_cast<int>(desc.dwHeight)},
            window, tile.left - desktopTile.left, tile.top - desktopTile.top, pixels);
  QXSP_UnlockSurface(surface);
  m_Sheet.Add(elapsed, {.top = reinterpret_cast<const uint8_t*>(pixels.data()),
                        .pitch = window.Width() * 4,
                        .width = window.Width(),
                        .height = window.Height()});
}

// Copies what the screen has of the players' pictures into a picture of the window. The screen's memory
// beside them holds what was shown there before. right, down: from the desktop to the screen.
void SheetCamera::CopyTiles(const PixelView& screen, const Area& window, int right, int down,
                            std::vector<uint32_t>& target) {
  for (const auto& owner : m_Tiles) {
    const Area tile = owner->View().GetPlaces().picture;
    const int left = std::max({tile.left, window.left, -right}),
              top = std::max({tile.top, window.top, -down});
    const int columns = std::min({tile.right, window.right, screen.width - right}) - left;
    const int bottom = std::min({tile.bottom, window.bottom, screen.height - down});
    for (int y = top; y < bottom && columns > 0; ++y) {
      const uint8_t* source = screen.top + int64_t{y + down} * screen.pitch + int64_t{left + right} * 4;
      std::memcpy(&target[static_cast<size_t>(y - window.top) * static_cast<size_t>(window.Width()) +
                          static_cast<size_t>(left - window.left)],
                  source, static_cast<size_t>(columns) * 4);
    }
  }
}
