// One libavformat demuxer over an InputFile: MP4 only, no other file is opened, nothing goes to the standard
// error.
#pragma once

extern "C" {
#include <libavformat/avformat.h>
}

#include <memory>

#include "codecs/qmp4pkg/InputFile.h"

class Demuxer {
 public:
  // Parses the file's tables up to `end`. Null when that fails. The file must outlive the demuxer.
  static std::unique_ptr<Demuxer> Open(const InputFile& file, int64_t end);
  ~Demuxer();
  Demuxer(const Demuxer&) = delete;
  Demuxer& operator=(const Demuxer&) = delete;

  AVFormatContext& Context() { return *m_pContext; }
  // Parses the tables of a fragmented file's remaining fragments without reading frames.
  void ParseFragments();
  // From here on frames are made of zeros instead of being read from the file: for a walk over packets whose
  // contents do not matter.
  void ReadZeros() { m_bZeros = true; }

 private:
  Demuxer(const InputFile& file, int64_t end) : m_File(file), m_nEnd(end) {}
  bool Create();
  static int Read(void* opaque, uint8_t* buffer, int bytes);
  static int64_t Seek(void* opaque, int64_t offset, int whence);

  const InputFile& m_File;
  const int64_t m_nEnd;
  int64_t m_nPosition = 0;
  int64_t m_nBudget = 0;  // bytes that may still be read
  bool m_bZeros = false;
  AVClass m_Class = {};
  AVIOContext* m_pIo = nullptr;
  AVFormatContext* m_pContext = nullptr;
};
