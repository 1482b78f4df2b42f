#include "pacing/FileSource.h"

#include <utility>

namespace {

constexpr uint32_t kFrameBufferBytes = 1048576;  // 1 MiB, which no frame of a recording exceeds

}  // namespace

bool FileSource::AllocateBuffer() {
  m_pFrameBuffer = AllocateHeapBytes(kFrameBufferBytes);
  m_PendingFrame = FrameRecord();
  return m_pFrameBuffer != nullptr;
}

void FileSource::Open(std::shared_ptr<MediaFileStream> reader) {
  m_bKeyFramesOnly = false;
  m_bNormalSpeed = true;
  m_TimeStampGen.SetFrameRate(reader->Info().nFrameRateNum, reader->Info().nFrameRateDen);
  ScopedLock hold(m_ReaderLock);
  m_pReader = std::move(reader);
}

void FileSource::Close() {
  std::shared_ptr<MediaFileStream> reader;
  {
    ScopedLock hold(m_ReaderLock);
    reader = std::exchange(m_pReader, nullptr);
  }
  if (reader != nullptr) reader->Close();
  m_PendingFrame = FrameRecord();
  m_pFrameBuffer.reset();
}

std::shared_ptr<MediaFileStream> FileSource::Reader() {
  ScopedLock hold(m_ReaderLock);
  return m_pReader;
}

void FileSource::Interrupt() {
  ScopedLock hold(m_ReaderLock);
  if (m_pReader != nullptr) m_pReader->Interrupt();
}

bool FileSource::PlayFrameFromFile() {
  while (true) {
    if (m_PendingFrame.pFrame == nullptr && !ReadPendingFrame()) return false;
    const bool isVideo = m_PendingFrame.ftFrameType == QFT_Video;
    if (!m_Control.IsTimeToPlay(m_PendingFrame.llTimeStamp, isVideo, 0, false)) return true;
    if (isVideo) {
      m_Video.PlayVideoFrame(m_PendingFrame.dwFrameSize != 0 ? &m_PendingFrame : nullptr);
    } else if (m_bNormalSpeed) {
      m_Audio.PlayAudioFrame(m_PendingFrame);
    }
    m_PendingFrame = FrameRecord();
    if (isVideo) return true;
  }
}

uint32_t FileSource::RestMs() const {
  if (m_PendingFrame.pFrame == nullptr) return 0;
  return m_Control.DueInMs(m_PendingFrame.llTimeStamp, m_PendingFrame.ftFrameType == QFT_Video);
}

// True with a frame that is to be played when its time comes.
bool FileSource::ReadPendingFrame() {
  const std::shared_ptr<MediaFileStream> reader = Reader();
  FrameRecord frame;
  while (reader->ReadFrame({m_pFrameBuffer.get(), kFrameBufferBytes}, frame)) {
    const bool isVideo = frame.ftFrameType == QFT_Video;
    if (isVideo && !frame.bDisplay) {
      m_Video.PlayVideoFrame(&frame);
      continue;
    }
    // A frame that is dropped below has taken its place on the time line: key frames keep theirs.
    frame.llTimeStamp = isVideo ? m_TimeStampGen.NextVideoTimeStamp() : m_TimeStampGen.LastTimeStamp();
    if (m_bKeyFramesOnly && !frame.bKeyFrame) continue;
    m_PendingFrame = frame;
    return true;
  }
  return false;
}
