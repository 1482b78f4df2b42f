// Reads the library's own recordings. There is no index: counts, key frames and seeks all come from reading
// the records from the first one on.
#pragma once

#include <array>
#include <cstdint>

#include "file/FileWindow.h"
#include "file/MediaFileStream.h"
#include "file/SvxRecordScanner.h"

class SVXFileStream : public MediaFileStream {
 public:
  bool Open(const char* fileName) override;
  void Close() override { m_Window.Close(); }
  bool ReadFrame(std::span<uint8_t> buffer, FrameRecord& frame) override;
  // The file's first 32 bytes, with the total of frames in bytes 12 to 15.
  bool GetHeader(void* buffer, uint32_t sizeBytes) const override;
  // Frames carry no time here: sound stands in the file where it belongs.
  void SetAVOffset(int32_t) override {}
  uint32_t GetCurFrameNum() const override { return m_nVideoCount; }
  // position: byte offset in the file (its low half in files above 4 GiB). 0 and 0 before the first key
  // frame.
  bool GetKeyFramePos(uint32_t& position, uint32_t& frameNo) const override;

 private:
  // Where a record stands in the file.
  struct Place {
    uint64_t llOffset = 0;
    uint32_t nNumber = 0;  // among the video records, from 1
  };

  bool ReadFileHeader();
  bool FindRecord(svx::RecordHead& head);
  bool Seek(uint32_t target);
  std::span<const uint8_t> FrameBytes(const svx::RecordHead& head) const;
  void SetKeyFrame(const Place& key);

  FileWindow m_Window;
  SvxRecordScanner m_Scanner;
  std::array<uint8_t, 32> m_HeaderImage{};

  // Written by the reading thread, read by any.
  std::atomic<uint32_t> m_nVideoCount{0};
  std::atomic<uint32_t> m_nLastKeyNumber{0};
  std::atomic<uint32_t> m_nLastKeyPosition{0};
};
