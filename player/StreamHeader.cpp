#include "player/StreamHeader.h"

#include <cstring>

#include "decode/Decoder.h"

namespace {

constexpr uint32_t kMaxPictureSide = 10000;

// In the order of the extended header's codec fields.
constexpr uint32_t kVideoCodecs[] = {kCodecQdec04, kCodecH264, kCodecH265};
constexpr uint32_t kAudioCodecs[] = {kCodecPcm, kCodecAmr, kCodecAlaw, kCodecMulaw, kCodecAac};

uint32_t VideoCodecOf(const FileHeader& header) {
  const uint32_t id = FileHeaderField(header, kVideoCodecID);
  return id < std::size(kVideoCodecs) ? kVideoCodecs[id] : uint32_t{kCodecNone};
}

uint32_t AudioCodecOf(const FileHeader& header) {
  const uint32_t id = FileHeaderField(header, kAudioCodecID);
  return id < std::size(kAudioCodecs) ? kAudioCodecs[id] : uint32_t{kCodecNone};
}

const char* NameOf(uint32_t codecId) {
  switch (codecId) {
    case kCodecQdec04:
      return "QENC04";
    case kCodecH264:
      return "H264";
    case kCodecH265:
      return "H265";
    case kCodecPcm:
      return "PCM";
    case kCodecAmr:
      return "AMR";
    case kCodecAlaw:
      return "ALAW";
    case kCodecMulaw:
      return "ULAW";
    case kCodecAac:
      return "AAC";
    default:
      return "Unknown";
  }
}

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

CodecNames NamesOfCodecs(const ShortHeader& header) {
  const StreamFormat format = ReadShortHeader(header);
  return {NameOf(format.nVideoCodec), NameOf(format.nAudioCodec)};
}

CodecNames NamesOfCodecs(const FileHeader& header) {
  return {NameOf(VideoCodecOf(header)), NameOf(AudioCodecOf(header))};
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
  StreamFormat format;
  format.nVideoCodec = VideoCodecOf(header);
  format.nWidth = FileHeaderField(header, kVideoWidth);
  format.nHeight = FileHeaderField(header, kVideoHeight);
  format.nFrameRateNum = FileHeaderField(header, kFrameRateNum);
  format.nFrameRateDen = FileHeaderField(header, kFrameRateDen);

  const bool hasAudio = FileHeaderField(header, kVideoDataType) == 1;
  if (hasAudio && AudioCodecOf(header) != kCodecNone) {
    format.nAudioCodec = AudioCodecOf(header);
    format.nAudioChannels = FileHeaderField(header, kAudioChannels);
    format.nAudioSampleRate = FileHeaderField(header, kAudioSampleRate);
    format.nAudioBits = FileHeaderField(header, kAudioBits);
  }
  return format;
}
