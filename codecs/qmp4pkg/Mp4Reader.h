// An open MP4 file: numbered frames of its two tracks.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>

#include "codecs/qmp4pkg/FrameTable.h"
#include "codecs/qmp4pkg/InputFile.h"

// One thread at a time.
class Mp4Reader {
 public:
  struct Frame {
    std::span<const uint8_t> bytes;  // valid until the next Read
    int64_t llTimeMs = 0;
    bool bKeyFrame = false;
  };

  Mp4Reader(InputFile file, FrameTable table);

  const FrameTable& Table() const { return m_Table; }

  uint32_t VideoFrames() const { return static_cast<uint32_t>(m_Table.video.size()); }
  // Frame `number`, from 1. Nothing when there is none, when the file no longer holds all of it, or when
  // memory is exhausted.
  std::optional<Frame> ReadVideo(uint32_t number);
  std::optional<Frame> ReadAudio(uint32_t number);
  // Sound ends with an empty frame later than every picture. Without it a player that keeps sound ahead of
  // the pictures would, past the end of short sound, play old sound after a seek, or in index mode take the
  // end of the sound for the end of the file.
  uint32_t AudioFrames() const;

  // The last key frame at or before `number`; the first one when none is. 0: there is none at all.
  uint32_t KeyFrameBefore(uint32_t number) const;
  // The first key frame at or after `number`; 0 when there is none.
  uint32_t KeyFrameFrom(uint32_t number) const;

 private:
  bool ReadInto(uint8_t* buffer, const FrameEntry& entry) const;
  // Of a damaged size, nothing is allocated that could not be read.
  bool IsPlausible(const FrameEntry& entry) const;
  bool Reserve(size_t bytes);
  const VideoConfig& ConfigOf(uint32_t index) const;

  InputFile m_File;
  FrameTable m_Table;
  std::vector<uint32_t> m_KeyFrames;  // their numbers
  // The frame handed out last. Not a vector: growing one would clear what is about to be read over.
  std::unique_ptr<uint8_t[]> m_pBuffer;
  size_t m_nCapacity = 0;
  std::vector<uint8_t> m_Expanded;  // the frame, where its lengths are shorter than a start code
};
