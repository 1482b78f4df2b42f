#include "player/StreamHeader.h"

#include <cstring>

#include "decode/Decoder.h"

namespace {

constexpr uint32_t kMaxPictureSide = 10000;

uint32_t Read16(const uint8_t* bytes) {
  return bytes[0] | static_cast<uint32_t>(bytes[1]) << 8;
}

uint32_t Read32(const uint8_t* bytes) {
  return Read16(bytes) | Read16(bytes + 2) << 16;
}

void SetShortCodecs(uint8_t version, StreamFormat& format) {
  switch (version) {
    case 4:
    case 8:
    case 9:
      format.nVideoCodec = kCodecQdec04;
      break;
    case 5:
    case 7:
    case 10:
    case 16:
    case 17:
      format.nVideoCodec = kCodecH264;
      break;
    default:
      return;
  }
  const bool amr = version == 10;
  format.nAudioCodec = amr ? kCodecAmr : kCodecPcm;
  format.nAudioBits = amr ? 16 : 8;
  format.nAudioChannels = 1;
  format.nAudioSampleRate = 8000;
}

}  // namespace

uint32_t FileHeaderField(const FileHeader& header, FileHeaderOffset field) {
  const uint8_t* bytes = header.data() + field;
  return field == kRecFileTotalFrames ? Read32(bytes) : Read16(bytes);
}

bool IsExtendedHeader(const void* header, uint32_t sizeBytes) {
  return header != nullptr && sizeBytes >= kFileHeaderBytes &&
         std::memcmp(static_cast<const uint8_t*>(header) + kShortHeaderBytes, "QFH", 3) == 0;
}

bool StreamFormat::IsPlayable() const {
  return nFrameRateNum != 0 && nFrameRateDen != 0 && nWidth <= kMaxPictureSide && nHeight <= kMaxPictureSide;
}

StreamFormat ReadShortHeader(const ShortHeader& header) {
  StreamFormat format;
  if (std::memcmp(header.data(), "QXS", 3) == 0) SetShortCodecs(header[3], format);
  format.nWidth = Read32(&header[4]);
  format.nHeight = Read32(&header[8]);
  const bool pal = Read32(&header[16]) == 0;  // the video standard: 25 frames a second, else 30
  format.nFrameRateNum = pal ? 25 : 30;
  format.nFrameRateDen = 1;
  return format;
}

StreamFormat ReadFileHeader(const FileHeader& header) {
  constexpr uint32_t kVideoCodecs[] = {kCodecQdec04, kCodecH264, kCodecH265};
  constexpr uint32_t kAudioCodecs[] = {kCodecPcm, kCodecAmr, kCodecAlaw, kCodecMulaw, kCodecAac};

  StreamFormat format;
  const uint32_t video = FileHeaderField(header, kVideoCodecID);
  if (video < std::size(kVideoCodecs)) format.nVideoCodec = kVideoCodecs[video];
  format.nWidth = FileHeaderField(header, kVideoWidth);
  format.nHeight = FileHeaderField(header, kVideoHeight);
  format.nFrameRateNum = FileHeaderField(header, kFrameRateNum);
  format.nFrameRateDen = FileHeaderField(header, kFrameRateDen);

  const uint32_t audio = FileHeaderField(header, kAudioCodecID);
  const bool hasAudio = FileHeaderField(header, kVideoDataType) == 1;
  if (hasAudio && audio < std::size(kAudioCodecs)) {
    format.nAudioCodec = kAudioCodecs[audio];
    format.nAudioChannels = FileHeaderField(header, kAudioChannels);
    format.nAudioSampleRate = FileHeaderField(header, kAudioSampleRate);
    format.nAudioBits = FileHeaderField(header, kAudioBits);
  }
  return format;
}
