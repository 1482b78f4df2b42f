#include "file/SVXFileStream.h"

#include <algorithm>
#include <cstring>

#include "decode/Decoder.h"

namespace {

constexpr size_t kLargestRecordBytes = svx::kRecordHeadBytes + svx::kMaxPayloadBytes + svx::kTrailerBytes;
constexpr size_t kImageTotalFramesOffset = 12;

uint32_t CodecOfVersion(uint8_t version) {
  if (svx::IsOlderCodec(version)) return kCodecQdec04;
  switch (version) {
    case 5:
    case 7:
    case 16:
    case 17:
      return kCodecH264;
    default:
      return kCodecNone;
  }
}

}  // namespace

bool SVXFileStream::Open(const char* fileName) {
  if (m_Window.Open(fileName, kLargestRecordBytes) && ReadFileHeader()) {
    GotoKeyFrame(kFirstKeyFrame);
    return true;
  }
  Close();
  return false;
}

bool SVXFileStream::ReadFileHeader() {
  while (m_Window.Bytes().size() < svx::kHeaderBytes) {
    if (!m_Window.Refill()) return false;
  }
  const std::span<const uint8_t> bytes = m_Window.Bytes().first(svx::kHeaderBytes);
  svx::Header header;
  if (!svx::ReadHeader(bytes, header)) return false;
  m_Info.nVideoCodecID = CodecOfVersion(header.nVersion);
  if (m_Info.nVideoCodecID == kCodecNone) return false;

  m_Info.nWidth = header.nWidth;
  m_Info.nHeight = header.nHeight;
  m_Info.nTotalFrames = header.nTotalFrames;
  m_Info.nFrameRateNum = header.FramesPerSecond();
  m_Info.nFrameRateDen = 1;
  m_Info.nAudioCodecID = kCodecPcm;
  m_Info.nAudioChannels = 1;
  m_Info.nAudioSampleRate = svx::kAudioSampleRate;
  m_Info.nAudioBits = svx::kAudioBits;
  m_Info.nAudioFrames = MediaInfo::kCountUnknown;

  std::ranges::copy(bytes.first(m_HeaderImage.size()), m_HeaderImage.begin());
  std::ranges::copy(bytes.subspan(svx::kTotalFramesOffset, 4),
                    m_HeaderImage.begin() + kImageTotalFramesOffset);
  m_Scanner = SvxRecordScanner(bytes.first<4>());
  return true;
}

bool SVXFileStream::GetHeader(void* buffer, uint32_t sizeBytes) const {
  if (buffer == nullptr || sizeBytes < m_HeaderImage.size()) return false;
  std::memcpy(buffer, m_HeaderImage.data(), m_HeaderImage.size());
  return true;
}

bool SVXFileStream::GetKeyFramePos(uint32_t& position, uint32_t& frameNo) const {
  position = m_nLastKeyPosition;
  frameNo = m_nLastKeyNumber;
  return true;
}

bool SVXFileStream::ReadFrame(std::span<uint8_t> buffer, FrameRecord& frame) {
  const uint32_t target = SeekTarget();
  if (target != 0 && !Seek(target)) return false;
  svx::RecordHead head;
  if (!FindRecord(head)) return false;
  const std::span<const uint8_t> bytes = FrameBytes(head);
  if (bytes.size() > buffer.size()) return false;

  // Not std::ranges::copy, which GCC 12 makes a loop of that halves the speed of reading.
  if (!bytes.empty()) std::memcpy(buffer.data(), bytes.data(), bytes.size());
  frame.pFrame = buffer.data();
  frame.dwFrameSize = static_cast<uint32_t>(bytes.size());
  frame.ftFrameType = head.nType == svx::kAudio ? QFT_Audio : QFT_Video;
  frame.bKeyFrame = head.nType == svx::kVideoKey || head.nType == svx::kAudio;
  frame.bDisplay = true;
  if (frame.ftFrameType == QFT_Video) ++m_nVideoCount;
  if (head.nType == svx::kVideoKey) SetKeyFrame({m_Window.Offset(), m_nVideoCount});
  m_Window.Drop(head.RecordBytes());
  return true;
}

// True when a record stands at the front of the window.
bool SVXFileStream::FindRecord(svx::RecordHead& head) {
  bool isAll = false;
  while (!IsInterrupted()) {
    size_t skipped = 0;
    const bool found = m_Scanner.Find(m_Window.Bytes(), isAll, skipped, head);
    m_Window.Drop(skipped);
    if (found) return true;
    if (isAll) return false;
    isAll = !m_Window.Refill();
  }
  return false;
}

// The older codec's frames begin with their record's head; of the others the payload is the frame.
std::span<const uint8_t> SVXFileStream::FrameBytes(const svx::RecordHead& head) const {
  const std::span<const uint8_t> record = m_Window.Bytes().first(head.RecordBytes());
  if (head.nType == svx::kVideoEmpty) return {};
  const bool isWhole = head.nType != svx::kAudio && m_Info.nVideoCodecID == kCodecQdec04;
  return isWhole ? record : record.subspan(svx::kRecordHeadBytes);
}

// Passes the records from the first one on, until as many frames have been passed as stand before the target,
// and goes back to the last key frame among them; when there was none, on to the first one. What hosts see
// changes only when that is found.
bool SVXFileStream::Seek(uint32_t target) {
  const uint32_t framesBefore = target == kFirstKeyFrame ? 0 : target - 1;
  Place key;
  uint32_t videoCount = 0;
  if (!m_Window.Seek(svx::kHeaderBytes)) return false;
  m_Scanner.Restart();
  while (key.nNumber == 0 || videoCount < framesBefore) {
    svx::RecordHead head;
    if (!FindRecord(head)) return false;
    if (head.nType != svx::kAudio) ++videoCount;
    if (head.nType == svx::kVideoKey) key = {m_Window.Offset(), videoCount};
    m_Window.Drop(head.RecordBytes());
  }
  if (!m_Window.Seek(key.llOffset)) return false;
  m_Scanner.Restart();
  m_nVideoCount = key.nNumber - 1;
  SetKeyFrame(key);
  FinishSeek(target);
  return true;
}

void SVXFileStream::SetKeyFrame(const Place& key) {
  m_nLastKeyPosition = static_cast<uint32_t>(key.llOffset);
  m_nLastKeyNumber = key.nNumber;
}
