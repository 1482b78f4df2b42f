// A recorded file as a player's source of frames: its reader, the frame that waits for its time, and what of
// a file is played.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "file/MediaFileStream.h"
#include "pacing/AudioPath.h"
#include "pacing/FrameControl.h"
#include "pacing/FrameTimeStamp.h"
#include "pacing/VideoPath.h"
#include "src/kitc/HeapBytes.h"
#include "src/kitc/Lock.h"

class FileSource {
 public:
  // All borrowed; they outlive this object.
  FileSource(FrameControl& control, VideoPath& video, AudioPath& audio)
      : m_Control(control), m_Video(video), m_Audio(audio) {}
  FileSource(const FileSource&) = delete;
  FileSource& operator=(const FileSource&) = delete;

  // Host threads, while no play thread runs.
  // Memory for one frame; false when there is none.
  bool AllocateBuffer();
  // From here on frames come from `reader`, all of them, at normal speed.
  void Open(std::shared_ptr<MediaFileStream> reader) EXCLUDES(m_ReaderLock);
  // Drops the reader and the memory.
  void Close() EXCLUDES(m_ReaderLock);

  // Any host thread.
  // Null when no file is open. The copy keeps the reader alive, not the file open.
  std::shared_ptr<MediaFileStream> Reader() EXCLUDES(m_ReaderLock);
  // Ends a read in progress, which may search a large file, and lets every later one fail.
  void Interrupt() EXCLUDES(m_ReaderLock);
  void SetKeyFramesOnly(bool only) { m_bKeyFramesOnly = only; }
  // Sound is played only then.
  void SetNormalSpeed(bool normal) { m_bNormalSpeed = normal; }

  // Video play thread: plays the sound that is due and at most one video frame. False when the file has no
  // more frames.
  bool PlayFrameFromFile() EXCLUDES(m_ReaderLock);
  // The same thread: how long PlayFrameFromFile has nothing to do, ms, if nobody sets the clock.
  uint32_t RestMs() const;

 private:
  bool ReadPendingFrame() EXCLUDES(m_ReaderLock);

  FrameControl& m_Control;
  VideoPath& m_Video;
  AudioPath& m_Audio;

  std::atomic<bool> m_bKeyFramesOnly{false};
  std::atomic<bool> m_bNormalSpeed{true};

  // A leaf: hosts ask the reader for its position while another thread closes the file.
  Lock m_ReaderLock;
  std::shared_ptr<MediaFileStream> m_pReader GUARDED_BY(m_ReaderLock);

  // Written while no play thread runs, then the video play thread's.
  HeapBytes m_pFrameBuffer;
  FrameRecord m_PendingFrame;  // read and not yet due; in m_pFrameBuffer, null when there is none
  // Not the one of live input: a host may push frames while a file plays.
  FrameTimeStamp m_TimeStampGen;
};
