// An MP4 file that is open in the MP4 library, in the one of its two ways that the library chooses.
#pragma once

#include <cstdint>

#include "qmp4pkg.h"
#include "src/kitc/ThrowingAllocator.h"

// One thread at a time.
class Mp4Library {
 public:
  // What both ways' descriptions say.
  struct Description {
    String videoCode, audioCode;
    uint32_t nWidth = 0, nHeight = 0;  // pixels
    uint32_t nVideoFrames = 0, nAudioFrames = 0;
    double dFrameRate = 0;  // frames per second

    // A whole number of frames in `seconds`; 25 frames a second when the library names no usable rate.
    uint32_t FramesIn(uint32_t seconds) const;
  };

  Mp4Library() = default;
  ~Mp4Library() { Close(); }
  Mp4Library(const Mp4Library&) = delete;
  Mp4Library& operator=(const Mp4Library&) = delete;

  bool Open(const char* fileName, Description& description);
  void Close();
  bool IsOpen() const { return m_hLibrary != nullptr; }
  // Unpacking mode reads the MP4 itself, index mode by an index file; a track's count is certain only in the
  // first.
  bool IsUnpacking() const { return m_bUnpacking; }

  // Channels and sample rate of AAC; zeros when the library cannot tell.
  QP_AudioInfo AudioInfo();
  // A frame by its number in the track, from 1. The data is the library's until the next call.
  bool Request(uint32_t track, uint32_t number, QP_FrameRequest& request);
  // Where decoding for video frame `target` begins, and where it goes on after that frame (0: right behind
  // it).
  bool FindStart(uint32_t target, uint32_t& keyNumber, uint32_t& continueNumber);
  // The library's answer for the first key frame at or after `number`.
  int32_t KeyFrameFrom(uint32_t number);

 private:
  QP_Handle m_hLibrary = nullptr;
  bool m_bUnpacking = true;
};
