#include "file/Mp4Library.h"

#include <algorithm>

namespace {

constexpr size_t kIndexNameCapacity = 260;  // with the final 0
constexpr char kIndexEnding[] = "qdx";
constexpr size_t kIndexEndingLength = sizeof kIndexEnding - 1;

constexpr double kDefaultFrameRate = 25.0;
constexpr double kMaxFrameRate = 1000.0;  // a shorter period is no whole millisecond

// A code is a text that may fill its field.
template <size_t size>
String CodeText(const char (&field)[size]) {
  return String(field, std::find(field, field + size, '\0'));
}

}  // namespace

uint32_t Mp4Library::Description::FramesIn(uint32_t seconds) const {
  // 29.97 lies a little below itself, and wider registers would show it.
  constexpr double kRoundingError = 1e-7;
  const double frames = dFrameRate * seconds + kRoundingError;
  const bool isUsable = frames >= 1 && dFrameRate <= kMaxFrameRate;  // false for what is no number
  return static_cast<uint32_t>(isUsable ? frames : kDefaultFrameRate * seconds);
}

bool Mp4Library::Open(const char* fileName, Description& description) {
  Close();
  QP_CheckResult check = {};
  if (QP_CheckFile(fileName, &check) == 0) return false;
  m_bUnpacking = check.nMode != 0;
  if (m_bUnpacking) {
    QP_UnpkgInfo info = {};
    m_hLibrary = QP_OpenUnpkg(fileName, &info, 0);
    description = {CodeText(info.szVideoCode), CodeText(info.szAudioCode), info.nWidth,    info.nHeight,
                   info.nVideoFrames,          info.nAudioFrames,          info.dFrameRate};
  } else {
    String indexName = fileName;
    if (indexName.size() < kIndexEndingLength || indexName.size() >= kIndexNameCapacity) return false;
    indexName.replace(indexName.size() - kIndexEndingLength, kIndexEndingLength, kIndexEnding);
    QP_FileInfo info = {};
    m_hLibrary = QP_OpenFile(fileName, check.nValue, indexName.c_str(), &info, 0);
    description = {CodeText(info.szVideoCode),
                   CodeText(info.szAudioCode),
                   info.nWidth,
                   info.nHeight,
                   info.nVideoFrames,
                   info.bAudio != 0 ? info.nAudioFrames : 0,
                   info.dFrameRate};
  }
  return m_hLibrary != nullptr;
}

void Mp4Library::Close() {
  if (m_hLibrary == nullptr) return;
  m_bUnpacking ? QP_CloseUnpkg(m_hLibrary) : QP_CloseFile(m_hLibrary);
  m_hLibrary = nullptr;
}

QP_AudioInfo Mp4Library::AudioInfo() {
  QP_AudioInfo info = {};
  m_bUnpacking ? QP_UpkGetAudioInfo(m_hLibrary, &info) : QP_QdxGetAudioInfo(m_hLibrary, &info);
  return info;
}

bool Mp4Library::Request(uint32_t track, uint32_t number, QP_FrameRequest& request) {
  request = {};
  request.nTrack = track;
  request.nFrame = number;
  return (m_bUnpacking ? QP_UnpkgOneFrame(m_hLibrary, &request) : QP_ReadFile(m_hLibrary, &request)) != 0;
}

bool Mp4Library::FindStart(uint32_t target, uint32_t& keyNumber, uint32_t& continueNumber) {
  keyNumber = continueNumber = 0;
  const int32_t result = m_bUnpacking ? QP_UpkVIdrFrameNo(m_hLibrary, target, &keyNumber, &continueNumber)
                                      : QP_ReadVIdrFrameNo(m_hLibrary, target, &keyNumber, &continueNumber);
  return result > 0 && keyNumber != 0;
}

int32_t Mp4Library::KeyFrameFrom(uint32_t number) {
  return m_bUnpacking ? QP_UnpkgKeyFrame(m_hLibrary, number, 1) : QP_ReadKeyFrame(m_hLibrary, number, 1);
}
