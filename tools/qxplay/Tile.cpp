#include "tools/qxplay/Tile.h"

#include <chrono>
#include <utility>

namespace {

std::atomic<Tile*> g_Tiles[QXSP_MAX_PLAYERS];
Tile::PictureSink g_Sink;

}  // namespace

void Tile::InstallCallbacks(PictureSink sink) {
  g_Sink = std::move(sink);
  QXSP_SetCallBack(&Tile::OnPicture, &Tile::OnEvent, nullptr, &Tile::OnPresented);
}

Tile::Tile(std::string name, uint32_t mode) : m_nPlayerID(QXSP_CreatePlayer()), m_strName(std::move(name)) {
  if (!Exists()) return;
  g_Tiles[m_nPlayerID] = this;
  QXSP_SetPlayerName(PlayerID(), m_strName.c_str());
  QXSP_SetFrameControlMode(PlayerID(), mode);
}

Tile::~Tile() {
  if (!Exists()) return;
  // Waits for the play thread; only then may its callbacks lose this object. The identifier is not handed out
  // again before the next QXSP_CreatePlayer, which this program does not call any more.
  QXSP_ReleasePlayer(PlayerID());
  g_Tiles[m_nPlayerID] = nullptr;
}

void Tile::OnOpening() {
  m_Stats.ForgetRedraw();
  const MutexLock lock(m_Mutex);
  m_bOpen = false;
}

void Tile::OnOpened(int width, int height) {
  const MutexLock lock(m_Mutex);
  m_nWidth = width;
  m_nHeight = height;
  if (width <= 0 || height <= 0) QXSP_GetBitmapSize(PlayerID(), &m_nWidth, &m_nHeight);
  m_bOpen = true;
  ShowInPlace();
  if (m_bSound) QXSP_SetAudioPreview(PlayerID(), m_pWindow, 1);
}

void Tile::Place(void* window, const Area& cell) {
  const MutexLock lock(m_Mutex);
  m_pWindow = window;
  m_Cell = cell;
  ShowInPlace();
}

void Tile::ShowInPlace() {
  if (!m_bOpen || !m_pWindow) return;
  const Area picture = FitInside(m_Cell, m_nWidth, m_nHeight);
  {
    const MutexLock lock(m_PictureMutex);
    m_Picture = picture;
  }
  const QXSP_RECT rect = {picture.left, picture.top, picture.right, picture.bottom};
  QXSP_SetVideoPreview(PlayerID(), m_pWindow, &rect, 1);
}

void Tile::SetSound(bool on) {
  const MutexLock lock(m_Mutex);
  if (on == m_bSound) return;
  m_bSound = on;
  if (m_bOpen) QXSP_SetAudioPreview(PlayerID(), m_pWindow, on ? 1 : 0);
}

Area Tile::Picture() {
  const MutexLock lock(m_PictureMutex);
  return m_Picture;
}

void Tile::Redraw() {
  m_Stats.OnRedraw();
  QXSP_RefreshWindow(PlayerID());
}

void Tile::OnPicture(uint32_t nPlayerID, const uint8_t*, const uint8_t*, const uint8_t*, uint32_t, uint32_t) {
  Tile* tile = g_Tiles[nPlayerID];
  if (!tile) return;
  tile->m_bCounted = false;
  TileListener* listener = tile->m_pListener;
  if (listener && !tile->m_Stats.IsRedrawing()) listener->OnNewPicture();
}

void Tile::OnPresented(uint32_t nPlayerID, void*, void*, void* surface, QXSP_RECT* target, QXSP_RECT*) {
  Tile* tile = g_Tiles[nPlayerID];
  if (!tile) return;
  if (!tile->m_bCounted) tile->m_Stats.OnPresented(std::chrono::steady_clock::now());
  tile->m_bCounted = true;
  if (g_Sink) g_Sink(surface, *target, tile->Picture());
}

void Tile::OnEvent(uint32_t nPlayerID, uint32_t dwEvent) {
  Tile* tile = g_Tiles[nPlayerID];
  TileListener* listener = tile ? tile->m_pListener.load() : nullptr;
  if (listener && dwEvent == QXSP_EVENT_END_OF_FILE) listener->OnEndOfFile();
}
