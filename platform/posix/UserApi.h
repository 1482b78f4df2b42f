// The subset of the Win32 user services that the library calls, for POSIX systems.
#pragma once

#include "platform/posix/KernelApi.h"

// An X11 window identifier cast to a pointer; on the headless display any value but null.
using HWND = struct HWND__*;
using HMONITOR = struct HMONITOR__*;

struct RECT {
  LONG left, top, right, bottom;
};

struct MONITORINFO {
  DWORD cbSize;  // 40
  RECT rcMonitor;
  RECT rcWork;
  DWORD dwFlags;
};
static_assert(sizeof(MONITORINFO) == 40);
constexpr DWORD MONITORINFOF_PRIMARY = 1;

BOOL IsRectEmpty(const RECT* rect);
BOOL SetRectEmpty(RECT* rect);
BOOL GetMonitorInfoA(HMONITOR monitor, MONITORINFO* info);

// Sends an X11 ClientMessage of type QXSDKP_MESSAGE (format 32: message, wParam, lParam) or, on the headless
// display, appends to a queue of 256 messages. FALSE when the window is gone or the queue is full.
BOOL PostMessageA(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

struct MSG {
  HWND hwnd;
  UINT message;
  WPARAM wParam;
  LPARAM lParam;
};
constexpr UINT PM_REMOVE = 1;
// Headless display only: takes the oldest queued message (filters are ignored). FALSE when there is none.
BOOL PeekMessageA(MSG* message, HWND window, UINT filterMin, UINT filterMax, UINT remove);
