// Names the window that copies to a screen go to.
#pragma once

#include <atomic>

#include "platform/posix/DirectDrawApi.h"
#include "platform/posix/RefCounted.h"

namespace platform {

class Clipper final : public RefCounted<IDirectDrawClipper> {
 public:
  HRESULT SetHWnd(DWORD /*flags*/, HWND window) override {
    m_hWindow.store(window);
    return DD_OK;
  }
  HWND Window() const { return m_hWindow.load(); }

 private:
  std::atomic<HWND> m_hWindow = nullptr;
};

}  // namespace platform
