#include "tests/support/ScriptedMp4.h"

namespace scripted_mp4 {

Script& TheScript() {
  static Script script;
  return script;
}

namespace {

constexpr uint32_t kCheckValue = 77;

template <typename Info>
QP_Handle Open(bool unpacking, Info* info) {
  Script& script = TheScript();
  if (!script.bOpens || script.bUnpacking != unpacking) return nullptr;
  script.videoCode.copy(info->szVideoCode, sizeof info->szVideoCode);
  script.audioCode.copy(info->szAudioCode, sizeof info->szAudioCode);
  info->nWidth = 640;
  info->nHeight = 480;
  info->dFrameRate = script.dFrameRate;
  info->nVideoFrames = static_cast<uint32_t>(script.video.size());
  info->nAudioFrames = static_cast<uint32_t>(script.audio.size());
  ++script.nOpen;
  return &script;
}

int32_t Read(bool unpacking, QP_FrameRequest* request) {
  static uint8_t bytes[16];
  Script& script = TheScript();
  ++script.nReads;
  const std::vector<Frame>& track = request->nTrack == QP_TRACK_VIDEO ? script.video : script.audio;
  if (script.bUnpacking != unpacking || request->nFrame - 1 >= track.size()) return 0;
  const Frame& frame = track[request->nFrame - 1];
  bytes[0] = static_cast<uint8_t>(request->nTrack);
  bytes[1] = static_cast<uint8_t>(request->nFrame);
  request->pData = bytes;
  request->dwSize = frame.nSize;
  request->llTimeStamp = frame.llTime;
  request->bKeyFrame = frame.bKeyFrame ? 4 : 0;
  return frame.bReadable ? 1 : 0;
}

int32_t LookUp(bool unpacking, uint32_t* key, uint32_t* next) {
  const Script& script = TheScript();
  *key = script.nKeyFrame;
  *next = script.nContinueFrame;
  return script.bUnpacking == unpacking ? script.nLookUp : 0;
}

int32_t Audio(bool unpacking, QP_AudioInfo* info) {
  if (TheScript().bUnpacking == unpacking) *info = TheScript().audioInfo;
  return 1;
}

void Close(bool unpacking) {
  if (TheScript().bUnpacking == unpacking) --TheScript().nOpen;
}

}  // namespace

}  // namespace scripted_mp4

using namespace scripted_mp4;

int32_t QP_CheckFile(const char*, QP_CheckResult* result) {
  *result = {.nMode = TheScript().bUnpacking ? 5u : 0u, .nValue = kCheckValue};
  return TheScript().bUsable ? 1 : 0;
}

QP_Handle QP_OpenUnpkg(const char*, QP_UnpkgInfo* info, uint32_t) {
  return Open(true, info);
}

QP_Handle QP_OpenFile(const char*, uint32_t value, const char* indexName, QP_FileInfo* info, uint32_t) {
  TheScript().indexName = indexName;
  info->bAudio = TheScript().audioCode.empty() ? 0 : 1;
  return value == kCheckValue ? Open(false, info) : nullptr;
}

// clang-format off
int32_t QP_UpkGetAudioInfo(QP_Handle, QP_AudioInfo* info) { return Audio(true, info); }
int32_t QP_QdxGetAudioInfo(QP_Handle, QP_AudioInfo* info) { return Audio(false, info); }
int32_t QP_UnpkgOneFrame(QP_Handle, QP_FrameRequest* request) { return Read(true, request); }
int32_t QP_ReadFile(QP_Handle, QP_FrameRequest* request) { return Read(false, request); }
int32_t QP_UpkVIdrFrameNo(QP_Handle, uint32_t, uint32_t* key, uint32_t* next) { return LookUp(true, key, next); }
int32_t QP_ReadVIdrFrameNo(QP_Handle, uint32_t, uint32_t* key, uint32_t* next) { return LookUp(false, key, next); }
void QP_CloseUnpkg(QP_Handle) { Close(true); }
void QP_CloseFile(QP_Handle) { Close(false); }
// clang-format on
