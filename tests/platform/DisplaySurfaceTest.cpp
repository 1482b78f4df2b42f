// Surfaces, clippers and copies through the DirectDraw interfaces, on the headless display.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "tests/platform/DisplayTestSupport.h"
#include "tests/support/TestSeam.h"

namespace {

constexpr DWORD kYv12 = MAKEFOURCC('Y', 'V', '1', '2');
const auto kWindow = reinterpret_cast<HWND>(uintptr_t{1});

class SurfaceTest : public testing::Test {
 protected:
  void SetUp() override {
    ChooseDisplay("headless:640x360+0+0");
    ASSERT_EQ(EnumerateDevices(m_Devices), DD_OK);
    m_pScreen = std::make_unique<TestScreen>(nullptr);
    ASSERT_TRUE(m_pScreen->back);
  }
  void TearDown() override { ChooseDisplay(nullptr); }

  IDirectDraw7& Device() { return *m_pScreen->device.Get(); }
  IDirectDrawSurface7& Back() { return *m_pScreen->back.Get(); }
  HRESULT TryCreate(DDSURFACEDESC2 desc) {
    Owned<IDirectDrawSurface7> surface;
    const HRESULT code = Device().CreateSurface(&desc, surface.Receive(), nullptr);
    EXPECT_EQ(SUCCEEDED(code), static_cast<bool>(surface));
    return code;
  }
  uint32_t PixelOfBack(LONG x, LONG y) {
    DDSURFACEDESC2 desc = EmptyDesc();
    RECT rect = {x, y, x + 1, y + 1};
    EXPECT_EQ(Back().Lock(&rect, &desc, 0, nullptr), DD_OK);
    uint32_t pixel = 0;
    if (desc.lpSurface != nullptr) std::memcpy(&pixel, desc.lpSurface, sizeof(pixel));
    Back().Unlock(nullptr);
    return pixel & 0xFFFFFF;
  }

  std::vector<EnumeratedDevice> m_Devices;
  std::unique_ptr<TestScreen> m_pScreen;
};

TEST_F(SurfaceTest, RefusesWhatNoSurfaceCanBe) {
  for (const DWORD side : {0u, 16385u, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(TryCreate(FourCCDesc(side, 16, kYv12)), DDERR_INVALIDPARAMS);
    EXPECT_EQ(TryCreate(FourCCDesc(16, side, kYv12)), DDERR_INVALIDPARAMS);
  }
  EXPECT_EQ(TryCreate(FourCCDesc(16, 16, MAKEFOURCC('A', 'B', 'C', 'D'))), DDERR_INVALIDPIXELFORMAT);
  EXPECT_EQ(TryCreate(EmptyDesc(DDSCAPS_OFFSCREENPLAIN)), DDERR_INVALIDPARAMS);
  EXPECT_EQ(TryCreate(EmptyDesc()), DDERR_INVALIDCAPS);
  TestSeam seam;
  seam.FailAllocationsAfter(0);
  EXPECT_EQ(TryCreate(OffScreenDesc(640, 360)), DDERR_OUTOFMEMORY);
  seam.AllowAllocations();
  EXPECT_EQ(TryCreate(FourCCDesc(16, 16, kYv12)), DD_OK);
}

// A writer of pictures sets these bytes, so they must exist and be all that is shown.
TEST_F(SurfaceTest, HoldsThePlanesOfAnySize) {
  for (const auto& [width, height] : {std::pair{1, 1}, {2, 2}, {65, 63}, {130, 7}, {353, 289}}) {
    const auto surface =
        CreateSurface(Device(), FourCCDesc(static_cast<DWORD>(width), static_cast<DWORD>(height), kYv12));
    ASSERT_TRUE(surface);
    RECT whole = {0, 0, width, height};
    DDSURFACEDESC2 desc = EmptyDesc();
    ASSERT_EQ(Back().Blt(&whole, surface.Get(), &whole, 0, nullptr), DD_OK);
    EXPECT_EQ(PixelOfBack(width - 1, height - 1), 0u) << "a new surface is black";

    ASSERT_EQ(surface->Lock(&whole, &desc, DDLOCK_WRITEONLY, nullptr), DD_OK);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(desc.lpSurface) % 64, 0u);
    EXPECT_EQ(desc.lPitch % 64, 0);
    auto* const luma = static_cast<uint8_t*>(desc.lpSurface);
    auto* const cr = luma + desc.lPitch * height;
    auto* const cb = luma + desc.lPitch * height * 5 / 4;
    for (int32_t y = 0; y < height; ++y)
      std::memset(luma + y * desc.lPitch, 81, static_cast<size_t>(width));
    for (int32_t y = 0; y < height / 2; ++y) {
      std::memset(cr + y * (desc.lPitch / 2), 240, static_cast<size_t>(width / 2));
      std::memset(cb + y * (desc.lPitch / 2), 90, static_cast<size_t>(width / 2));
    }
    ASSERT_EQ(surface->Unlock(nullptr), DD_OK);
    ASSERT_EQ(Back().Blt(&whole, surface.Get(), &whole, 0, nullptr), DD_OK);
    // A single pixel has no chroma; a last odd row and column take their neighbours'.
    const uint32_t expected = width == 1 ? 0x4C4C4Cu : 0xFE0000u;
    EXPECT_EQ(PixelOfBack(0, 0), expected);
    EXPECT_EQ(PixelOfBack(width - 1, height - 1), expected);
  }
}

TEST_F(SurfaceTest, LocksOneAtATimeAndOnlyInside) {
  DDSURFACEDESC2 desc = EmptyDesc(), wrong = {};
  const auto surface = CreateSurface(Device(), FourCCDesc(32, 16, kYv12));
  ASSERT_TRUE(surface);
  EXPECT_EQ(surface->Unlock(nullptr), DDERR_NOTLOCKED);
  for (RECT bad : {RECT{-1, 0, 16, 16},
                   {0, 0, 33, 16},
                   {0, 0, 32, 17},
                   {8, 0, 8, 16},
                   {INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX}})
    EXPECT_EQ(surface->Lock(&bad, &desc, 0, nullptr), DDERR_INVALIDRECT);
  EXPECT_EQ(surface->Lock(nullptr, nullptr, 0, nullptr), DDERR_INVALIDPARAMS);
  EXPECT_EQ(surface->Lock(nullptr, &wrong, 0, nullptr), DDERR_INVALIDPARAMS);

  ASSERT_EQ(surface->Lock(nullptr, &desc, 0, nullptr), DD_OK);
  const auto* const base = static_cast<uint8_t*>(desc.lpSurface);
  EXPECT_EQ(surface->Lock(nullptr, &desc, DDLOCK_WAIT, nullptr), DDERR_SURFACEBUSY);
  EXPECT_EQ(Back().Blt(nullptr, surface.Get(), nullptr, 0, nullptr), DDERR_SURFACEBUSY);
  EXPECT_EQ(surface->Unlock(nullptr), DD_OK);
  RECT part = {3, 2, 9, 4};
  ASSERT_EQ(surface->Lock(&part, &desc, 0, nullptr), DD_OK);
  EXPECT_EQ(static_cast<uint8_t*>(desc.lpSurface) - base, 2 * desc.lPitch + 3);
  EXPECT_EQ(surface->Unlock(nullptr), DD_OK);

  // A drawing callback of one player keeps no other player's picture out.
  ASSERT_EQ(Back().Lock(nullptr, &desc, 0, nullptr), DD_OK);
  EXPECT_EQ(Back().Blt(nullptr, surface.Get(), nullptr, 0, nullptr), DD_OK);
  m_pScreen->clipper->SetHWnd(0, kWindow);
  EXPECT_EQ(m_pScreen->Show({0, 0, 8, 8}), DD_OK);
  EXPECT_EQ(Back().Unlock(nullptr), DD_OK);
}

TEST_F(SurfaceTest, CopiesOnlyWhatFitsTogetherAndOutlivesItsDevice) {
  IDirectDrawSurface7& primary = *m_pScreen->primary.Get();
  const RECT area = {10, 10, 100, 100};
  EXPECT_EQ(m_pScreen->Show(area), DDERR_NOCLIPPERATTACHED) << "the clipper has no window yet";
  m_pScreen->clipper->SetHWnd(0, kWindow);
  EXPECT_EQ(primary.SetClipper(nullptr), DD_OK);
  EXPECT_EQ(m_pScreen->Show(area), DDERR_NOCLIPPERATTACHED);
  EXPECT_EQ(primary.SetClipper(m_pScreen->clipper.Get()), DD_OK);
  m_pScreen->clipper.Reset();  // the surface holds on to it
  EXPECT_EQ(m_pScreen->Show({0, 0, 641, 360}), DDERR_INVALIDRECT);
  EXPECT_EQ(m_pScreen->Show({5, 5, 5, 6}), DDERR_INVALIDRECT);

  const auto picture = CreateSurface(Device(), FourCCDesc(640, 360, kYv12));
  const TestScreen other(nullptr);
  RECT small = {0, 0, 10, 10}, large = {0, 0, 20, 20}, outside = {635, -5, 645, 5},
       inverted = {20, 0, 10, 16};
  const struct {
    IDirectDrawSurface7* target;
    RECT* to;
    IDirectDrawSurface7* source;
    RECT* from;
    HRESULT result;
  } rows[] = {{&primary, &outside, &Back(), &small, DD_OK},
              {&primary, &large, &Back(), &small, DDERR_UNSUPPORTED},
              {&primary, &small, picture.Get(), &small, DDERR_INVALIDOBJECT},
              {&primary, &small, other.back.Get(), &small, DDERR_INVALIDOBJECT},
              {&Back(), nullptr, nullptr, nullptr, DDERR_INVALIDOBJECT},
              {&Back(), nullptr, &primary, nullptr, DDERR_INVALIDOBJECT},
              {&Back(), nullptr, &Back(), nullptr, DDERR_UNSUPPORTED},
              {picture.Get(), nullptr, &Back(), nullptr, DDERR_UNSUPPORTED},
              {&Back(), nullptr, picture.Get(), &inverted, DDERR_INVALIDRECT},
              {&Back(), &inverted, picture.Get(), nullptr, DDERR_INVALIDRECT}};
  for (const auto& row : rows)
    EXPECT_EQ(row.target->Blt(row.to, row.source, row.from, 0, nullptr), row.result) << &row - rows;
  DDSURFACEDESC2 desc = EmptyDesc();
  EXPECT_EQ(primary.Lock(nullptr, &desc, 0, nullptr), DDERR_CANTLOCKSURFACE);
  EXPECT_EQ(primary.Unlock(nullptr), DDERR_NOTLOCKED);

  m_pScreen->device.Reset();
  ASSERT_EQ(EnumerateDevices(m_Devices), DD_OK);  // the display itself is replaced
  EXPECT_EQ(Back().Blt(nullptr, picture.Get(), nullptr, 0, nullptr), DD_OK);
  EXPECT_EQ(m_pScreen->Show(area), DD_OK);
}

}  // namespace
