// The stream header that a host opens a live stream with: two byte layouts, little-endian, and what they say
// about the stream.
#pragma once

#include <array>
#include <cstdint>

constexpr uint32_t kShortHeaderBytes = 32;
constexpr uint32_t kFileHeaderBytes = 96;

// The bytes as the host gave them: "QXS" and a version byte, or a 32-byte prefix followed by "QFH" and its
// fields.
using ShortHeader = std::array<uint8_t, kShortHeaderBytes>;
using FileHeader = std::array<uint8_t, kFileHeaderBytes>;

// The extended header's 16-bit fields by their byte offset, and its one 32-bit field.
enum FileHeaderOffset : uint32_t {
  kDeviceType = 36,
  kVideoCodecID = 38,
  kVideoDataType = 40,
  kVideoFormat = 42,
  kVideoWidth = 44,
  kVideoHeight = 46,
  kFrameRateNum = 48,
  kFrameRateDen = 50,
  kAudioCodecID = 52,
  kAudioSampleRate = 54,
  kAudioChannels = 56,
  kAudioBits = 58,
  kRecFileTotalFrames = 60,  // 32 bits
  kRecFileType = 64,
};
uint32_t FileHeaderField(const FileHeader& header, FileHeaderOffset field);

// True when the bytes are the 96-byte extended form; anything else is read as the short form.
bool IsExtendedHeader(const void* header, uint32_t sizeBytes);

// What a header says. Codecs are CodecId values; 0 when there is none or it is unknown.
struct StreamFormat {
  uint32_t nVideoCodec = 0;
  uint32_t nAudioCodec = 0;
  uint32_t nWidth = 0;  // pixels
  uint32_t nHeight = 0;
  uint32_t nFrameRateNum = 0;  // frames per second = num / den
  uint32_t nFrameRateDen = 0;
  uint32_t nAudioChannels = 0;
  uint32_t nAudioSampleRate = 0;  // Hz
  uint32_t nAudioBits = 0;        // per sample

  // A rate, and a size of at most 10000 x 10000.
  bool IsPlayable() const;
  // Whole milliseconds, truncated. The rate must not be 0.
  uint32_t FramePeriodMs() const { return nFrameRateDen * 1000 / nFrameRateNum; }
};
// Names of a stream's codecs for people, "Unknown" without one. The extended header's are those of its codec
// fields, also of sound that the stream does not carry.
struct CodecNames {
  const char* pszVideo;
  const char* pszAudio;
};
CodecNames NamesOfCodecs(const ShortHeader& header);
CodecNames NamesOfCodecs(const FileHeader& header);

StreamFormat ReadShortHeader(const ShortHeader& header);
StreamFormat ReadFileHeader(const FileHeader& header);
