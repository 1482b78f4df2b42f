#include "tools/qxplay/TileView.h"

#include <algorithm>

#include "include/qxsdkp.h"

namespace {

QXSP_RECT RectOf(const Area& area) {
  return {area.left, area.top, area.right, area.bottom};
}

}  // namespace

void TileView::OnOpening() {
  const MutexLock lock(m_Mutex);
  m_bOpen = false;
}

void TileView::OnOpened(int width, int height) {
  const MutexLock lock(m_Mutex);
  m_nWidth = width;
  m_nHeight = height;
  if (width <= 0 || height <= 0) QXSP_GetBitmapSize(m_nPlayerID, &m_nWidth, &m_nHeight);
  m_bOpen = true;
  m_bPlaceSub = true;
  Show();
}

void TileView::Place(void* window, const std::optional<Area>& cell) {
  {
    const MutexLock lock(m_Mutex);
    m_pWindow = window;
    m_Cell = cell;
    Show();
  }
  PlaceSubWindow();
}

void TileView::FollowSource() {
  {
    const MutexLock lock(m_Mutex);
    if (!m_bPlaceSub) return;
  }
  PlaceSubWindow();
}

int TileView::Crop() const {
  return m_bCrop && m_nWidth > kCrop && m_nHeight > kCrop / 2 ? kCrop : 0;
}

// What the crop leaves of the picture, in its pixels.
Area TileView::Visible() const {
  return {.right = std::max(m_nWidth - Crop(), 0), .bottom = std::max(m_nHeight - Crop() / 2, 0)};
}

void TileView::Show() {
  if (!IsShown()) {
    if (m_bOpen) QXSP_SetVideoPreview(m_nPlayerID, nullptr, nullptr, 0);
    UpdatePlaces();
    return;
  }
  const Area visible = Visible();
  m_Zoom.SetPicture(visible.Width(), visible.Height());
  UpdatePlaces();
  ShowPart();
  const QXSP_RECT rect = RectOf(GetPlaces().picture);
  QXSP_SetVideoPreview(m_nPlayerID, m_pWindow, &rect, 1);
}

// The crop comes off the right and the bottom of what is shown: the part gets as much more, so that it never
// holds what the crop takes off the picture, nor loses anything else.
void TileView::ShowPart() {
  if (!m_bOpen) return;
  QXSP_SetVideoCrop(m_nPlayerID, static_cast<uint32_t>(Crop()));
  if (m_Zoom.IsWhole()) {
    QXSP_ZoomIn(m_nPlayerID, 0, 0, 0);
    return;
  }
  QXSP_RECT part = RectOf(m_Zoom.Part());
  part.right += Crop();
  part.bottom += Crop() / 2;
  QXSP_ZoomViewEx(m_nPlayerID, QXSP_WINDOW_MAIN, &part);
}

void TileView::UpdatePlaces() {
  Places places;
  const Area visible = places.visible = Visible();
  places.part = m_Zoom.Part();
  if (IsShown()) places.picture = FitInside(*m_Cell, visible.Width(), visible.Height());
  if (IsShown() && m_pSub) {
    places.sub = m_pSub;
    places.subPicture = CornerOf(places.picture);
    if (!m_Zoom.IsWhole())
      places.marker = ScaleTo(places.subPicture, places.part, visible.Width(), visible.Height());
  }
  const MutexLock lock(m_PlacesMutex);
  m_Places = places;
}

void TileView::SetSubWindow(std::unique_ptr<SubWindow> window) {
  {
    const MutexLock lock(m_Mutex);
    m_pSub = window ? window->Handle() : nullptr;
    UpdatePlaces();
  }
  if (!window) QXSP_SetVideoSubPreview(m_nPlayerID, nullptr, nullptr, 0);  // before it is gone
  m_pSubWindow = std::move(window);
  PlaceSubWindow();
}

void TileView::PlaceSubWindow() {
  const MutexLock lock(m_Mutex);
  m_bPlaceSub = false;
  if (!m_pSubWindow) return;
  const Area area = GetPlaces().subPicture;
  const bool shown = area.Width() > 0 && area.Height() > 0;
  const QXSP_RECT rect = RectOf(area);
  m_pSubWindow->Place(area);
  QXSP_SetVideoSubPreview(m_nPlayerID, m_pSubWindow->Handle(), &rect, shown ? 1 : 0);
}

bool TileView::Zoom(double factor, const std::optional<Point>& at) {
  const Area picture = GetPlaces().picture;
  const MutexLock lock(m_Mutex);
  if (!IsShown() || picture.Width() <= 0 || picture.Height() <= 0) return false;
  double x = 0.5, y = 0.5;
  if (at) {
    x = std::clamp(static_cast<double>(at->x - picture.left) / picture.Width(), 0.0, 1.0);
    y = std::clamp(static_cast<double>(at->y - picture.top) / picture.Height(), 0.0, 1.0);
  }
  if (!m_Zoom.Zoom(factor, x, y)) return false;
  UpdatePlaces();
  ShowPart();
  return true;
}

bool TileView::Pull(const Point& by) {
  const Area picture = GetPlaces().picture;
  const MutexLock lock(m_Mutex);
  if (!IsShown() || picture.Width() <= 0 || picture.Height() <= 0) return false;
  if (!m_Zoom.Pull(static_cast<double>(by.x) / picture.Width(), static_cast<double>(by.y) / picture.Height()))
    return false;
  UpdatePlaces();
  ShowPart();
  return true;
}

void TileView::ShowWhole() {
  const MutexLock lock(m_Mutex);
  m_Zoom.ShowWhole();
  UpdatePlaces();
  ShowPart();
}

bool TileView::SetCrop(bool on) {
  {
    const MutexLock lock(m_Mutex);
    m_bCrop = on;
    if (on && m_bOpen && Crop() == 0) m_bCrop = false;
    if (m_bCrop != on) return false;
    Show();
  }
  PlaceSubWindow();
  return true;
}

bool TileView::IsCropped() const {
  const MutexLock lock(m_Mutex);
  return m_bCrop;
}

TileView::Places TileView::GetPlaces() const {
  const MutexLock lock(m_PlacesMutex);
  return m_Places;
}
