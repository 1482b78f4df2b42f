// The public header beside the library's own declarations: record layouts, and the surface of a drawing
// callback as a host in C sees it.
#include "include/qxsdkp.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstring>

#include "platform/posix/DirectDrawApi.h"
#include "tests/api/c_host.h"

namespace {

// The surface description is the platform layer's under public names.
static_assert(sizeof(QXSP_SURFACE_DESC) == sizeof(DDSURFACEDESC2) &&
              offsetof(QXSP_SURFACE_DESC, dwFlags) == offsetof(DDSURFACEDESC2, dwFlags) &&
              offsetof(QXSP_SURFACE_DESC, dwHeight) == offsetof(DDSURFACEDESC2, dwHeight) &&
              offsetof(QXSP_SURFACE_DESC, dwWidth) == offsetof(DDSURFACEDESC2, dwWidth) &&
              offsetof(QXSP_SURFACE_DESC, lPitch) == offsetof(DDSURFACEDESC2, lPitch) &&
              offsetof(QXSP_SURFACE_DESC, lpSurface) == offsetof(DDSURFACEDESC2, lpSurface) &&
              offsetof(QXSP_SURFACE_DESC, pixelFormat) == offsetof(DDSURFACEDESC2, ddpfPixelFormat) &&
              offsetof(QXSP_SURFACE_DESC, dwCaps) == offsetof(DDSURFACEDESC2, ddsCaps));
static_assert(sizeof(QXSP_PIXEL_FORMAT) == sizeof(DDPIXELFORMAT) &&
              offsetof(QXSP_PIXEL_FORMAT, dwBitCount) == offsetof(DDPIXELFORMAT, dwRGBBitCount) &&
              offsetof(QXSP_PIXEL_FORMAT, dwRedMask) == offsetof(DDPIXELFORMAT, dwRBitMask) &&
              offsetof(QXSP_PIXEL_FORMAT, dwBlueMask) == offsetof(DDPIXELFORMAT, dwBBitMask) &&
              offsetof(QXSP_PIXEL_FORMAT, dwAlphaMask) == offsetof(DDPIXELFORMAT, dwRGBAlphaBitMask));
static_assert(sizeof(QXSP_RECT) == sizeof(RECT) && offsetof(QXSP_RECT, bottom) == offsetof(RECT, bottom));

// 8 x 4 pixels whose locks can be made to fail. Every operation but Lock and Unlock counts as a wrong slot.
class MemorySurface final : public IDirectDrawSurface7 {
 public:
  static constexpr int kWidth = 8;

  HRESULT Lock(LPRECT rect, LPDDSURFACEDESC2 desc, DWORD flags, HANDLE event) override {
    EXPECT_EQ(desc->dwSize, sizeof(DDSURFACEDESC2));
    EXPECT_EQ(flags, DDLOCK_WAIT);
    EXPECT_EQ(event, nullptr);
    if (lockResult != DD_OK) return lockResult;
    locks++;
    desc->lPitch = kWidth * 4;
    desc->lpSurface = &pixels[static_cast<size_t>(rect->top * kWidth + rect->left)];
    return DD_OK;
  }
  HRESULT Unlock(LPRECT rect) override {
    EXPECT_EQ(rect, nullptr);
    unlocks++;
    return unlockResult;
  }
  ULONG Release() override { return Wrong(); }
  HRESULT GetSurfaceDesc(LPDDSURFACEDESC2) override { return Wrong(); }
  HRESULT SetClipper(LPDIRECTDRAWCLIPPER) override { return Wrong(); }
  HRESULT Restore() override { return Wrong(); }
  HRESULT Blt(LPRECT, IDirectDrawSurface7*, LPRECT, DWORD, DDBLTFX*) override { return Wrong(); }

  std::array<uint32_t, kWidth * 4> pixels{};
  HRESULT lockResult = DD_OK;
  HRESULT unlockResult = DD_OK;
  int locks = 0;
  int unlocks = 0;

 private:
  static int Wrong() {
    ADD_FAILURE() << "called through the wrong slot";
    return -1;
  }
};

TEST(PublicHeader, HostInCDrawsOnTheSurfaceOfACallback) {
  MemorySurface surface;
  // A drawing callback gets the interface pointer as void*.
  void* const passed = static_cast<IDirectDrawSurface7*>(&surface);
  const QXSP_RECT rect = {2, 1, 5, 3};
  EXPECT_EQ(CHostFill(passed, &rect, 0x00FF8040), 1);
  for (int i = 0; i < MemorySurface::kWidth * 4; i++) {
    const int x = i % MemorySurface::kWidth;
    const int y = i / MemorySurface::kWidth;
    const bool inside = x >= rect.left && x < rect.right && y >= rect.top && y < rect.bottom;
    EXPECT_EQ(surface.pixels[static_cast<size_t>(i)], inside ? 0x00FF8040u : 0u) << x << ',' << y;
  }
  EXPECT_EQ(surface.locks, 1);
  EXPECT_EQ(surface.unlocks, 1);
}

TEST(PublicHeader, FailedSurfaceOperationsAnswerZero) {
  MemorySurface surface;
  void* const passed = static_cast<IDirectDrawSurface7*>(&surface);
  const QXSP_RECT rect = {0, 0, 1, 1};
  surface.lockResult = DDERR_SURFACELOST;
  EXPECT_EQ(CHostFill(passed, &rect, 1), 0);
  EXPECT_EQ(surface.unlocks, 0);
  surface.lockResult = DD_OK;
  surface.unlockResult = DDERR_GENERIC;
  EXPECT_EQ(CHostFill(passed, &rect, 1), 0);
}

TEST(PublicHeader, HeaderFilledInCHasItsBytesInPlace) {
  const QXSP_FILE_HEADER header = CHostHeader();
  std::array<uint8_t, 96> expected{};
  std::memcpy(&expected[32], "QFH", 3);
  expected[38] = 2;
  expected[50] = 1;
  expected[58] = 16;
  expected[64] = 7;
  EXPECT_EQ(std::memcmp(&header, expected.data(), expected.size()), 0);
}

}  // namespace
