#include "tools/qxplay/StreamPlayer.h"

#include <chrono>
#include <cstring>

namespace {

QXSP_FILE_HEADER HeaderOf(const StreamInfo& info) {
  QXSP_FILE_HEADER header{};
  std::memcpy(header.szMarker, "QFH", sizeof(header.szMarker));
  header.wVideoCodecID = info.codec == VideoCodec::kH264 ? QXSP_VIDEO_H264 : QXSP_VIDEO_H265;
  header.wVideoDataType = QXSP_DATA_VIDEO;
  header.wVideoWidth = static_cast<uint16_t>(info.width);
  header.wVideoHeight = static_cast<uint16_t>(info.height);
  header.wFrameRateNum = info.frameRate.num;
  header.wFrameRateDen = info.frameRate.den;
  if (!info.sound) return header;
  static_assert(static_cast<int>(SoundCodec::kPcm) == QXSP_AUDIO_PCM &&
                static_cast<int>(SoundCodec::kAmr) == QXSP_AUDIO_AMR &&
                static_cast<int>(SoundCodec::kALaw) == QXSP_AUDIO_ALAW &&
                static_cast<int>(SoundCodec::kMuLaw) == QXSP_AUDIO_MULAW &&
                static_cast<int>(SoundCodec::kAac) == QXSP_AUDIO_AAC);
  header.wVideoDataType = QXSP_DATA_VIDEO_AND_AUDIO;
  header.wAudioCodecID = static_cast<uint16_t>(info.sound->codec);
  header.wAudioSampleRate = info.sound->sampleRate;
  header.wAudioChannels = info.sound->channels;
  header.wAudioBits = info.sound->bits;
  return header;
}

}  // namespace

bool StreamPlayer::Open(const StreamInfo& info) {
  const QXSP_FILE_HEADER header = HeaderOf(info);
  m_Tile.OnOpening();
  if (QXSP_OpenStream(m_Tile.PlayerID(), &header, sizeof(header)) == 0) return false;
  m_Tile.OnOpened(info.width, info.height);
  return true;
}

void StreamPlayer::Push(const AccessUnit& unit) {
  if (!unit.sound) m_Tile.Stats().OnPushing(std::chrono::steady_clock::now());
  const auto timestamp = static_cast<uint64_t>(unit.timestampMs);
  const int32_t result = QXSP_WriteToStreamOneFrame2(
      m_Tile.PlayerID(), unit.bytes.data(), static_cast<uint32_t>(unit.bytes.size()),
      static_cast<uint32_t>(timestamp), static_cast<uint32_t>(timestamp >> 32));
  if (!unit.sound && result != QXSP_WRITE_QUEUED) m_Tile.Stats().OnRefused();
}
