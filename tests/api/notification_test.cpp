// Which event reaches the window and which the callback, and that settings may change while events are
// raised.
#include "api/Notification.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <tuple>
#include <vector>

#include "platform/posix/DisplaySeam.h"

namespace {

// Keeps what is posted. Answers FALSE when told to, as for a window that is gone.
class PostRecorder final : public platform::DisplayDriver {
 public:
  using Message = std::tuple<HWND, UINT, WPARAM, LPARAM>;

  HRESULT Enumerate(LPDDENUMCALLBACKEXA, void*) override { return DDERR_GENERIC; }
  HRESULT CreateDevice(const GUID*, LPDIRECTDRAW7*) override { return DDERR_GENERIC; }
  BOOL MonitorInfo(HMONITOR, MONITORINFO*) override { return FALSE; }
  BOOL Post(HWND window, UINT message, WPARAM wParam, LPARAM lParam) override {
    posted.emplace_back(window, message, wParam, lParam);
    return answer;
  }
  BOOL Peek(MSG*) override { return FALSE; }

  std::vector<Message> posted;
  BOOL answer = TRUE;
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

HWND Window(uintptr_t id) {
  return reinterpret_cast<HWND>(id);
}

class NotificationTest : public testing::Test {
 protected:
  NotificationTest() {
    platform::SetDisplayDriver(&m_Display);
    g_events.clear();
    g_calls = 0;
  }
  ~NotificationTest() override {
    notification::SetCallBack(nullptr, nullptr, nullptr, nullptr);
    notification::RegisterNotify(nullptr, 0);
    platform::SetDisplayDriver(nullptr);
  }

  PostRecorder m_Display;
};

TEST_F(NotificationTest, WindowAndCallbackGetBothEvents) {
  notification::RegisterNotify(Window(7), 0x8001);
  notification::SetCallBack(nullptr, RecordEvent, nullptr, nullptr);
  notification::RaiseEvent(511, kEventSnapshot);
  m_Display.answer = FALSE;  // a window that is gone does not keep the event from the callback
  notification::RaiseEvent(3, kEventEndOfFile);
  EXPECT_EQ(m_Display.posted,
            (std::vector<PostRecorder::Message>{{Window(7), 0x8001, 511, 1}, {Window(7), 0x8001, 3, 2}}));
  EXPECT_EQ(g_events, (std::vector<std::pair<uint32_t, uint32_t>>{{511, 1}, {3, 2}}));
}

TEST_F(NotificationTest, WithoutAWindowOnlyTheEndOfAFileIsTold) {
  notification::RegisterNotify(Window(7), 5);
  notification::RegisterNotify(nullptr, 5);
  notification::SetCallBack(nullptr, RecordEvent, nullptr, nullptr);
  notification::RaiseEvent(1, kEventSnapshot);
  EXPECT_TRUE(g_events.empty());
  notification::RaiseEvent(1, kEventEndOfFile);
  EXPECT_EQ(g_events, (std::vector<std::pair<uint32_t, uint32_t>>{{1, 2}}));
  EXPECT_TRUE(m_Display.posted.empty());
}

TEST_F(NotificationTest, NullRestoresTheCallbacksThatDoNothing) {
  notification::SetCallBack(CountYUV, CountEvent, CountDraw, CountDraw);
  const auto callAll = [] {
    notification::YuvData()(0, nullptr, nullptr, nullptr, 0, 0);
    notification::BeforeBlt()(0, nullptr, nullptr, nullptr, nullptr, nullptr);
    notification::AfterBlt()(0, nullptr, nullptr, nullptr, nullptr, nullptr);
    notification::RaiseEvent(0, kEventEndOfFile);
  };
  callAll();
  EXPECT_EQ(g_calls, 4);
  notification::SetCallBack(nullptr, nullptr, nullptr, nullptr);
  notification::RegisterNotify(Window(9), 1);
  callAll();
  EXPECT_EQ(g_calls, 4);
  EXPECT_EQ(m_Display.posted.size(), 1u);  // the window is told all the same
}

TEST_F(NotificationTest, SettingsChangeWhileEventsAreRaised) {
  std::atomic<bool> stop{false};
  std::thread host([&stop] {
    while (!stop) {
      notification::SetCallBack(CountYUV, CountEvent, CountDraw, CountDraw);
      notification::SetCallBack(nullptr, nullptr, nullptr, nullptr);
    }
  });
  // Until a change was seen in both directions: every call goes to a function, and some reach the host's.
  for (int calls = 0; g_calls < 1000 && calls < 100'000'000; calls++) {
    notification::YuvData()(0, nullptr, nullptr, nullptr, 0, 0);
    notification::RaiseEvent(0, kEventEndOfFile);
  }
  stop = true;
  host.join();
  EXPECT_GE(g_calls, 1000);
}

}  // namespace
