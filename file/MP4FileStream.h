// Reads MP4 files through the MP4 library: sound and pictures in the order in which they are played.
#pragma once

#include <cstdint>

#include "file/MediaFileStream.h"
#include "file/Mp4Library.h"

class MP4FileStream : public MediaFileStream {
 public:
  bool Open(const char* fileName) override;
  void Close() override { m_Library.Close(); }
  // A frame that is larger than the buffer is skipped.
  bool ReadFrame(std::span<uint8_t> buffer, FrameRecord& frame) override;
  // An MP4 file has no stream header: the whole buffer is zeroed.
  bool GetHeader(void* buffer, uint32_t sizeBytes) const override;
  void SetAVOffset(int32_t milliseconds) override { m_nAVOffset = milliseconds; }
  uint32_t GetCurFrameNum() const override { return m_nVideoIndex; }
  // position: the frame number, too.
  bool GetKeyFramePos(uint32_t& position, uint32_t& frameNo) const override;

 private:
  using Description = Mp4Library::Description;

  bool TakeDescription(const Description& description);
  bool TakeAudioDescription(const Description& description);

  bool AudioIsDue() const;
  bool ReadAudio(std::span<uint8_t> buffer, FrameRecord& frame);
  bool ReadVideo(std::span<uint8_t> buffer, FrameRecord& frame);

  bool Seek(uint32_t target);
  bool SeekFirstKeyFrame();
  bool SeekKeyFrameFor(uint32_t target);
  bool ResynchroniseAudio();
  bool FindAudio(uint64_t fromMs, uint32_t& number, int64_t& timestamp);

  static constexpr int64_t kNotPlaced = -1;

  // The reading thread's; the offset is set before it runs.
  Mp4Library m_Library;
  int32_t m_nAVOffset = 0;     // ms
  uint32_t m_nAudioIndex = 0;  // number of the last sound frame read
  int64_t m_llLastVideoTime = 0;
  int64_t m_llLastAudioTime = kNotPlaced;
  uint32_t m_nDecodeOnlyFrame = 0;  // read next and not shown; 0: none

  // Written by the reading thread, read by any.
  std::atomic<uint32_t> m_nVideoIndex{0};  // number of the last video frame read
  std::atomic<uint32_t> m_nLastKeyNumber{0};
};
