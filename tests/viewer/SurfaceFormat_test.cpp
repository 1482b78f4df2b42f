// Names, descriptions and memory layout of the pixel formats.
#include "video/SurfaceFormat.h"

#include <gtest/gtest.h>

#include <climits>
#include <vector>

TEST(SurfaceFormat, NamesAndDescriptions) {
  constexpr DWORD kYuv = DDPF_FOURCC | DDPF_YUV;
  struct {
    uint32_t format;
    const char* name;
    DWORD flags, fourCC, bits;  // flags 0: no surface has this format
  } const rows[] = {
      {0, "QPF_Unknown", 0, 0, 0},           {1, "QPF_XRGB", DDPF_RGB, 0, 32},
      {2, "QPF_YUYV", kYuv, 0x32595559, 16}, {3, "QPF_YV12", kYuv, 0x32315659, 8},
      {4, "QPF_NV12", kYuv, 0x3231564E, 8},  {5, "QPF_D3DSurface", 0, 0, 0},
      {6, "QPF_Unknown", 0, 0, 0},           {0xFFFFFFFF, "QPF_Unknown", 0, 0, 0},
  };
  for (const auto& row : rows) {
    EXPECT_STREQ(FormatName(row.format), row.name);
    DDPIXELFORMAT description = {};
    EXPECT_EQ(DescribePixelFormat(row.format, description), row.flags != 0) << row.name;
    EXPECT_EQ(description.dwFlags, row.flags) << row.name;
    EXPECT_EQ(description.dwFourCC, row.fourCC) << row.name;
    EXPECT_EQ(description.dwRGBBitCount, row.bits) << row.name;
    EXPECT_EQ(description.dwGBitMask, row.format == 1 ? 0xFF00u : 0u) << row.name;
    EXPECT_EQ(description.dwSize, row.flags != 0 ? sizeof(description) : 0) << row.name;
  }
}

TEST(SurfaceFormat, PlanesFollowThePitchAndThePictureHeight) {
  std::vector<uint8_t> memory(64);
  DDSURFACEDESC2 locked = EmptySurfaceDesc();
  locked.lpSurface = memory.data();
  locked.lPitch = 6;
  SurfacePlanes planes;
  ASSERT_TRUE(
      LaySurfacePlanes(locked, QPF_YV12, 4, 3, planes));  // odd height: 18 luma bytes, 18 * 5 / 4 = 22
  EXPECT_EQ(planes.pPlane[0] - memory.data(), 0);
  EXPECT_EQ(planes.pPlane[1] - memory.data(), 22);
  EXPECT_EQ(planes.pPlane[2] - memory.data(), 18);
  EXPECT_EQ(planes.nPitch[0], 6);
  EXPECT_EQ(planes.nPitch[1], 3);
  EXPECT_EQ(planes.nPitch[2], 3);
  ASSERT_TRUE(LaySurfacePlanes(locked, QPF_NV12, 6, 3, planes));
  EXPECT_EQ(planes.pPlane[1] - memory.data(), 18);
  EXPECT_EQ(planes.nPitch[1], 6);
}

TEST(SurfaceFormat, NoPlanesWhereAPictureDoesNotFit) {
  uint8_t byte = 0;
  struct {
    void* memory;
    LONG pitch;
    uint32_t format;
    int32_t width, height;
    bool fits;
  } const rows[] = {
      {&byte, 64, QPF_XRGB, 16, 4, true},  {&byte, 63, QPF_XRGB, 16, 4, false},
      {&byte, 32, QPF_YUYV, 16, 4, true},  {&byte, 31, QPF_YUYV, 16, 4, false},
      {&byte, 15, QPF_YV12, 16, 4, false}, {&byte, -16, QPF_YV12, 16, 4, false},
      {&byte, 0, QPF_NV12, 16, 4, false},  {nullptr, 64, QPF_YV12, 16, 4, false},
      {&byte, 64, QPF_YV12, 0, 4, false},  {&byte, 64, QPF_YV12, 16, -4, false},
      {&byte, 64, 0, 16, 4, false},        {&byte, INT_MAX, QPF_XRGB, INT_MAX, 4, false},
  };
  for (const auto& row : rows) {
    DDSURFACEDESC2 locked = EmptySurfaceDesc();
    locked.lpSurface = row.memory;
    locked.lPitch = row.pitch;
    SurfacePlanes planes;
    EXPECT_EQ(LaySurfacePlanes(locked, row.format, row.width, row.height, planes), row.fits)
        << FormatName(row.format) << " " << row.width << "x" << row.height << " pitch " << row.pitch;
  }
}
