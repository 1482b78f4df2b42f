// The texts that a player draws into its pictures.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "src/kitc/Lock.h"
#include "src/kitc/ThrowingAllocator.h"
#include "video/DecodedPicture.h"
#include "video/OsdDrawer.h"

enum OsdItemType : uint16_t {
  kOsdText = 0,
  kOsdPicture = 1,  // not supported
};

// Where a text lies from (nX, nY); any other value as kAnchorTopLeft.
enum OsdAnchor : int32_t {
  kAnchorTopLeft = 0,
  kAnchorTopRight = 1,  // begins 16 pixels a byte of text to the left
  kAnchorBottomRight = 2,
  kAnchorBottomLeft = 3,  // begins 16 pixels above
};

// The record that hosts pass in arrays.
struct OsdItem {
  uint16_t wType;
  uint16_t wReserved;
  const char* pszText;  // ASCII and GB2312; null is empty
  int32_t nAnchor;
  int32_t nX;  // pixels of a picture below 1280 in width; wider ones scale them
  int32_t nY;
  uint8_t abColour[4];  // red, green, blue, alpha: 0 and 255 are opaque
  uint8_t abReserved[12];
};

class Osd {
 public:
  // Replaces all items; null or 0 removes them. False when an item is no text or memory is exhausted: then
  // there are none. Any thread; waits at most for a picture that is being drawn into.
  bool SetOSD(const OsdItem* items, uint32_t count) EXCLUDES(m_OsdLock);
  // Draws into a picture that has a plane 0. Play thread.
  void Draw(const DecodedPicture& picture) EXCLUDES(m_OsdLock);

 private:
  using Drawer = std::unique_ptr<IOsdDrawer>;
  using Drawers = std::vector<Drawer, ThrowingAllocator<Drawer>>;

  static bool MakeDrawers(const OsdItem* items, uint32_t count, Drawers& drawers);

  Lock m_OsdLock;  // a leaf
  Drawers m_Drawers GUARDED_BY(m_OsdLock);
};
