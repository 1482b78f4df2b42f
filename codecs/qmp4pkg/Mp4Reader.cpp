#include "codecs/qmp4pkg/Mp4Reader.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "codecs/qmp4pkg/NalUnits.h"

namespace {

// Larger ones come from damaged tables only.
constexpr uint32_t kMaxFrameBytes = 64 * 1024 * 1024;

constexpr int64_t kAfterEverything = INT64_MAX;

}  // namespace

Mp4Reader::Mp4Reader(InputFile file, FrameTable table) : m_File(std::move(file)), m_Table(std::move(table)) {
  for (size_t i = 0; i < m_Table.video.size(); ++i)
    if (m_Table.video[i].bKeyFrame) m_KeyFrames.push_back(static_cast<uint32_t>(i + 1));
}

std::optional<Mp4Reader::Frame> Mp4Reader::ReadVideo(uint32_t number) {
  if (number == 0 || number > m_Table.video.size()) return std::nullopt;
  const FrameEntry& entry = m_Table.video[number - 1];
  const VideoConfig& config = ConfigOf(number - 1);
  const std::span<const uint8_t> sets =
      entry.bKeyFrame ? std::span<const uint8_t>(config.parameterSets) : std::span<const uint8_t>();
  if (!IsPlausible(entry) || !Reserve(sets.size() + entry.nSize)) return std::nullopt;
  std::copy(sets.begin(), sets.end(), m_pBuffer.get());
  uint8_t* const data = m_pBuffer.get() + sets.size();
  if (!ReadInto(data, entry)) return std::nullopt;

  Frame frame{.bytes = {}, .llTimeMs = entry.nTimeMs, .bKeyFrame = entry.bKeyFrame != 0};
  const std::span raw(data, entry.nSize);
  if (config.nLengthBytes == 0 || config.nLengthBytes == kStartCodeBytes) {
    const size_t size = config.nLengthBytes == 0 ? raw.size() : ToStartCodesInPlace(raw);
    frame.bytes = {m_pBuffer.get(), sets.size() + size};
  } else {
    m_Expanded.assign(sets.begin(), sets.end());
    ToStartCodes(raw, config.nLengthBytes, m_Expanded);
    frame.bytes = m_Expanded;
  }
  return frame;
}

std::optional<Mp4Reader::Frame> Mp4Reader::ReadAudio(uint32_t number) {
  if (number == 0 || number > AudioFrames()) return std::nullopt;
  if (number == AudioFrames()) return Frame{.bytes = {}, .llTimeMs = kAfterEverything, .bKeyFrame = false};
  const FrameEntry& entry = m_Table.audio[number - 1];
  if (!IsPlausible(entry) || !Reserve(entry.nSize) || !ReadInto(m_pBuffer.get(), entry)) return std::nullopt;
  return Frame{.bytes = {m_pBuffer.get(), entry.nSize}, .llTimeMs = entry.nTimeMs, .bKeyFrame = false};
}

uint32_t Mp4Reader::AudioFrames() const {
  return m_Table.audio.empty() ? 0 : static_cast<uint32_t>(m_Table.audio.size() + 1);
}

uint32_t Mp4Reader::KeyFrameBefore(uint32_t number) const {
  if (m_KeyFrames.empty()) return 0;
  const auto after = std::upper_bound(m_KeyFrames.begin(), m_KeyFrames.end(), number);
  return after == m_KeyFrames.begin() ? *after : *(after - 1);
}

uint32_t Mp4Reader::KeyFrameFrom(uint32_t number) const {
  const auto found = std::lower_bound(m_KeyFrames.begin(), m_KeyFrames.end(), number);
  return found == m_KeyFrames.end() ? 0 : *found;
}

// The size is checked against the file's first: nothing of a damaged size is allocated that could not be
// read.
bool Mp4Reader::ReadInto(uint8_t* buffer, const FrameEntry& entry) const {
  return m_File.Read(entry.llPosition, buffer, entry.nSize);
}

bool Mp4Reader::IsPlausible(const FrameEntry& entry) const {
  return entry.nSize <= kMaxFrameBytes && entry.nSize <= m_File.Size();
}

bool Mp4Reader::Reserve(size_t bytes) {
  if (m_pBuffer != nullptr && bytes <= m_nCapacity) return true;
  const size_t capacity = std::max<size_t>({bytes, m_nCapacity * 2, 1});
  m_pBuffer.reset();
  m_nCapacity = 0;
  m_pBuffer.reset(new (std::nothrow) uint8_t[capacity]);
  if (m_pBuffer == nullptr) return false;
  m_nCapacity = capacity;
  return true;
}

const VideoConfig& Mp4Reader::ConfigOf(uint32_t index) const {
  const auto after =
      std::upper_bound(m_Table.configs.begin(), m_Table.configs.end(), index,
                       [](uint32_t i, const VideoConfig& config) { return i < config.nFirstFrame; });
  return after == m_Table.configs.begin() ? *after : *(after - 1);
}
