#include "tools/qxrec/SvxWriter.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

// A player reads every frame into a buffer of this size, the older codec's with their record's head.
constexpr uint32_t kPlayerBufferBytes = 1024 * 1024;
constexpr uint32_t kSyncBytes = svx::kVersionOffset + 1;
// Bytes 0 to 31 are also the stream header that a player reports; there the total stands at 12.
constexpr uint32_t kStreamHeaderTotalOffset = 12;

void PutWord(uint8_t* to, uint32_t word) {
  for (int i = 0; i < 4; ++i)
    to[i] = static_cast<uint8_t>(word >> 8 * i);
}

void PutSync(uint8_t* to, uint8_t version) {
  std::ranges::copy(svx::kMagic, to);
  to[svx::kVersionOffset] = version;
}

}  // namespace

uint32_t SvxWriter::MostFrameBytes(uint8_t version) {
  const bool older = version == svx::kVersionOlderCodec;
  return older ? kPlayerBufferBytes - svx::kRecordHeadBytes : svx::kMaxPayloadBytes;
}

bool SvxWriter::Open(const std::string& name, const SvxParameters& parameters) {
  m_strName = name;
  m_Parameters = parameters;
  uint8_t header[svx::kHeaderBytes] = {};
  PutSync(header, parameters.version);
  PutWord(header + svx::kWidthOffset, parameters.width);
  PutWord(header + svx::kHeightOffset, parameters.height);
  PutWord(header + svx::kVideoStandardOffset, parameters.framesPerSecond == 25 ? 0 : 1);
  return m_File.Open(name) && m_File.Append(header);
}

bool SvxWriter::WriteVideo(bool key, std::span<const uint8_t> frame) {
  const uint32_t most = MostFrameBytes(m_Parameters.version);
  if (frame.empty()) return WriteEmpty();
  if (frame.size() > most) {
    char text[160];
    snprintf(text, sizeof(text),
             ": frame %u (at %.2f s) would have %zu bytes; the format holds at most %u a frame",
             m_nVideoRecords + 1, static_cast<double>(m_nVideoRecords) / m_Parameters.framesPerSecond,
             frame.size(), most);
    m_strError = m_strName + text;
    return false;
  }
  return WriteRecord(key ? svx::kVideoKey : svx::kVideo, frame);
}

bool SvxWriter::WriteEmpty() {
  constexpr uint8_t kNothing[1] = {};  // a record without any payload would be no record
  return WriteRecord(svx::kVideoEmpty, kNothing);
}

bool SvxWriter::WriteSound(std::span<const uint8_t> samples) {
  return WriteRecord(svx::kAudio, samples);
}

bool SvxWriter::WriteRecord(svx::RecordType type, std::span<const uint8_t> payload) {
  uint8_t head[svx::kRecordHeadBytes];
  PutSync(head, m_Parameters.version);
  PutWord(head + kSyncBytes,
          svx::MakeHeadWord({.nType = type, .nPayloadBytes = static_cast<uint32_t>(payload.size())}));
  if (type != svx::kAudio) ++m_nVideoRecords;
  if (!m_File.Append(head) || !m_File.Append(payload)) return false;
  MarkRecord();
  return true;
}

void SvxWriter::MarkRecord() {
  m_Marks.push_back({m_File.Bytes(), m_nVideoRecords});
  while (m_Marks.size() > 1 && IsWritten(m_Marks[1]))
    m_Marks.pop_front();
}

// With the sync word of the next record, which can end a file as well.
bool SvxWriter::IsWritten(const Mark& mark) const {
  return mark.llOffset + svx::kTrailerBytes <= m_File.BytesWritten();
}

bool SvxWriter::Finish(bool replace) {
  uint8_t trailer[svx::kTrailerBytes];
  PutSync(trailer, m_Parameters.version);
  return m_File.Append(trailer) && Commit(replace);
}

bool SvxWriter::FinishWhatIsThere(bool replace) {
  if (m_Marks.empty() || !IsWritten(m_Marks[0])) return false;
  m_nVideoRecords = m_Marks[0].nVideoRecords;
  return m_File.CutBack(m_Marks[0].llOffset + svx::kTrailerBytes) && Commit(replace);
}

bool SvxWriter::Commit(bool replace) {
  uint8_t total[4];
  PutWord(total, m_nVideoRecords);
  return m_File.Overwrite(svx::kTotalFramesOffset, total) &&
         m_File.Overwrite(kStreamHeaderTotalOffset, total) && m_File.Commit(replace);
}
