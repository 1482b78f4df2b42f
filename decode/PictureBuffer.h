// The one buffer into which a video decoder copies its library's pictures.
#pragma once

#include "src/kitc/HeapBytes.h"
#include "video/DecodedPicture.h"

// A picture in a codec library's memory: planar 4:2:0. Readable bytes: luma stride x height, and of both
// chroma planes half of first chroma stride x height, truncated.
struct LibraryPicture {
  uint32_t nWidth = 0;  // pixels
  uint32_t nHeight = 0;
  uint32_t nStride[3] = {};  // bytes per row
  const uint8_t* pPlane[3] = {};
};

// Reused from picture to picture; allocated anew only when the bytes of a picture change.
class PictureBuffer {
 public:
  // Copies `source` and describes the copy in `picture`, which stays valid until the next call. Planes are
  // null when there is no memory: then, and until a picture of another size comes, nothing is copied. False
  // when an allocation failed in this very call.
  bool Store(const LibraryPicture& source, DecodedPicture& picture);
  // Bytes that the last picture needed, also when there was no memory for them.
  uint64_t Size() const { return m_llSize; }

 private:
  bool Resize(uint64_t bytes);

  uint64_t m_llSize = 0;
  HeapBytes m_pMemory;
  uint8_t* m_pFirst = nullptr;  // inside m_pMemory, on a cache line
};
