// The surface on one screen into which a player's pictures are written before they are stretched onto that
// screen.
#pragma once

#include <cstdint>

#include "platform/DirectDraw.h"
#include "platform/Owned.h"

struct OffScreen {
  int32_t nWidth = 0;  // pixels of the pictures that the surface was made for
  int32_t nHeight = 0;
  uint32_t nSourceFormat = 0;                 // of those pictures
  Owned<IDirectDrawSurface7> lpDDSOffscreen;  // null: none
  uint32_t nSurfaceFormat = 0;                // in which the surface was created

  bool IsFor(uint32_t format, int32_t width, int32_t height) const;

  // Makes the surface on a screen, which must have a DirectDraw object: in `format` when the display takes
  // it, so that pictures are only copied, else in YV12, YUY2 or 32-bit RGB. Releases the earlier one first.
  // False, with a log line per try, when the display takes none. `decodeid` names the player in those lines.
  bool _CreateOffScreen(int32_t screenIndex, uint32_t format, int32_t width, int32_t height,
                        int32_t decodeid);
};
