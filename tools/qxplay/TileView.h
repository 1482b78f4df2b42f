// Where one player's pictures show and which part of them: its place in the window, zoom, crop, and the sub
// window with the whole picture.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "tools/common/Mutex.h"
#include "tools/qxplay/SubWindow.h"
#include "tools/qxplay/ZoomView.h"

// On a player of the library that outlives it.
class TileView {
 public:
  static constexpr int kCrop = 16;  // columns at the right; half as many rows at the bottom

  explicit TileView(uint32_t nPlayerID) : m_nPlayerID(nPlayerID) {}

  // Any thread, around the opening of a source: the player forgets its window and its zoom, and gets them
  // back. width, height: of the pictures; 0 asks the player, which may be at its first one and be done before
  // it is seen.
  void OnOpening() EXCLUDES(m_Mutex);
  void OnOpened(int width, int height) EXCLUDES(m_Mutex);

  // Main thread.
  // Puts the picture, in its own shape, into the middle of a cell of the window. Without a cell it is not
  // shown.
  void Place(void* window, const std::optional<Area>& cell) EXCLUDES(m_Mutex);
  // Places the sub window when a source that was opened since has pictures of another shape.
  void FollowSource() EXCLUDES(m_Mutex);
  // Around a point of the desktop, or the middle. These answer whether anything changed.
  bool Zoom(double factor, const std::optional<Point>& at) EXCLUDES(m_Mutex);
  bool Pull(const Point& by) EXCLUDES(m_Mutex);  // pixels of the desktop
  void ShowWhole() EXCLUDES(m_Mutex);
  // False when the picture is too small to lose that much.
  bool SetCrop(bool on) EXCLUDES(m_Mutex);
  bool IsCropped() const EXCLUDES(m_Mutex);
  // Null for none.
  void SetSubWindow(std::unique_ptr<SubWindow> window) EXCLUDES(m_Mutex);
  const SubWindow* GetSubWindow() const { return m_pSubWindow.get(); }

  // Any thread.
  struct Places {
    Area picture;     // desktop coordinates; empty while no source was opened, or when it is not shown
    Area part;        // of the picture, its pixels
    Area visible;     // what the crop leaves of it
    Area subPicture;  // desktop coordinates; empty without a sub window
    void* sub = nullptr;
    std::optional<Area>
        marker;  // what the main window shows, in the sub window's pixels; none when all is shown
  };
  Places GetPlaces() const EXCLUDES(m_PlacesMutex);

 private:
  bool IsShown() const REQUIRES(m_Mutex) { return m_bOpen && m_pWindow && m_Cell; }
  int Crop() const REQUIRES(m_Mutex);
  Area Visible() const REQUIRES(m_Mutex);
  void Show() REQUIRES(m_Mutex);
  void ShowPart() REQUIRES(m_Mutex);
  void PlaceSubWindow() EXCLUDES(m_Mutex);
  void UpdatePlaces() REQUIRES(m_Mutex);

  const uint32_t m_nPlayerID;
  std::unique_ptr<SubWindow> m_pSubWindow;  // main thread
  mutable Mutex m_Mutex;                    // held over calls that place the picture
  bool m_bOpen GUARDED_BY(m_Mutex) = false;
  bool m_bPlaceSub GUARDED_BY(m_Mutex) = false;  // a source was opened
  int m_nWidth GUARDED_BY(m_Mutex) = 0;          // of the source's pictures, pixels
  int m_nHeight GUARDED_BY(m_Mutex) = 0;
  bool m_bCrop GUARDED_BY(m_Mutex) = false;
  ZoomView m_Zoom GUARDED_BY(m_Mutex);  // of what the crop leaves
  void* m_pWindow GUARDED_BY(m_Mutex) = nullptr;
  std::optional<Area> m_Cell GUARDED_BY(m_Mutex);
  void* m_pSub GUARDED_BY(m_Mutex) = nullptr;  // as the player knows it
  mutable Mutex m_PlacesMutex;                 // the play thread takes this one only
  Places m_Places GUARDED_BY(m_PlacesMutex);
};
