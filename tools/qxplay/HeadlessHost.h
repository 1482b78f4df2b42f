// Stands for a window where there is no display: a place on the library's headless screen.
#pragma once

#include <condition_variable>

#include "tools/common/Mutex.h"
#include "tools/qxplay/Host.h"

class HeadlessHost : public Host {
 public:
  explicit HeadlessHost(const Area& area) : m_Area(area) {}

  void* Window() const override { return const_cast<HeadlessHost*>(this); }  // any non-null value does
  Area DesktopArea() const override { return m_Area; }
  bool IsWatched() const override { return false; }
  HostEvents Wait(std::chrono::milliseconds timeout) override;
  void FillAround(const Area&, const std::vector<Area>&) override {}
  std::optional<Point> Pointer() const override { return std::nullopt; }
  std::unique_ptr<SubWindow> MakeSubWindow() override;
  void Paint(void*, const Area&, const PixelView&) override {}
  void SetTitle(const std::string&) override {}
  void ToggleFullScreen() override {}
  void Wake() override;
  void RequestQuit() override;

 private:
  const Area m_Area;
  Mutex m_Mutex;
  std::condition_variable_any m_Changed;
  bool m_bWoken GUARDED_BY(m_Mutex) = false;
  bool m_bQuit GUARDED_BY(m_Mutex) = false;
};
