// A recorded file as a source of compressed frames, whatever its format.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>

#include "player/FrameRecord.h"

// The seek target that stands for the first key frame of the file.
constexpr uint32_t kFirstKeyFrame = 0xFFFFFFFF;

// What a file says of itself. Codecs are CodecId values.
struct MediaInfo {
  static constexpr uint32_t kCountUnknown = 0xFFFFFFFF;

  uint32_t nVideoCodecID = 0;
  uint32_t nWidth = 0;  // pixels
  uint32_t nHeight = 0;
  uint32_t nTotalFrames = 0;   // video frames
  uint32_t nFrameRateNum = 0;  // frames per second = num / den; never 0 after a successful Open
  uint32_t nFrameRateDen = 0;
  uint32_t nAudioCodecID = 0;
  uint32_t nAudioChannels = 0;
  uint32_t nAudioSampleRate = 0;  // Hz
  uint32_t nAudioBits = 0;        // per sample
  uint32_t nAudioFrames = 0;      // 0: the file has no sound; kCountUnknown: it has
};

// One thread at a time opens, reads and closes; the members marked so are for any thread meanwhile. A reader
// logs next to nothing: every failure is a false result.
class MediaFileStream {
 public:
  // The reader that the name's ending asks for (.mp4; .sv4, .sv5, .sv6, in any case), opened. Null for
  // another ending, or when the file cannot be opened or is none of that format.
  static std::shared_ptr<MediaFileStream> OpenFile(const char* fileName);

  virtual ~MediaFileStream() = default;
  MediaFileStream(const MediaFileStream&) = delete;
  MediaFileStream& operator=(const MediaFileStream&) = delete;

  // Once per reader. True leaves a seek to the first key frame pending. False leaves nothing open.
  virtual bool Open(const char* fileName) = 0;
  virtual void Close() = 0;

  // Copies the next frame into `buffer` and fills `frame`, which then points there; its reserved words and
  // its timestamp stay as they are. Runs a pending seek first. False at the end of the file, on a read error,
  // when the seek fails (it stays pending), when the buffer is too small, and after Interrupt.
  virtual bool ReadFrame(std::span<uint8_t> buffer, FrameRecord& frame) = 0;

  // The 32 bytes that a host gets as this file's stream header. False for a null or smaller buffer.
  virtual bool GetHeader(void* buffer, uint32_t sizeBytes) const = 0;
  // Of the file, constant after Open.
  const MediaInfo& Info() const { return m_Info; }

  // How far sound is handed out ahead of the pictures, ms.
  virtual void SetAVOffset(int32_t milliseconds) = 0;

  // Any thread. The number of the video frame handed out last, from 1; 0 before the first.
  virtual uint32_t GetCurFrameNum() const = 0;
  // Any thread. Where the key frame handed out last begins, in the reader's own measure, and its number.
  virtual bool GetKeyFramePos(uint32_t& position, uint32_t& frameNo) const = 0;
  // Any thread. The next ReadFrame goes to the key frame for frame number `target`; 0 asks for nothing. The
  // last request before that ReadFrame counts.
  virtual bool GotoKeyFrame(uint32_t target) {
    m_nSeekTarget = target;
    return true;
  }
  // Any thread. Ends a ReadFrame that searches a large file, and lets every later one fail: the owner is
  // about to close the file and waits for the reading thread.
  void Interrupt() { m_bInterrupted = true; }

 protected:
  MediaFileStream() = default;

  bool IsInterrupted() const { return m_bInterrupted; }
  // The pending request; 0 when there is none.
  uint32_t SeekTarget() const { return m_nSeekTarget; }
  // The request is answered; one that arrived since stays.
  void FinishSeek(uint32_t target) { m_nSeekTarget.compare_exchange_strong(target, 0); }

  MediaInfo m_Info;

 private:
  std::atomic<uint32_t> m_nSeekTarget{0};
  std::atomic<bool> m_bInterrupted{false};
};
