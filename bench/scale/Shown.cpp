#include "bench/scale/Shown.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <mutex>

#include "qxsdkp.h"

namespace {

std::mutex g_Mutex;
std::condition_variable g_Changed;
std::array<size_t, QXSP_MAX_PLAYERS> g_Shown;

void QXSP_CALLBACK AfterCopy(uint32_t player, void*, void*, void*, QXSP_RECT*, QXSP_RECT*) {
  const std::lock_guard lock(g_Mutex);
  ++g_Shown[player];
  g_Changed.notify_all();
}

}  // namespace

void CountShown() {
  QXSP_SetCallBack(nullptr, nullptr, nullptr, AfterCopy);
}

void ForgetShown(uint32_t player) {
  const std::lock_guard lock(g_Mutex);
  g_Shown[player] = 0;
}

bool WaitShown(uint32_t player, size_t pictures) {
  std::unique_lock lock(g_Mutex);
  return g_Changed.wait_for(lock, std::chrono::seconds(20), [&] { return g_Shown[player] >= pictures; });
}
