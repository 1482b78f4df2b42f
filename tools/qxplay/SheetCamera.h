// Takes the pictures for the contact sheet: the whole window with all its tiles, off the screen's back
// surface.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

#include "tools/common/Mutex.h"
#include "tools/qxplay/ContactSheet.h"
#include "tools/qxplay/Tile.h"

// The tiles' list outlives it and does not change while they play.
class SheetCamera {
 public:
  explicit SheetCamera(const std::vector<std::unique_ptr<Tile>>& tiles) : m_Tiles(tiles) {}

  // Where the window is, desktop coordinates. Any thread.
  void SetWindow(const Area& window) EXCLUDES(m_Mutex);
  // On a play thread, while the screen is the player's; as Tile::PictureSink.
  void Take(void* surface, const QXSP_RECT& tile, const Area& desktopTile) EXCLUDES(m_Mutex);

  ContactSheet& Sheet() { return m_Sheet; }

 private:
  void CopyTiles(const PixelView& screen, const Area& window, int right, int down,
                 std::vector<uint32_t>& target);

  const std::vector<std::unique_ptr<Tile>>& m_Tiles;
  const std::chrono::steady_clock::time_point m_Start = std::chrono::steady_clock::now();
  ContactSheet m_Sheet;
  Mutex m_Mutex;
  Area m_Window GUARDED_BY(m_Mutex);
};
