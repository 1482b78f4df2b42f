// The exported functions: each checks its identifier, forwards to the player and converts the result.
#include <memory>
#include <string>

#include "api/Notification.h"
#include "api/PlayerTable.h"
#include "file/MediaFile.h"
#include "include/qxsdkp.h"
#include "player/Startup.h"
#include "src/kitc/Log.h"
#include "video/Screens.h"

namespace {

// Runs call() and keeps every exception (memory exhausted) inside the library; `failure` is the answer then.
template <typename Result, typename Call>
Result Guarded(Result failure, Call&& call) noexcept {
  try {
    return static_cast<Result>(call());
  } catch (...) {
    return failure;
  }
}

template <typename Call>
void Guarded(Call&& call) noexcept {
  (void)Guarded(0, [&call] {
    call();
    return 0;
  });
}

// The frame of every export that takes a player: 0 for an identifier that is not in use, else what
// call(player) answers.
template <typename Call>
int32_t WithPlayer(uint32_t nPlayerID, Call&& call) noexcept {
  Player* player = player_table::Find(nPlayerID);
  if (player == nullptr) return 0;
  return Guarded(0, [player, &call] { return call(*player); });
}

// The same for what cannot fail on the player's pictures: 1 when it was done.
template <typename Call>
int32_t WithVideo(uint32_t nPlayerID, Call&& call) noexcept {
  return WithPlayer(nPlayerID, [&call](Player& player) {
    call(player.Video());
    return 1;
  });
}

// The same for what only asks the open file: 0 also when none is open.
template <typename Call>
int32_t WithFile(uint32_t nPlayerID, Call&& call) noexcept {
  return WithPlayer(nPlayerID, [&call](Player& player) {
    const std::shared_ptr<MediaFileStream> file = player.File();
    return file != nullptr ? static_cast<int32_t>(call(*file)) : 0;
  });
}

const RECT* ToRect(const QXSP_RECT* rect) {
  return reinterpret_cast<const RECT*>(rect);
}

}  // namespace

extern "C" {

// Start and stop

int32_t QXSP_CALL QXSP_InitSDK(void) {
  return Guarded(0, [] { return startup::InitSDK(player_table::All()); });
}

void QXSP_CALL QXSP_ReleaseSDK(void) {
  Guarded([] {
    // Players first: one that still plays must not meet released devices and codec libraries.
    player_table::ResetAll();
    startup::ReleaseSDK();
  });
}

void QXSP_CALL QXSP_ConfigLog(int32_t nFileLevel, const char* pszDirectory, int32_t nStdOutLevel) {
  kitc_log_config(nFileLevel, pszDirectory, nStdOutLevel);
  for (Player& player : player_table::All())
    player.LogConfigured();
}

// Players

int32_t QXSP_CALL QXSP_CreatePlayer(void) {
  return Guarded(-1, [] { return player_table::Create(); });
}

int32_t QXSP_CALL QXSP_ReleasePlayer(uint32_t nPlayerID) {
  return Guarded(0, [nPlayerID] { return player_table::Release(nPlayerID); });
}

void QXSP_CALL QXSP_SetPlayerName(uint32_t nPlayerID, const char* pszName) {
  Guarded([nPlayerID, pszName] { player_table::SetName(nPlayerID, pszName != nullptr ? pszName : ""); });
}

void QXSP_CALL QXSP_SetUserData(uint32_t nPlayerID, uint32_t dwUserData) {
  WithPlayer(nPlayerID, [dwUserData](Player& player) {
    player.SetUserData(dwUserData);
    return 1;
  });
}

uint32_t QXSP_CALL QXSP_GetUserData(uint32_t nPlayerID) {
  return static_cast<uint32_t>(WithPlayer(nPlayerID, [](Player& player) { return player.GetUserData(); }));
}

// Events and callbacks

void QXSP_CALL QXSP_RegisterNotify(void* pWindow, uint32_t dwMessage) {
  notification::RegisterNotify(static_cast<HWND>(pWindow), dwMessage);
}

void QXSP_CALL QXSP_SetCallBack(QXSP_YUV_DATA_CALLBACK pfnYUVData, QXSP_NOTIFY_CALLBACK pfnNotify,
                                QXSP_DRAW_CALLBACK pfnBeforeBlt, QXSP_DRAW_CALLBACK pfnAfterBlt) {
  notification::SetCallBack(pfnYUVData, pfnNotify, reinterpret_cast<DrawCallBack>(pfnBeforeBlt),
                            reinterpret_cast<DrawCallBack>(pfnAfterBlt));
}

// Live streams

int32_t QXSP_CALL QXSP_OpenStream(uint32_t nPlayerID, const void* pHeader, uint32_t dwSize) {
  return WithPlayer(nPlayerID, [=](Player& player) { return player.CreateStream(pHeader, dwSize); });
}

int32_t QXSP_CALL QXSP_CloseStream(uint32_t nPlayerID) {
  return WithPlayer(nPlayerID, [](Player& player) {
    player.ReleaseStream();
    return 1;
  });
}

int32_t QXSP_CALL QXSP_GetHeaderData(uint32_t nPlayerID, void* pBuffer, uint32_t dwSize) {
  return WithPlayer(nPlayerID, [=](Player& player) { return player.GetHeaderData(pBuffer, dwSize); });
}

int32_t QXSP_CALL QXSP_WriteToStreamOneFrame(uint32_t nPlayerID, const void* pFrame, uint32_t dwSize) {
  return QXSP_WriteToStreamOneFrame2(nPlayerID, pFrame, dwSize, UINT32_MAX, UINT32_MAX);
}

int32_t QXSP_CALL QXSP_WriteToStreamOneFrame2(uint32_t nPlayerID, const void* pFrame, uint32_t dwSize,
                                              uint32_t dwTimeStampLow, uint32_t dwTimeStampHigh) {
  const auto timestamp = static_cast<int64_t>(static_cast<uint64_t>(dwTimeStampHigh) << 32 | dwTimeStampLow);
  return WithPlayer(nPlayerID, [=](Player& player) {
    return player.WriteFrame(static_cast<const uint8_t*>(pFrame), dwSize, timestamp);
  });
}

int32_t QXSP_CALL QXSP_HasImage(uint32_t nPlayerID) {
  return WithPlayer(nPlayerID, [](Player& player) { return player.HasImage(); });
}

int32_t QXSP_CALL QXSP_SetDefaultFrameControlMode(uint32_t dwMode) {
  return Guarded(0, [dwMode] { return FrameControl::SetDefaultFrameControlMode(dwMode); });
}

int32_t QXSP_CALL QXSP_SetFrameControlMode(uint32_t nPlayerID, uint32_t dwMode) {
  return WithPlayer(nPlayerID, [dwMode](Player& player) { return player.SetFrameControlMode(dwMode); });
}

int32_t QXSP_CALL QXSP_EnablePreDecode(uint32_t /*nPlayerID*/, int32_t /*bEnable*/) {
  return 0;
}

// Playback

int32_t QXSP_CALL QXSP_Play(uint32_t nPlayerID) {
  return WithPlayer(nPlayerID, [](Player& player) {
    player.Play();
    return 1;
  });
}

void QXSP_CALL QXSP_Pause(uint32_t nPlayerID) {
  WithPlayer(nPlayerID, [](Player& player) {
    player.Pause();
    return 1;
  });
}

int32_t QXSP_CALL QXSP_Stop(uint32_t nPlayerID) {
  return WithPlayer(nPlayerID, [](Player& player) { return player.Stop(); });
}

int32_t QXSP_CALL QXSP_SetPlaySpeed(uint32_t nPlayerID, int32_t nSpeed, int32_t bKeyFramesOnly) {
  return WithPlayer(nPlayerID,
                    [=](Player& player) { return player.SetPlaySpeed(nSpeed, bKeyFramesOnly != 0); });
}

void QXSP_CALL QXSP_StepForward(uint32_t nPlayerID) {
  WithPlayer(nPlayerID, [](Player& player) {
    player.StepForward();
    return 1;
  });
}

// Recorded files

int32_t QXSP_CALL QXSP_OpenFile(uint32_t nPlayerID, const char* pszFileName) {
  return WithPlayer(nPlayerID, [=](Player& player) { return player.OpenFile(pszFileName); });
}

uint32_t QXSP_CALL QXSP_GetTotalFrames(uint32_t nPlayerID) {
  return WithFile(nPlayerID, [](const MediaFileStream& file) { return file.Info().nTotalFrames; });
}

uint32_t QXSP_CALL QXSP_GetCurFrameNum(uint32_t nPlayerID) {
  return WithFile(nPlayerID, [](const MediaFileStream& file) { return file.GetCurFrameNum(); });
}

int32_t QXSP_CALL QXSP_GetKeyFramePos(uint32_t nPlayerID, uint32_t* pdwPosition, uint32_t* pdwFrameNum) {
  if (pdwPosition == nullptr || pdwFrameNum == nullptr) return 0;
  return WithFile(nPlayerID, [=](const MediaFileStream& file) {
    return file.GetKeyFramePos(*pdwPosition, *pdwFrameNum);
  });
}

int32_t QXSP_CALL QXSP_GotoKeyFrame(uint32_t nPlayerID, uint32_t dwTarget, int32_t bPause) {
  return WithPlayer(nPlayerID, [=](Player& player) { return player.GotoKeyFrame(dwTarget, bPause != 0); });
}

// Windows

int32_t QXSP_CALL QXSP_SetVideoPreview(uint32_t nPlayerID, void* pWindow, const QXSP_RECT* pRect,
                                       int32_t bEnable) {
  return WithVideo(nPlayerID, [=](VideoPath& video) {
    video.SetMainPreview(static_cast<HWND>(pWindow), ToRect(pRect), bEnable != 0);
  });
}

int32_t QXSP_CALL QXSP_SetVideoSubPreview(uint32_t nPlayerID, void* pWindow, const QXSP_RECT* pRect,
                                          int32_t bEnable) {
  return WithVideo(nPlayerID, [=](VideoPath& video) {
    video.SetSubPreview(static_cast<HWND>(pWindow), ToRect(pRect), bEnable != 0);
  });
}

void QXSP_CALL QXSP_GetScreenInfo(QXSP_SCREEN_RECT* pScreens, int32_t* pnCount) {
  Guarded([=] { GetScreenInfo(reinterpret_cast<ScreenRect*>(pScreens), pnCount); });
}

int32_t QXSP_CALL QXSP_RefreshWindow(uint32_t nPlayerID) {
  return WithPlayer(nPlayerID, [](Player& player) {
    player.RefreshWindow();
    return 1;
  });
}

// Zoom

int32_t QXSP_CALL QXSP_ZoomIn(uint32_t nPlayerID, int32_t bZoomIn, int32_t nX, int32_t nY) {
  return WithVideo(nPlayerID, [=](VideoPath& video) {
    if (bZoomIn != 0) {
      video.ZoomIn(nX, nY);
    } else {
      video.ZoomOff();
    }
  });
}

int32_t QXSP_CALL QXSP_ZoomView(uint32_t nPlayerID, const QXSP_RECT* pRect) {
  return WithVideo(nPlayerID, [=](VideoPath& video) {
    video.SetSourceRect(VideoPath::kMainWindow, ToRect(pRect));
    video.SetSourceRect(VideoPath::kSubWindow, ToRect(pRect));
  });
}

int32_t QXSP_CALL QXSP_ZoomViewEx(uint32_t nPlayerID, uint32_t dwWindow, const QXSP_RECT* pRect) {
  return WithVideo(nPlayerID, [=](VideoPath& video) {
    if (dwWindow == QXSP_WINDOW_MAIN) video.SetSourceRect(VideoPath::kMainWindow, ToRect(pRect));
    if (dwWindow == QXSP_WINDOW_SUB) video.SetSourceRect(VideoPath::kSubWindow, ToRect(pRect));
  });
}

void QXSP_CALL QXSP_SetVideoCrop(uint32_t nPlayerID, uint32_t dwCrop) {
  WithVideo(nPlayerID, [=](VideoPath& video) { video.SetCrop(dwCrop); });
}

void QXSP_CALL QXSP_SetImageRect(uint32_t nPlayerID, const QXSP_RECT* pRect) {
  WithVideo(nPlayerID, [=](VideoPath& video) { video.SetImageRect(ToRect(pRect)); });
}

// Text overlay

int32_t QXSP_CALL QXSP_SetOSD(uint32_t nPlayerID, const QXSP_OSD_ITEM* pItems, uint32_t dwCount) {
  return WithPlayer(nPlayerID, [=](Player& player) {
    return player.Video().SetOSD(reinterpret_cast<const OsdItem*>(pItems), dwCount);
  });
}

int32_t QXSP_CALL QXSP_EnableDebugOSD(uint32_t nPlayerID, int32_t bEnable) {
  return WithPlayer(nPlayerID, [=](Player& player) {
    player.EnableDebugOSD(bEnable != 0);
    return 1;
  });
}

// Snapshots and image processing

int32_t QXSP_CALL QXSP_GetBitmapSize(uint32_t nPlayerID, int32_t* pnWidth, int32_t* pnHeight) {
  if (pnWidth == nullptr || pnHeight == nullptr) return 0;
  return WithVideo(nPlayerID, [=](VideoPath& video) { video.GetPictureSize(*pnWidth, *pnHeight); });
}

int32_t QXSP_CALL QXSP_GetBitmap(uint32_t nPlayerID, void* pBuffer, uint32_t dwSize) {
  return WithPlayer(nPlayerID, [=](Player& player) {
    return player.Video().GetBitmap(static_cast<uint8_t*>(pBuffer), dwSize);
  });
}

int32_t QXSP_CALL QXSP_SetImageProc(uint32_t nPlayerID, int32_t bEnable, uint32_t /*dwReserved*/) {
  return WithPlayer(nPlayerID, [=](Player& player) { return player.Video().SetImageProc(bEnable != 0); });
}

// Sound

int32_t QXSP_CALL QXSP_SetAudioPreview(uint32_t nPlayerID, void* pWindow, int32_t bEnable) {
  return WithPlayer(nPlayerID, [=](Player& player) {
    return player.SetAudioPreview(static_cast<HWND>(pWindow), bEnable != 0);
  });
}

// Looking into files without a player

void* QXSP_CALL QXSP_MediaFileOpen(const char* pszFileName, QXSP_MEDIA_FILE_INFO* pInfo) {
  if (pInfo == nullptr) return nullptr;
  return Guarded<MediaFile*>(nullptr, [=] {
    return MediaFile::Open(pszFileName, *reinterpret_cast<MediaFile::Info*>(pInfo)).release();
  });
}

int32_t QXSP_CALL QXSP_MediaFileGetOneFrame(void* pFile, uint32_t dwFrameNum, void* pBuffer,
                                            uint32_t dwSize) {
  auto* const file = static_cast<MediaFile*>(pFile);
  if (file == nullptr) return -1;
  return Guarded(-1, [=] {
    return pBuffer == nullptr ? file->FindKeyFrame(dwFrameNum)
                              : file->GetOneFrame(dwFrameNum, static_cast<uint8_t*>(pBuffer), dwSize);
  });
}

void QXSP_CALL QXSP_MediaFileClose(void* pFile) {
  Guarded([=] { delete static_cast<MediaFile*>(pFile); });
}

}  // extern "C"
