#include "decode/PictureBuffer.h"

#include <algorithm>
#include <cstring>

namespace {

// The conversions read whole vectors row by row: rows that start on a cache line cost them least.
constexpr size_t kAlignment = 64;
// Plane sizes are 32-bit values; a library that claims more than that has lost its way.
constexpr uint64_t kMaxBytes = UINT32_MAX - kAlignment;

uint64_t PlaneBytes(uint32_t stride, uint32_t height) {
  return std::min(static_cast<uint64_t>(stride) * height, kMaxBytes);
}

}  // namespace

bool PictureBuffer::Store(const LibraryPicture& source, DecodedPicture& picture) {
  const uint64_t luma = PlaneBytes(source.nStride[0], source.nHeight);
  const uint64_t chroma = PlaneBytes(source.nStride[1], source.nHeight) / 2;
  const uint64_t total = luma + 2 * chroma;
  const bool enough = total == m_llSize || Resize(total);

  picture = DecodedPicture();
  picture.bHasImage = true;
  picture.nWidth = source.nWidth;
  picture.nHeight = source.nHeight;
  picture.nPixelFormat = QPF_YV12;
  std::copy_n(source.nStride, 3, picture.nStride);
  picture.nPlaneSize[0] = static_cast<uint32_t>(luma);
  picture.nPlaneSize[1] = static_cast<uint32_t>(chroma);
  picture.nPlaneSize[2] = static_cast<uint32_t>(PlaneBytes(source.nStride[2], source.nHeight) / 2);
  if (m_pFirst == nullptr) return enough;

  picture.pPlane[0] = m_pFirst;
  picture.pPlane[1] = m_pFirst + luma;
  picture.pPlane[2] = m_pFirst + luma + chroma;
  std::memcpy(picture.pPlane[0], source.pPlane[0], static_cast<size_t>(luma));
  std::memcpy(picture.pPlane[1], source.pPlane[1], static_cast<size_t>(chroma));
  std::memcpy(picture.pPlane[2], source.pPlane[2], static_cast<size_t>(chroma));
  return true;
}

bool PictureBuffer::Resize(uint64_t bytes) {
  m_llSize = bytes;
  m_pFirst = nullptr;
  m_pMemory.reset();  // first, so that a large picture never needs both buffers
  if (bytes > kMaxBytes) return false;
  m_pMemory = AllocateHeapBytes(static_cast<size_t>(bytes) + kAlignment);
  if (!m_pMemory) return false;
  const uintptr_t address = reinterpret_cast<uintptr_t>(m_pMemory.get());
  m_pFirst = m_pMemory.get() + (kAlignment - address % kAlignment) % kAlignment;
  return true;
}
