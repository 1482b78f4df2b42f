// The notification window and the host's callbacks, kept from library load to unload.
#include "api/Notification.h"

#include <atomic>

namespace {

// The host's callbacks are called without a test for null; these stand in where there is none.
void __cdecl NullYUVData(uint32_t, const uint8_t*, const uint8_t*, const uint8_t*, uint32_t, uint32_t) {}
void __cdecl NullNotify(uint32_t, uint32_t) {}
void __cdecl NullDraw(uint32_t, void*, void*, void*, RECT*, RECT*) {}

constinit std::atomic<HWND> g_hNotifyWnd{nullptr};
constinit std::atomic<UINT> g_uNotifyMsg{0};
constinit std::atomic<YUVDataCallBack> g_fnYUVDataCallBack{NullYUVData};
constinit std::atomic<NotifyCallBack> g_fnNotifyCallBack{NullNotify};
constinit std::atomic<DrawCallBack> g_fnBeforeBltCallBack{NullDraw};
constinit std::atomic<DrawCallBack> g_fnAfterBltCallBack{NullDraw};

template <typename CallBack>
CallBack OrNull(CallBack callBack, CallBack null) {
  return callBack != nullptr ? callBack : null;
}

}  // namespace

namespace notification {

void RegisterNotify(HWND window, UINT message) {
  // The message first: an event that sees a first window then also sees its message.
  g_uNotifyMsg = message;
  g_hNotifyWnd = window;
}

void SetCallBack(YUVDataCallBack yuvData, NotifyCallBack notify, DrawCallBack beforeBlt,
                 DrawCallBack afterBlt) {
  g_fnYUVDataCallBack = OrNull<YUVDataCallBack>(yuvData, NullYUVData);
  g_fnNotifyCallBack = OrNull<NotifyCallBack>(notify, NullNotify);
  g_fnBeforeBltCallBack = OrNull<DrawCallBack>(beforeBlt, NullDraw);
  g_fnAfterBltCallBack = OrNull<DrawCallBack>(afterBlt, NullDraw);
}

void RaiseEvent(uint32_t nPlayerID, PlayerEvent event) {
  const HWND window = g_hNotifyWnd;
  if (window == nullptr && event == kEventSnapshot) {
    return;
  }
  if (window != nullptr) {
    // A window that is gone or a full queue loses the message, not the callback.
    PostMessageA(window, g_uNotifyMsg, nPlayerID, static_cast<LPARAM>(event));
  }
  g_fnNotifyCallBack.load()(nPlayerID, event);
}

YUVDataCallBack YuvData() {
  return g_fnYUVDataCallBack;
}
DrawCallBack BeforeBlt() {
  return g_fnBeforeBltCallBack;
}
DrawCallBack AfterBlt() {
  return g_fnAfterBltCallBack;
}

}  // namespace notification
