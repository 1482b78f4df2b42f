// Writes the library's own recording format, record by record.
#pragma once

#include <cstdint>
#include <deque>
#include <span>
#include <string>

#include "file/SvxFormat.h"
#include "tools/qxrec/OutputFile.h"

struct SvxParameters {
  uint8_t version = svx::kVersionH264;  // or svx::kVersionOlderCodec
  uint32_t width = 0;                   // pixels
  uint32_t height = 0;                  // pixels
  uint32_t framesPerSecond = 25;        // 25 or 30
};

// No locks; one thread. All answer false when Error says why.
class SvxWriter {
 public:
  bool Open(const std::string& name, const SvxParameters& parameters);
  // One compressed frame takes one place of the time line.
  bool WriteVideo(bool key, std::span<const uint8_t> frame);
  // A place of the time line whose picture is the one before.
  bool WriteEmpty();
  // 1 to 1024 bytes: a player of files takes no more.
  bool WriteSound(std::span<const uint8_t> samples);
  // Ends the file and puts it in its place; without it nothing is left.
  bool Finish(bool replace);
  // Where the disk kept Finish from it: with the records that got there before. False when there are none, or
  // when that fails, too.
  bool FinishWhatIsThere(bool replace);

  uint32_t VideoRecords() const { return m_nVideoRecords; }
  uint64_t Bytes() const { return m_File.Bytes(); }
  const std::string& Error() const { return m_strError.empty() ? m_File.Error() : m_strError; }

  // The largest frame that a player takes of a file of this version.
  static uint32_t MostFrameBytes(uint8_t version);

 private:
  // Where a record ended.
  struct Mark {
    uint64_t llOffset = 0;
    uint32_t nVideoRecords = 0;
  };

  bool WriteRecord(svx::RecordType type, std::span<const uint8_t> payload);
  void MarkRecord();
  bool IsWritten(const Mark& mark) const;
  bool Commit(bool replace);

  std::string m_strName;
  SvxParameters m_Parameters;
  OutputFile m_File;
  uint32_t m_nVideoRecords = 0;
  std::deque<Mark> m_Marks;  // the last one that is on the disk, and those behind it
  std::string m_strError;
};
