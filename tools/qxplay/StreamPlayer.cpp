#include "tools/qxplay/StreamPlayer.h"

#include <atomic>
#include <chrono>
#include <cstring>

namespace {

std::atomic<StreamPlayer*> g_Players[QXSP_MAX_PLAYERS];
StreamPlayer::PictureSink g_Sink;

QXSP_FILE_HEADER HeaderOf(const StreamInfo& info) {
  QXSP_FILE_HEADER header{};
  std::memcpy(header.szMarker, "QFH", sizeof(header.szMarker));
  header.wVideoCodecID = info.codec == VideoCodec::kH264 ? QXSP_VIDEO_H264 : QXSP_VIDEO_H265;
  header.wVideoDataType = QXSP_DATA_VIDEO;
  header.wVideoWidth = static_cast<uint16_t>(info.width);
  header.wVideoHeight = static_cast<uint16_t>(info.height);
  header.wFrameRateNum = info.frameRate.num;
  header.wFrameRateDen = info.frameRate.den;
  return header;
}

}  // namespace

void StreamPlayer::InstallCallbacks(PictureSink sink) {
  g_Sink = std::move(sink);
  QXSP_SetCallBack(&StreamPlayer::OnPicture, nullptr, nullptr, &StreamPlayer::OnPresented);
}

StreamPlayer::StreamPlayer(const std::string& name, uint32_t mode) : m_nPlayerID(QXSP_CreatePlayer()) {
  if (!Exists()) return;
  g_Players[m_nPlayerID] = this;
  QXSP_SetPlayerName(m_nPlayerID, name.c_str());
  QXSP_SetFrameControlMode(m_nPlayerID, mode);
}

StreamPlayer::~StreamPlayer() {
  if (!Exists()) return;
  // Waits for the play thread; only then may its callbacks lose this object. The identifier is not handed out
  // again before the next QXSP_CreatePlayer, which this program does not call any more.
  QXSP_ReleasePlayer(m_nPlayerID);
  g_Players[m_nPlayerID] = nullptr;
}

bool StreamPlayer::Open(const StreamInfo& info) {
  const QXSP_FILE_HEADER header = HeaderOf(info);
  const MutexLock lock(m_Mutex);
  m_bOpen = QXSP_OpenStream(m_nPlayerID, &header, sizeof(header)) != 0;
  m_Info = info;
  ShowInPlace();
  return m_bOpen;
}

void StreamPlayer::Place(void* window, const Area& cell) {
  const MutexLock lock(m_Mutex);
  m_pWindow = window;
  m_Cell = cell;
  ShowInPlace();
}

void StreamPlayer::ShowInPlace() {
  if (!m_bOpen || !m_pWindow) return;
  const Area tile = FitInside(m_Cell, m_Info.width, m_Info.height);
  {
    const MutexLock lock(m_TileMutex);
    m_Tile = tile;
  }
  const QXSP_RECT rect = {tile.left, tile.top, tile.right, tile.bottom};
  QXSP_SetVideoPreview(m_nPlayerID, m_pWindow, &rect, 1);
}

Area StreamPlayer::Tile() {
  const MutexLock lock(m_TileMutex);
  return m_Tile;
}

void StreamPlayer::Push(const AccessUnit& unit) {
  m_Stats.OnPushing(std::chrono::steady_clock::now());
  const auto timestamp = static_cast<uint64_t>(unit.timestampMs);
  const int32_t result =
      QXSP_WriteToStreamOneFrame2(m_nPlayerID, unit.bytes.data(), static_cast<uint32_t>(unit.bytes.size()),
                                  static_cast<uint32_t>(timestamp), static_cast<uint32_t>(timestamp >> 32));
  if (result != QXSP_WRITE_QUEUED) m_Stats.OnRefused();
}

void StreamPlayer::Redraw() {
  m_Stats.OnRedraw();
  QXSP_RefreshWindow(m_nPlayerID);
}

void StreamPlayer::OnPicture(uint32_t nPlayerID, const uint8_t*, const uint8_t*, const uint8_t*, uint32_t,
                             uint32_t) {
  if (StreamPlayer* player = g_Players[nPlayerID]) player->m_bCounted = false;
}

void StreamPlayer::OnPresented(uint32_t nPlayerID, void*, void*, void* surface, QXSP_RECT* target,
                               QXSP_RECT*) {
  StreamPlayer* player = g_Players[nPlayerID];
  if (!player) return;
  if (!player->m_bCounted) player->m_Stats.OnPresented(std::chrono::steady_clock::now());
  player->m_bCounted = true;
  if (g_Sink) g_Sink(surface, *target, player->Tile());
}
