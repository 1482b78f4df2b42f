#include "tools/qxplay/Tile.h"

#include <chrono>
#include <utility>

#include "tools/qxplay/Outline.h"

namespace {

constexpr uint32_t kSubWindowEdge = 0xC0C0C0, kMarker = 0xFFD000;

std::atomic<Tile*> g_Tiles[QXSP_MAX_PLAYERS];
Tile::PictureSink g_Sink;

}  // namespace

void Tile::InstallCallbacks(PictureSink sink) {
  g_Sink = std::move(sink);
  QXSP_SetCallBack(&Tile::OnPicture, &Tile::OnEvent, nullptr, &Tile::OnPresented);
}

Tile::Tile(Setup setup) : m_Setup(std::move(setup)), m_nPlayerID(QXSP_CreatePlayer()), m_View(PlayerID()) {
  if (!Exists()) return;
  g_Tiles[m_nPlayerID] = this;
  QXSP_SetPlayerName(PlayerID(), Name().c_str());
  QXSP_SetFrameControlMode(PlayerID(), m_Setup.mode);
  ShowTexts();
}

Tile::~Tile() {
  if (!Exists()) return;
  // Waits for the play thread; only then may its callbacks lose this object. The identifier is not handed out
  // again before the next QXSP_CreatePlayer, which this program does not call any more.
  QXSP_ReleasePlayer(PlayerID());
  g_Tiles[m_nPlayerID] = nullptr;
}

void Tile::OnOpening() {
  m_View.OnOpening();
  m_bHasPicture = m_bRedraw = false;
  const MutexLock lock(m_Mutex);
  m_bOpen = false;
}

void Tile::OnOpened(int width, int height) {
  m_View.OnOpened(width, height);
  if (m_bHasPicture && !m_bCounted) Redraw();  // it was decoded before its window was there
  const MutexLock lock(m_Mutex);
  m_bOpen = true;
  if (m_bSound) QXSP_SetAudioPreview(PlayerID(), nullptr, 1);
  if (m_bProcessing) QXSP_SetImageProc(PlayerID(), 1, 0);
}

void Tile::SetSound(bool on) {
  const MutexLock lock(m_Mutex);
  if (on == m_bSound) return;
  m_bSound = on;
  if (m_bOpen) QXSP_SetAudioPreview(PlayerID(), nullptr, on ? 1 : 0);
}

bool Tile::SetProcessing(bool on) {
  const MutexLock lock(m_Mutex);
  if (QXSP_SetImageProc(PlayerID(), on ? 1 : 0, 0) == 0) return false;
  m_bProcessing = on;
  return true;
}

bool Tile::IsProcessing() const {
  const MutexLock lock(m_Mutex);
  return m_bProcessing;
}

void Tile::SetStatistics(bool on) {
  m_bStatistics = on;
  QXSP_EnableDebugOSD(PlayerID(), on ? 1 : 0);
  if (!on) ShowTexts();
}

// White lines in the top left corner.
void Tile::ShowTexts() {
  constexpr int32_t kMargin = 10, kLineHeight = 20;
  std::vector<QXSP_OSD_ITEM> items;
  for (const std::string& text : m_Setup.texts) {
    QXSP_OSD_ITEM item{};
    item.pszText = text.c_str();
    item.nX = kMargin;
    item.nY = kMargin + kLineHeight * static_cast<int32_t>(items.size());
    item.nRed = item.nGreen = item.nBlue = 255;
    items.push_back(item);
  }
  QXSP_SetOSD(PlayerID(), items.data(), static_cast<uint32_t>(items.size()));
}

void Tile::Redraw() {
  if (!m_bHasPicture) return;
  m_bRedraw = true;
  QXSP_RefreshWindow(PlayerID());
}

void Tile::OnPicture(uint32_t nPlayerID, const uint8_t*, const uint8_t*, const uint8_t*, uint32_t, uint32_t) {
  Tile* tile = g_Tiles[nPlayerID];
  if (!tile) return;
  if (tile->m_bRedraw.exchange(false)) return;
  if (tile->m_bHasPicture && !tile->m_bCounted) tile->m_Stats.OnUnseen();  // the one before
  tile->m_bCounted = false;
  tile->m_bHasPicture = true;
  TileListener* listener = tile->m_pListener;
  if (listener) listener->OnNewPicture();
}

void Tile::OnPresented(uint32_t nPlayerID, void* window, void*, void* surface, QXSP_RECT* target,
                       QXSP_RECT*) {
  Tile* tile = g_Tiles[nPlayerID];
  if (tile) tile->OnShown(window, surface, *target);
}

// The main window comes first, the sub window over it.
void Tile::OnShown(void* window, void* surface, const QXSP_RECT& target) {
  const TileView::Places places = m_View.GetPlaces();
  if (window != places.sub) {
    if (!m_bCounted) m_Stats.OnPresented(std::chrono::steady_clock::now());
    m_bCounted = true;
    if (g_Sink && !places.sub) g_Sink(surface, target, places.picture);
    return;
  }
  DrawOutline(surface, {target.left, target.top, target.right, target.bottom}, kSubWindowEdge);
  if (places.marker) {
    const Area& marker = *places.marker;
    DrawOutline(surface,
                {.left = target.left + marker.left,
                 .top = target.top + marker.top,
                 .right = target.left + marker.right,
                 .bottom = target.top + marker.bottom},
                kMarker);
  }
  if (g_Sink) g_Sink(surface, target, places.subPicture);
}

void Tile::OnEvent(uint32_t nPlayerID, uint32_t dwEvent) {
  Tile* tile = g_Tiles[nPlayerID];
  TileListener* listener = tile ? tile->m_pListener.load() : nullptr;
  if (listener && dwEvent == QXSP_EVENT_END_OF_FILE) listener->OnEndOfFile();
}
