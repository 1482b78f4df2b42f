// Looks into a recorded file without a player: what it is, and single key frames of an MP4 file as pictures.
#pragma once

#include <cstdint>
#include <memory>

#include "decode/Decoder05.h"
#include "file/Mp4Library.h"

// One thread at a time. Nothing is logged: every failure is a result.
class MediaFile {
 public:
  // As hosts get it.
  struct Info {
    uint32_t dwTotalFrames = 0;
    uint32_t dwWidth = 0;  // pixels
    uint32_t dwHeight = 0;
    uint32_t dwFrameRateNum = 0;  // frames per second = num / den
    uint32_t dwFrameRateDen = 0;
  };

  // MP4 when the name ends in exactly ".mp4", else the library's own format, of any version. Null, with
  // nothing open, when the file is neither or its decoder cannot be had.
  static std::unique_ptr<MediaFile> Open(const char* fileName, Info& info);
  ~MediaFile();
  MediaFile(const MediaFile&) = delete;
  MediaFile& operator=(const MediaFile&) = delete;

  // MP4 only: decodes the first key frame at or after `number`, from 1, into 32-bit pixels, bottom row first,
  // rows of width x 4 bytes. Its number, or -1: there is none, it cannot be decoded, or does not fit.
  int32_t GetOneFrame(uint32_t number, uint8_t* buffer, uint32_t sizeBytes);
  // MP4 only: the MP4 library's answer for the first key frame at or after `number`; else -1.
  int32_t FindKeyFrame(uint32_t number);

 private:
  MediaFile() = default;
  bool OpenMp4(const char* fileName, Info& info);
  bool OpenOwnFormat(const char* fileName, Info& info);
  bool OpenDecoder();
  bool DecodePicture(const QXD05_Input& input, const QXD05_Picture*& picture);

  Mp4Library m_Mp4;               // not open for the library's own format
  uint64_t m_llPictureBytes = 0;  // of one picture as the file describes it
  const Library05* m_pLibrary = nullptr;
  QXD05_Handle m_hDecoder = nullptr;
  std::shared_ptr<Decoder> m_pDecoder;  // of the library's own format
};
