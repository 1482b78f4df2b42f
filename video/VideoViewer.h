// Presents one player's pictures in up to two host windows, on every screen that they touch.
#pragma once

#include <array>
#include <cstdint>

#include "platform/DirectDraw.h"
#include "video/DecodedPicture.h"
#include "video/Screens.h"

// Where presentation time went, ms of the performance counter. waitgloballock is set, the others are added to.
struct ShowTimings {
  double waitgloballock = 0;
  double ddsback = 0;
  double ddsprimary = 0;
  double ddsoffscreen = 0;
  double ddsbackCallback = 0;
};

// No lock of its own: the player's m_ViewLock is held around every call but decodeid's writer, which runs before any source is open.
class VideoViewer {
 public:
  // Prepares for pictures of this size; false when no surface can be made on screen 0.
  bool Init(int32_t width, int32_t height);
  // Drops the surfaces and switches the main window off.
  void ResetView();

  // planes, strides: three each. Presents into the windows that are on; false when one of them could not be drawn.
  bool ShowFrame(const uint8_t* const* planes, const uint32_t* strides, uint32_t format, int32_t width, int32_t height,
                 ShowTimings& timings);

  // `rect`: virtual-desktop coordinates; null keeps the old one.
  void SetMainPreview(HWND window, const RECT* rect, bool enable);
  // Enabling with a null `rect` changes only the window.
  void SetSubPreview(HWND window, const RECT* rect, bool enable);
  void SetPlayerID(uint32_t nPlayerID) { decodeid = static_cast<int32_t>(nPlayerID); }
};
