#include "file/MP4FileStream.h"

#include <algorithm>
#include <cstring>

#include "decode/Decoder.h"
#include "src/kitc/Log.h"

namespace {

constexpr const char* kSource = "MediaFileStream.cpp";

constexpr uint32_t kFrameRateDen = 1000;

uint32_t VideoCodecOf(const String& code) {
  if (code == "avc1") return kCodecH264;
  return code == "hev1" || code == "hvc1" ? kCodecH265 : kCodecNone;
}

uint32_t AudioCodecOf(const String& code) {
  if (code == "samr") return kCodecAmr;
  if (code == "alaw") return kCodecAlaw;
  if (code == "ulaw") return kCodecMulaw;
  return code == "mp4a" ? kCodecAac : kCodecNone;
}

bool CopyFrame(const QP_FrameRequest& request, std::span<uint8_t> buffer, FrameRecord& frame) {
  if (request.dwSize > buffer.size() || (request.pData == nullptr && request.dwSize != 0)) return false;
  if (request.dwSize != 0) std::memcpy(buffer.data(), request.pData, request.dwSize);
  frame.pFrame = buffer.data();
  frame.dwFrameSize = request.dwSize;
  return true;
}

}  // namespace

bool MP4FileStream::Open(const char* fileName) {
  Description description;
  if (m_Library.Open(fileName, description) && TakeDescription(description)) {
    GotoKeyFrame(kFirstKeyFrame);
    return true;
  }
  Close();
  return false;
}

bool MP4FileStream::TakeDescription(const Description& description) {
  if (description.nVideoFrames == 0) return false;
  m_Info.nTotalFrames = description.nVideoFrames;
  m_Info.nWidth = description.nWidth;
  m_Info.nHeight = description.nHeight;
  m_Info.nFrameRateNum = description.FramesIn(kFrameRateDen);
  m_Info.nFrameRateDen = kFrameRateDen;
  m_Info.nVideoCodecID = VideoCodecOf(description.videoCode);
  return m_Info.nVideoCodecID != kCodecNone && TakeAudioDescription(description);
}

bool MP4FileStream::TakeAudioDescription(const Description& description) {
  // Telephone sound says nothing of itself.
  m_Info.nAudioChannels = 1;
  m_Info.nAudioSampleRate = 8000;
  m_Info.nAudioBits = 16;
  m_Info.nAudioFrames = description.nAudioFrames;
  if (m_Info.nAudioFrames == 0) return true;
  m_Info.nAudioCodecID = AudioCodecOf(description.audioCode);
  if (m_Info.nAudioCodecID == kCodecAac) {
    const QP_AudioInfo info = m_Library.AudioInfo();
    m_Info.nAudioChannels = info.nChannels;
    m_Info.nAudioSampleRate = info.nSampleRate;
  }
  return m_Info.nAudioCodecID != kCodecNone;
}

bool MP4FileStream::GetHeader(void* buffer, uint32_t sizeBytes) const {
  if (buffer == nullptr) return false;
  std::memset(buffer, 0, sizeBytes);
  return true;
}

bool MP4FileStream::GetKeyFramePos(uint32_t& position, uint32_t& frameNo) const {
  position = frameNo = m_nLastKeyNumber;
  return true;
}

bool MP4FileStream::ReadFrame(std::span<uint8_t> buffer, FrameRecord& frame) {
  if (!m_Library.IsOpen() || IsInterrupted()) return false;
  const uint32_t target = SeekTarget();
  if (target != 0 && !Seek(target)) return false;
  const bool isVideo = m_nDecodeOnlyFrame != 0 || !AudioIsDue();
  return isVideo ? ReadVideo(buffer, frame) : ReadAudio(buffer, frame);
}

// Sound is kept up to the A/V offset ahead of the pictures.
bool MP4FileStream::AudioIsDue() const {
  // In index mode the end of the sound is the library's to tell.
  const bool remains =
      m_Library.IsUnpacking() ? m_nAudioIndex < m_Info.nAudioFrames : m_Info.nAudioFrames != 0;
  // Wraps: a library's wrong time must not be undefined behaviour.
  const uint64_t until =
      static_cast<uint64_t>(m_llLastVideoTime) + static_cast<uint64_t>(int64_t{m_nAVOffset});
  return remains && m_llLastAudioTime <= static_cast<int64_t>(until);
}

bool MP4FileStream::ReadAudio(std::span<uint8_t> buffer, FrameRecord& frame) {
  QP_FrameRequest request;
  if (!m_Library.Request(QP_TRACK_AUDIO, ++m_nAudioIndex, request) || !CopyFrame(request, buffer, frame))
    return false;
  frame.ftFrameType = QFT_Audio;
  frame.bKeyFrame = true;
  frame.bDisplay = true;
  m_llLastAudioTime = request.llTimeStamp;
  return true;
}

bool MP4FileStream::ReadVideo(std::span<uint8_t> buffer, FrameRecord& frame) {
  if (m_Library.IsUnpacking() && m_nVideoIndex >= m_Info.nTotalFrames) return false;
  const bool decodeOnly = m_nDecodeOnlyFrame != 0;
  const uint32_t number = decodeOnly ? m_nDecodeOnlyFrame : ++m_nVideoIndex;
  QP_FrameRequest request;
  if (!m_Library.Request(QP_TRACK_VIDEO, number, request)) {
    // A frame that cannot be read is skipped, but hosts must not see one behind the last.
    if (number > m_Info.nTotalFrames) m_nVideoIndex = m_Info.nTotalFrames;
    return false;
  }
  if (!CopyFrame(request, buffer, frame)) return false;
  frame.ftFrameType = QFT_Video;
  frame.bKeyFrame = request.bKeyFrame != 0;
  frame.bDisplay = !decodeOnly;
  m_llLastVideoTime = request.llTimeStamp;
  kitc_log(m_Library.IsUnpacking() ? kLogError : kLogDebug, kSource, __LINE__, "read next video frame, id=%d",
           static_cast<int>(m_nVideoIndex));
  if (frame.bKeyFrame) m_nLastKeyNumber = number;
  m_nDecodeOnlyFrame = 0;
  return true;
}

bool MP4FileStream::Seek(uint32_t target) {
  if (!(target == kFirstKeyFrame ? SeekFirstKeyFrame() : SeekKeyFrameFor(target))) return false;
  ResynchroniseAudio();  // without it sound goes on where it was
  FinishSeek(target);
  return true;
}

bool MP4FileStream::SeekFirstKeyFrame() {
  QP_FrameRequest request = {};
  uint32_t number = 0;
  while (request.bKeyFrame == 0)
    if (IsInterrupted() || !m_Library.Request(QP_TRACK_VIDEO, ++number, request)) return false;
  m_nDecodeOnlyFrame = 0;
  m_nVideoIndex = number - 1;
  return true;
}

bool MP4FileStream::SeekKeyFrameFor(uint32_t target) {
  uint32_t keyNumber = 0, continueNumber = 0;
  if (!m_Library.FindStart(target, keyNumber, continueNumber)) return false;
  m_nDecodeOnlyFrame = continueNumber != 0 ? keyNumber : 0;
  m_nVideoIndex = (continueNumber != 0 ? continueNumber : keyNumber) - 1;
  return true;
}

// Places the sound at the video frame that is read next.
bool MP4FileStream::ResynchroniseAudio() {
  m_llLastAudioTime = kNotPlaced;
  if (m_Info.nAudioFrames == 0) return true;
  QP_FrameRequest reference;
  if (!m_Library.Request(QP_TRACK_VIDEO, m_nVideoIndex + 1, reference)) return false;
  uint32_t number = 0;
  int64_t timestamp = 0;
  if (!FindAudio(static_cast<uint64_t>(reference.llTimeStamp), number, timestamp)) return false;
  m_llLastVideoTime = reference.llTimeStamp;
  m_llLastAudioTime = timestamp;
  m_nAudioIndex = number - 1;
  return true;
}

// The first sound frame at or after `fromMs`. The timestamps of a track never go back, so halving finds the
// same frame as going through them from the first one on, and an hour of sound is not read for one seek.
// Frames that cannot be read count as past the end.
bool MP4FileStream::FindAudio(uint64_t fromMs, uint32_t& number, int64_t& timestamp) {
  uint64_t first = 1, end = uint64_t{m_Info.nAudioFrames} + 1;
  bool found = false;  // `end` is such a frame
  while (first < end) {
    if (IsInterrupted()) return false;
    const uint64_t middle = first + (end - first) / 2;
    QP_FrameRequest request;
    const bool read = m_Library.Request(QP_TRACK_AUDIO, static_cast<uint32_t>(middle), request);
    if (read && static_cast<uint64_t>(request.llTimeStamp) < fromMs) {
      first = middle + 1;
      continue;
    }
    end = middle;
    found = read;
    timestamp = request.llTimeStamp;
  }
  number = static_cast<uint32_t>(end);
  return found;
}
