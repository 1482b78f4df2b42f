# The display half of the platform layer: windows, messages, monitors and DirectDraw on X11 or without a display.
find_package(PkgConfig REQUIRED)
pkg_check_modules(XCB REQUIRED IMPORTED_TARGET xcb xcb-shm xcb-randr)
# Debian's libyuv comes without a pkg-config file.
find_path(LIBYUV_INCLUDE_DIR libyuv.h REQUIRED)
find_library(LIBYUV_LIBRARY yuv REQUIRED)

target_sources(platform PRIVATE
  posix/Device.cpp
  posix/DirectDrawErrors.cpp
  posix/Display.cpp
  posix/HeadlessDisplay.cpp
  posix/MonitorTable.cpp
  posix/PixelImage.cpp
  posix/PrimarySurface.cpp
  posix/NonTemporalCopy.cpp
  posix/Stretch.cpp
  posix/StretchGeometry.cpp
  posix/Surface.cpp
  posix/SurfaceDescription.cpp
  posix/SurfaceMemory.cpp
  posix/X11Connection.cpp
  posix/X11Display.cpp
  posix/X11Monitors.cpp
  posix/X11Screen.cpp
  posix/X11SharedMemory.cpp)
target_include_directories(platform SYSTEM PRIVATE ${LIBYUV_INCLUDE_DIR})
target_link_libraries(platform PUBLIC PkgConfig::XCB ${LIBYUV_LIBRARY})
