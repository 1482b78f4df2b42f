// What the library tells the host: the notification window and the four callbacks. Library-wide; a leaf that
// anything may use.
#pragma once

#include <cstdint>

#include "platform/User.h"

using YUVDataCallBack = void(__cdecl*)(uint32_t nPlayerID, const uint8_t* plane0, const uint8_t* plane1,
                                       const uint8_t* plane2, uint32_t stride0, uint32_t stride1);
using NotifyCallBack = void(__cdecl*)(uint32_t nPlayerID, uint32_t event);
// display, surface: the screen's IDirectDraw7 and back surface. target: on the back surface, screen
// coordinates. imageRect: the viewer's own, which the host may change.
using DrawCallBack = void(__cdecl*)(uint32_t nPlayerID, void* window, void* display, void* surface,
                                    RECT* target, RECT* imageRect);

enum PlayerEvent : uint32_t {
  kEventSnapshot = 1,
  kEventEndOfFile = 2,
};

// Every setting is one atomic word: any thread may set or read it at any time, and a change takes effect at
// the next event or picture.
namespace notification {

// A null window stops the posting.
void RegisterNotify(HWND window, UINT message);
// Null puts the do-nothing callback in place.
void SetCallBack(YUVDataCallBack yuvData, NotifyCallBack notify, DrawCallBack beforeBlt,
                 DrawCallBack afterBlt);

// Posts the event, when a window is registered, and calls the notify callback: always for the end of a file,
// for a snapshot only when a window is registered. Hold no lock that the callback could want.
void RaiseEvent(uint32_t nPlayerID, PlayerEvent event);

// The installed callbacks; never null.
YUVDataCallBack YuvData();
DrawCallBack BeforeBlt();
DrawCallBack AfterBlt();

}  // namespace notification
