// Which event reaches the window and which the callback, and that settings may change while events are
// raised.
#include "api/Notification.h"

#include <gmock/gmock.h>

#include <atomic>
#include <thread>
#include <tuple>
#include <vector>

#include "platform/posix/DisplaySeam.h"

namespace {

using testing::ElementsAre;
using testing::Pair;

// Keeps what is posted. Answers as for a window that is gone.
class PostRecorder final : public platform::DisplayDriver {
 public:
  HRESULT Enumerate(LPDDENUMCALLBACKEXA, void*) override { return DDERR_GENERIC; }
  HRESULT CreateDevice(const GUID*, LPDIRECTDRAW7*) override { return DDERR_GENERIC; }
  BOOL MonitorInfo(HMONITOR, MONITORINFO*) override { return FALSE; }
  BOOL Post(HWND window, UINT message, WPARAM wParam, LPARAM lParam) override {
    posted.emplace_back(window, message, wParam, lParam);
    return FALSE;
  }
  BOOL Peek(MSG*) override { return FALSE; }

  std::vector<std::tuple<HWND, UINT, WPARAM, LPARAM>> posted;
};

// The library-wide callbacks have no context argument.
std::vector<std::pair<uint32_t, uint32_t>> g_events;
std::atomic<int> g_calls{0};

void RecordEvent(uint32_t nPlayerID, uint32_t event) {
  g_events.emplace_back(nPlayerID, event);
}
void CountEvent(uint32_t, uint32_t) {
  g_calls++;
}
void CountYUV(uint32_t, const uint8_t*, const uint8_t*, const uint8_t*, uint32_t, uint32_t) {
  g_calls++;
}
void CountDraw(uint32_t, void*, void*, void*, RECT*, RECT*) {
  g_calls++;
}

void CallAll() {
  notification::YuvData()(0, nullptr, nullptr, nullptr, 0, 0);
  notification::BeforeBlt()(0, nullptr, nullptr, nullptr, nullptr, nullptr);
  notification::AfterBlt()(0, nullptr, nullptr, nullptr, nullptr, nullptr);
  notification::RaiseEvent(0, kEventEndOfFile);
}

}  // namespace

TEST(Notification, WindowAndCallback) {
  PostRecorder display;
  platform::SetDisplayDriver(&display);
  const auto window = reinterpret_cast<HWND>(uintptr_t{7});
  notification::SetCallBack(nullptr, RecordEvent, nullptr, nullptr);
  notification::RaiseEvent(1, kEventSnapshot);  // without a window only the end of a file is told
  notification::RaiseEvent(2, kEventEndOfFile);
  notification::RegisterNotify(window, 0x8001);
  notification::RaiseEvent(511, kEventSnapshot);
  notification::RaiseEvent(3, kEventEndOfFile);
  notification::SetCallBack(nullptr, nullptr, nullptr, nullptr);
  notification::RaiseEvent(4, kEventEndOfFile);  // the window is told all the same
  notification::RegisterNotify(nullptr, 0x8001);
  notification::RaiseEvent(5, kEventEndOfFile);
  EXPECT_THAT(display.posted,
              ElementsAre(std::tuple(window, 0x8001, 511, 1), std::tuple(window, 0x8001, 3, 2),
                          std::tuple(window, 0x8001, 4, 2)));
  EXPECT_THAT(g_events, ElementsAre(Pair(2, 2), Pair(511, 1), Pair(3, 2)));
  platform::SetDisplayDriver(nullptr);
}

TEST(Notification, CallbacksChangeWhileTheyAreCalled) {
  notification::SetCallBack(CountYUV, CountEvent, CountDraw, CountDraw);
  CallAll();
  EXPECT_EQ(g_calls, 4);
  notification::SetCallBack(nullptr, nullptr, nullptr, nullptr);
  CallAll();  // nothing, but nothing bad either
  EXPECT_EQ(g_calls, 4);
  std::atomic<bool> stop{false};
  std::thread host([&stop] {
    while (!stop) {
      notification::SetCallBack(CountYUV, CountEvent, CountDraw, CountDraw);
      notification::SetCallBack(nullptr, nullptr, nullptr, nullptr);
    }
  });
  while (g_calls < 1000)  // every call goes to a function, and some reach the host's
    CallAll();
  stop = true;
  host.join();
}
