#include "tools/qxplay/PictureControl.h"

#include <cmath>
#include <utility>

#include "include/qxsdkp.h"

PictureControl::PictureControl(Host& host, Console& console, const Tiles& tiles, const GridView& grid,
                               std::string snapshotDir, std::function<void(size_t tile)> redraw)
    : m_Host(host),
      m_Console(console),
      m_Tiles(tiles),
      m_Grid(grid),
      m_Redraw(std::move(redraw)),
      m_Snapshots(std::move(snapshotDir), console) {}

bool PictureControl::Do(const Command& command) {
  using Kind = Command::Kind;
  switch (command.kind) {
    case Kind::kZoomIn:
      Zoom(kStep);
      return true;
    case Kind::kZoomOut:
      Zoom(1 / kStep);
      return true;
    case Kind::kWhole:
      for (const size_t tile : Meant()) {
        m_Tiles[tile]->View().ShowWhole();
        m_Redraw(tile);
      }
      return true;
    case Kind::kSubWindow:
      SwitchSubWindows(Meant());
      return true;
    case Kind::kCrop:
      SwitchCrop(Meant());
      return true;
    case Kind::kStatistics:
      SwitchStatistics(Meant());
      return true;
    case Kind::kProcessing:
      SwitchProcessing(Meant());
      return true;
    case Kind::kSnapshot:
      TakeSnapshots(Meant());
      return true;
    default:
      return false;
  }
}

void PictureControl::Do(const Gesture& gesture) {
  const auto tile = TileAt(gesture.at);
  if (!tile) return;
  TileView& view = m_Tiles[*tile]->View();
  const bool wheel = gesture.kind == Gesture::Kind::kWheel, drag = gesture.kind == Gesture::Kind::kDrag;
  const bool changed =
      (wheel && view.Zoom(std::pow(kStep, gesture.steps), gesture.at)) || (drag && view.Pull(gesture.by));
  if (changed) m_Redraw(*tile);
}

std::vector<size_t> PictureControl::Meant() const {
  if (m_Grid.Selected()) return {*m_Grid.Selected()};
  std::vector<size_t> all(m_Tiles.size());
  for (size_t i = 0; i < all.size(); ++i)
    all[i] = i;
  return all;
}

std::optional<size_t> PictureControl::TileAt(const Point& point) const {
  return m_Grid.TileAt(point, m_Host.DesktopArea());
}

// At the mouse, or without one in the middle.
void PictureControl::Zoom(double factor) {
  const std::optional<Point> pointer = m_Host.Pointer();
  const auto pointed = pointer ? TileAt(*pointer) : std::nullopt;
  for (const size_t tile : pointed ? std::vector{*pointed} : Meant()) {
    if (m_Tiles[tile]->View().Zoom(factor, pointed ? pointer : std::nullopt)) m_Redraw(tile);
  }
}

// What is switched takes the state that the shown tile does not have: all come to the same.
void PictureControl::SwitchSubWindows(const std::vector<size_t>& meant) {
  const bool on = m_Tiles[m_Grid.Shown()]->View().GetSubWindow() == nullptr;
  for (const size_t tile : meant) {
    TileView& view = m_Tiles[tile]->View();
    if (on == (view.GetSubWindow() != nullptr)) continue;
    view.SetSubWindow(on ? m_Host.MakeSubWindow() : nullptr);
    m_Redraw(tile);
  }
}

void PictureControl::SwitchCrop(const std::vector<size_t>& meant) {
  const bool on = !m_Tiles[m_Grid.Shown()]->View().IsCropped();
  for (const size_t tile : meant) {
    if (!m_Tiles[tile]->View().SetCrop(on))
      m_Console.Complain(m_Tiles[tile]->Name() + ": its pictures are too small to be cropped");
    m_Redraw(tile);
  }
}

void PictureControl::SwitchStatistics(const std::vector<size_t>& meant) {
  const bool on = !m_Tiles[m_Grid.Shown()]->HasStatistics();
  bool live = false;
  for (const size_t tile : meant) {
    live |= m_Tiles[tile]->IsLive();
    if (m_Tiles[tile]->IsLive()) m_Tiles[tile]->SetStatistics(on);
  }
  if (!live) m_Console.Complain("statistics are of live streams; --live plays recordings as such");
}

void PictureControl::SwitchProcessing(const std::vector<size_t>& meant) {
  const bool on = !m_Tiles[m_Grid.Shown()]->IsProcessing();
  for (const size_t tile : meant) {
    if (!m_Tiles[tile]->SetProcessing(on)) {
      m_Console.Complain("picture processing: the library for it (QImageP) is missing");
      return;
    }
    m_Redraw(tile);
  }
  m_Console.Say(on ? "picture processing: on" : "picture processing: off");
}

void PictureControl::TakeSnapshots(const std::vector<size_t>& meant) {
  for (const size_t tile : meant)
    m_Snapshots.Take(m_Tiles[tile]->PlayerID(), m_Tiles[tile]->Name());
}
