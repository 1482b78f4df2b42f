// QMP4PKG on libavformat.
#include "qmp4pkg.h"

#include <algorithm>
#include <cstring>
#include <exception>

#include "codecs/qmp4pkg/Mp4Parser.h"
#include "codecs/qmp4pkg/Mp4Reader.h"
#include "codecs/qmp4pkg/QdxIndex.h"

namespace {

// A caller builds the index file's name in a buffer of this size.
constexpr size_t kMaxIndexName = 259;
constexpr int64_t kBoxHeadBytes = 8;

// The interface is C: running out of memory is a failed call.
template <typename Result, typename Call>
Result Guarded(Result failed, Call&& call) {
  try {
    return call();
  } catch (const std::exception&) {
    return failed;
  }
}

void CopyCode(char (&target)[8], const std::string& code) {
  std::memset(target, 0, sizeof target);
  std::copy_n(code.begin(), std::min(code.size(), sizeof target - 1), target);
}

Mp4Reader& ReaderOf(QP_Handle handle) {
  return *static_cast<Mp4Reader*>(handle);
}

int32_t AudioInfo(QP_Handle handle, QP_AudioInfo* pInfo) {
  if (handle == nullptr || pInfo == nullptr) return 0;
  const FrameTable& table = ReaderOf(handle).Table();
  if (table.audio.empty()) return 0;
  pInfo->nChannels = static_cast<uint8_t>(std::min<uint32_t>(table.nChannels, UINT8_MAX));
  pInfo->nSampleRate = table.nSampleRate;
  return 1;
}

int32_t ReadFrame(QP_Handle handle, QP_FrameRequest* pRequest) {
  if (handle == nullptr || pRequest == nullptr) return 0;
  return Guarded(0, [&] {
    std::optional<Mp4Reader::Frame> frame;
    if (pRequest->nTrack == QP_TRACK_VIDEO) frame = ReaderOf(handle).ReadVideo(pRequest->nFrame);
    if (pRequest->nTrack == QP_TRACK_AUDIO) frame = ReaderOf(handle).ReadAudio(pRequest->nFrame);
    if (!frame) return 0;
    pRequest->pData = frame->bytes.data();
    pRequest->dwSize = static_cast<uint32_t>(frame->bytes.size());
    pRequest->llTimeStamp = frame->llTimeMs;
    pRequest->bKeyFrame = frame->bKeyFrame ? 1 : 0;
    return 1;
  });
}

int32_t StartOf(QP_Handle handle, uint32_t nFrame, uint32_t* pKeyFrame, uint32_t* pContinueFrame) {
  if (handle == nullptr || pKeyFrame == nullptr || pContinueFrame == nullptr) return 0;
  *pKeyFrame = ReaderOf(handle).KeyFrameBefore(nFrame);
  *pContinueFrame = 0;
  return *pKeyFrame != 0 ? 1 : 0;
}

int32_t KeyFrameFrom(QP_Handle handle, uint32_t nFrame, uint32_t nForward) {
  if (handle == nullptr || nForward != 1) return -1;
  const uint32_t number = ReaderOf(handle).KeyFrameFrom(nFrame);
  return number != 0 ? static_cast<int32_t>(number) : -1;
}

void Close(QP_Handle handle) {
  delete static_cast<Mp4Reader*>(handle);
}

}  // namespace

int32_t QXD_CALL QP_CheckFile(const char* pszFile, QP_CheckResult* pResult) {
  if (pszFile == nullptr || pResult == nullptr) return 0;
  return Guarded(0, [&] {
    const std::string name = pszFile;
    const auto file = InputFile::Open(name);
    if (!file || file->Size() < kBoxHeadBytes) return 0;
    const bool indexed = name.size() <= kMaxIndexName && ReadQdxIndex(QdxNameOf(name), *file).has_value();
    *pResult = {.nMode = indexed ? 0u : 1u, .nValue = 0};
    return 1;
  });
}

QP_Handle QXD_CALL QP_OpenUnpkg(const char* pszFile, QP_UnpkgInfo* pInfo, uint32_t /*nReserved*/) {
  if (pszFile == nullptr || pInfo == nullptr) return nullptr;
  return Guarded<QP_Handle>(nullptr, [&]() -> QP_Handle {
    auto file = InputFile::Open(pszFile);
    std::string error;
    auto parsed = file ? ParseMp4(*file, error) : std::nullopt;
    if (!parsed) return nullptr;
    auto reader = std::make_unique<Mp4Reader>(std::move(*file), std::move(*parsed));
    const FrameTable& table = reader->Table();
    *pInfo = {};
    CopyCode(pInfo->szVideoCode, table.videoCode);
    pInfo->nWidth = table.nWidth;
    pInfo->nHeight = table.nHeight;
    pInfo->nVideoFrames = reader->VideoFrames();
    pInfo->dFrameRate = table.dFrameRate;
    CopyCode(pInfo->szAudioCode, table.audioCode);
    pInfo->nAudioFrames = reader->AudioFrames();
    return reader.release();
  });
}

QP_Handle QXD_CALL QP_OpenFile(const char* pszFile, uint32_t /*nValue*/, const char* pszIndexFile,
                               QP_FileInfo* pInfo, uint32_t /*nReserved*/) {
  if (pszFile == nullptr || pszIndexFile == nullptr || pInfo == nullptr) return nullptr;
  return Guarded<QP_Handle>(nullptr, [&]() -> QP_Handle {
    auto file = InputFile::Open(pszFile);
    auto indexed = file ? ReadQdxIndex(pszIndexFile, *file) : std::nullopt;
    if (!indexed) return nullptr;
    auto reader = std::make_unique<Mp4Reader>(std::move(*file), std::move(*indexed));
    const FrameTable& table = reader->Table();
    *pInfo = {};
    pInfo->bAudio = reader->AudioFrames() != 0 ? 1 : 0;
    CopyCode(pInfo->szVideoCode, table.videoCode);
    pInfo->nWidth = table.nWidth;
    pInfo->nHeight = table.nHeight;
    pInfo->dFrameRate = table.dFrameRate;
    pInfo->nVideoFrames = reader->VideoFrames();
    CopyCode(pInfo->szAudioCode, table.audioCode);
    pInfo->nAudioFrames = reader->AudioFrames();
    return reader.release();
  });
}

int32_t QXD_CALL QP_UpkGetAudioInfo(QP_Handle handle, QP_AudioInfo* pInfo) {
  return AudioInfo(handle, pInfo);
}

int32_t QXD_CALL QP_QdxGetAudioInfo(QP_Handle handle, QP_AudioInfo* pInfo) {
  return AudioInfo(handle, pInfo);
}

int32_t QXD_CALL QP_UnpkgOneFrame(QP_Handle handle, QP_FrameRequest* pRequest) {
  return ReadFrame(handle, pRequest);
}

int32_t QXD_CALL QP_ReadFile(QP_Handle handle, QP_FrameRequest* pRequest) {
  return ReadFrame(handle, pRequest);
}

int32_t QXD_CALL QP_UpkVIdrFrameNo(QP_Handle handle, uint32_t nFrame, uint32_t* pKeyFrame,
                                   uint32_t* pContinueFrame) {
  return StartOf(handle, nFrame, pKeyFrame, pContinueFrame);
}

int32_t QXD_CALL QP_ReadVIdrFrameNo(QP_Handle handle, uint32_t nFrame, uint32_t* pKeyFrame,
                                    uint32_t* pContinueFrame) {
  return StartOf(handle, nFrame, pKeyFrame, pContinueFrame);
}

int32_t QXD_CALL QP_UnpkgKeyFrame(QP_Handle handle, uint32_t nFrame, uint32_t nForward) {
  return KeyFrameFrom(handle, nFrame, nForward);
}

int32_t QXD_CALL QP_ReadKeyFrame(QP_Handle handle, uint32_t nFrame, uint32_t nForward) {
  return KeyFrameFrom(handle, nFrame, nForward);
}

void QXD_CALL QP_CloseUnpkg(QP_Handle handle) {
  Close(handle);
}

void QXD_CALL QP_CloseFile(QP_Handle handle) {
  Close(handle);
}
