// Picks libyuv's function for each pair of pixel kinds, and works around what it does not take: odd offsets
// into chroma.
#include "platform/posix/Stretch.h"

#include <libyuv.h>

#include <algorithm>
#include <array>

#include "platform/posix/NonTemporalCopy.h"
#include "platform/posix/StretchGeometry.h"

namespace platform {
namespace {

// Averages when shrinking to less than half, bilinear otherwise.
constexpr libyuv::FilterMode kFilter = libyuv::kFilterBox;

// The visible part of the target, or scratch memory that is read at once.
struct Output {
  uint8_t* pBytes;
  int32_t nPitch, nWidth, nHeight;
  bool bScratch = false;
};

// A planar picture at any place in memory. The chroma counts are those of samples that may be read.
struct Planes {
  const uint8_t* pLuma;
  int32_t nPitch;
  ChromaPlanes chroma;
  int32_t nChromaWidth, nChromaHeight;
};

// Pixels along an axis that begin with the first of a pair.
struct Run {
  int32_t nOffset;  // from the first pixel of all
  int32_t nStart, nLength, nChroma;
};

struct Runs {
  std::array<Run, 3> run;
  int32_t nCount = 0;

  void Add(const Run& added) { run[static_cast<size_t>(nCount++)] = added; }
  const Run* begin() const { return run.data(); }
  const Run* end() const { return run.data() + nCount; }
};

// libyuv takes the first pixel for the first of a pair and a sample for every begun pair. Where that does not
// hold, at odd starts and at a last pixel without a sample of its own, the axis is cut.
Runs CutAtPairs(int32_t start, int32_t length, int32_t chromaCount) {
  Runs runs;
  int32_t done = 0;
  if (start % 2 != 0) {
    runs.Add({0, start, 1, std::min(start / 2, chromaCount - 1)});
    done = 1;
  }
  const int32_t last = start + length - 1;
  const bool lastHasNoSample = last / 2 >= chromaCount;
  const int32_t body = length - done - (lastHasNoSample ? 1 : 0);
  if (body > 0) runs.Add({done, start + done, body, (start + done) / 2});
  if (lastHasNoSample && done < length) runs.Add({length - 1, last, 1, chromaCount - 1});
  return runs;
}

template <typename T>
T* At(T* plane, int32_t pitch, int32_t row, int32_t byteColumn) {
  return plane + static_cast<ptrdiff_t>(row) * pitch + byteColumn;
}

// Rows that begin on cache lines.
constexpr int32_t AlignedPitch(int32_t rowBytes) {
  return (rowBytes + 63) / 64 * 64;
}

// Calls convert(columns, rows, first output pixel) for pieces that libyuv converts rightly.
template <typename Convert>
void ForEachPiece(const Runs& columns, const Runs& rows, const Output& output, Convert&& convert) {
  for (const Run& y : rows) {
    for (const Run& x : columns)
      convert(x, y, At(output.pBytes, output.nPitch, y.nOffset, x.nOffset * 4));
  }
}

constexpr int32_t kMaxWidthPastCaches = 512;

// By the time that a window this small is drawn again on a wall of them, its part of the surface has left the
// near caches: 512 cameras of 176x144 take 8 % less processor time when it is not fetched first. Larger
// windows are converted faster through the caches (352x288 in 33 us, not 43), where whoever shows them finds
// them.
bool GoesPastCaches(const Output& output) {
  constexpr int64_t kMaxPixels = 32 * 1024;
  return !output.bScratch && output.nWidth <= kMaxWidthPastCaches &&
         int64_t{output.nWidth} * output.nHeight <= kMaxPixels;
}

// convert(first row, rows, target, target pitch) converts rows of a piece that many pixels wide and high; the
// first of them is even.
template <typename Convert>
void ConvertPastCaches(int32_t width, int32_t height, uint8_t* pixel, int32_t pitch, Convert&& convert) {
  constexpr int32_t kRowsOfTheWidest = 4;  // even: two rows share their chroma
  alignas(64) uint8_t converted[kRowsOfTheWidest * AlignedPitch(kMaxWidthPastCaches * 4)];
  const int32_t rowPitch = AlignedPitch(width * 4);
  const int32_t rowsAtOnce = static_cast<int32_t>(sizeof converted) / rowPitch / 2 * 2;
  for (int32_t row = 0; row < height; row += rowsAtOnce) {
    const int32_t rows = std::min(rowsAtOnce, height - row);
    convert(row, rows, converted, rowPitch);
    for (int32_t i = 0; i < rows; ++i) {
      NonTemporalCopy(At(pixel, pitch, row + i, 0), At(converted, rowPitch, i, 0),
                      static_cast<size_t>(width) * 4);
    }
  }
  FinishNonTemporalCopies();
}

void PlanarToRgb(const Planes& planes, int32_t left, int32_t top, const Output& output) {
  ForEachPiece(CutAtPairs(left, output.nWidth, planes.nChromaWidth),
               CutAtPairs(top, output.nHeight, planes.nChromaHeight), output,
               [&](const Run& x, const Run& y, uint8_t* pixel) {
                 const int32_t pitch = planes.chroma.nPitch;
                 const auto convert = [&](int32_t row, int32_t rows, uint8_t* target, int32_t targetPitch) {
                   const int32_t chromaRow = y.nChroma + row / 2;
                   libyuv::I420ToARGB(At(planes.pLuma, planes.nPitch, y.nStart + row, x.nStart),
                                      planes.nPitch, At(planes.chroma.pCb, pitch, chromaRow, x.nChroma),
                                      pitch, At(planes.chroma.pCr, pitch, chromaRow, x.nChroma), pitch,
                                      target, targetPitch, x.nLength, rows);
                 };
                 if (GoesPastCaches(output)) {
                   ConvertPastCaches(x.nLength, y.nLength, pixel, output.nPitch, convert);
                 } else {
                   convert(0, y.nLength, pixel, output.nPitch);
                 }
               });
}

// How many chroma samples of an axis a copy of [begin, end) may use.
int32_t ChromaCount(LONG begin, LONG end) {
  return std::max(end / 2, begin / 2 + 1);
}

void Nv12ToRgb(const PixelImage& source, const RECT& sourceRect, int32_t left, int32_t top,
               const Output& output) {
  const uint8_t* const chroma = At(source.pBytes, source.nPitch, source.nHeight, 0);
  ForEachPiece(CutAtPairs(left, output.nWidth, ChromaCount(sourceRect.left, sourceRect.right)),
               CutAtPairs(top, output.nHeight, ChromaCount(sourceRect.top, sourceRect.bottom)), output,
               [&](const Run& x, const Run& y, uint8_t* pixel) {
                 libyuv::NV12ToARGB(At(source.pBytes, source.nPitch, y.nStart, x.nStart), source.nPitch,
                                    At(chroma, source.nPitch, y.nChroma, x.nChroma * 2), source.nPitch, pixel,
                                    output.nPitch, x.nLength, y.nLength);
               });
}

Planes PlanesOf(const PixelImage& source, const RECT& sourceRect) {
  return {source.pBytes, source.nPitch, ChromaOf(source), ChromaCount(sourceRect.left, sourceRect.right),
          ChromaCount(sourceRect.top, sourceRect.bottom)};
}

// Fills the output from (left, top) of the source without stretching. kYuy2 needs an even `left`.
void ConvertToRgb(const PixelImage& source, const RECT& sourceRect, int32_t left, int32_t top,
                  const Output& output) {
  switch (source.kind) {
    case PixelKind::kRgb32:
      libyuv::ARGBCopy(At(source.pBytes, source.nPitch, top, left * 4), source.nPitch, output.pBytes,
                       output.nPitch, output.nWidth, output.nHeight);
      break;
    case PixelKind::kYuy2:
      libyuv::YUY2ToARGB(At(source.pBytes, source.nPitch, top, left * 2), source.nPitch, output.pBytes,
                         output.nPitch, output.nWidth, output.nHeight);
      break;
    case PixelKind::kYv12:
      PlanarToRgb(PlanesOf(source, sourceRect), left, top, output);
      break;
    case PixelKind::kNv12:
      Nv12ToRgb(source, sourceRect, left, top, output);
      break;
  }
}

// One plane of scratch memory.
struct PlaneSize {
  int32_t nPitch;
  size_t nBytes;

  PlaneSize(int32_t rowBytes, int32_t rows)
      : nPitch(AlignedPitch(rowBytes)), nBytes(static_cast<size_t>(nPitch) * static_cast<size_t>(rows)) {}
};

constexpr size_t kReadAheadBytes = 64;  // conversion may read a vector beyond the last row

HRESULT StretchPlanar(const Planes& planes, const StretchAxis& x, const StretchAxis& y, const Output& output,
                      StretchScratch& scratch) {
  const int32_t chromaWidth = (x.nBandLength + 1) / 2;
  const int32_t chromaHeight = (y.nBandLength + 1) / 2;
  const PlaneSize luma(x.nBandLength, y.nBandLength);
  const PlaneSize chroma(chromaWidth, chromaHeight);
  uint8_t* const bandLuma = scratch.Reserve(luma.nBytes + 2 * chroma.nBytes + kReadAheadBytes);
  if (bandLuma == nullptr) return DDERR_OUTOFMEMORY;
  uint8_t* const bandCb = bandLuma + luma.nBytes;
  uint8_t* const bandCr = bandCb + chroma.nBytes;

  libyuv::ScalePlane(At(planes.pLuma, planes.nPitch, y.nSource, x.nSource), planes.nPitch, x.nSourceLength,
                     y.nSourceLength, bandLuma, luma.nPitch, x.nBandLength, y.nBandLength, kFilter);
  const auto chromaBegin = [](const StretchAxis& axis, int32_t count) {
    return std::min(axis.nSource / 2, count - 1);
  };
  const auto chromaLength = [&](const StretchAxis& axis, int32_t count) {
    const int32_t end = std::min((axis.nSource + axis.nSourceLength + 1) / 2, count);
    return std::max(end - chromaBegin(axis, count), 1);
  };
  const int32_t left = chromaBegin(x, planes.nChromaWidth);
  const int32_t top = chromaBegin(y, planes.nChromaHeight);
  const int32_t sourceWidth = chromaLength(x, planes.nChromaWidth);
  const int32_t sourceHeight = chromaLength(y, planes.nChromaHeight);
  const int32_t pitch = planes.chroma.nPitch;
  libyuv::ScalePlane(At(planes.chroma.pCb, pitch, top, left), pitch, sourceWidth, sourceHeight, bandCb,
                     chroma.nPitch, chromaWidth, chromaHeight, kFilter);
  libyuv::ScalePlane(At(planes.chroma.pCr, pitch, top, left), pitch, sourceWidth, sourceHeight, bandCr,
                     chroma.nPitch, chromaWidth, chromaHeight, kFilter);

  const Planes band = {bandLuma, luma.nPitch, {bandCb, bandCr, chroma.nPitch}, chromaWidth, chromaHeight};
  PlanarToRgb(band, x.nBandBefore, y.nBandBefore, output);
  return DD_OK;
}

// Converts without stretching, then stretches 32-bit pixels.
HRESULT StretchAsRgb(const PixelImage& source, const RECT& sourceRect, const StretchAxis& x,
                     const StretchAxis& y, const Output& output, StretchScratch& scratch) {
  const bool isConverted = source.kind != PixelKind::kRgb32;
  const int32_t before = isConverted ? x.nSource % 2 : 0;  // conversion starts at a pair
  const PlaneSize converted(isConverted ? (before + x.nSourceLength) * 4 : 0,
                            isConverted ? y.nSourceLength : 0);
  const bool isCut = x.nBandLength != x.nTargetLength || y.nBandLength != y.nTargetLength;
  const PlaneSize band(isCut ? x.nBandLength * 4 : 0, isCut ? y.nBandLength : 0);
  uint8_t* const memory = scratch.Reserve(converted.nBytes + band.nBytes + kReadAheadBytes);
  if (memory == nullptr) return DDERR_OUTOFMEMORY;

  const uint8_t* pixels;
  int32_t pitch;
  if (isConverted) {
    ConvertToRgb(source, sourceRect, x.nSource - before, y.nSource,
                 {memory, converted.nPitch, before + x.nSourceLength, y.nSourceLength, true});
    pixels = memory + before * 4;
    pitch = converted.nPitch;
  } else {
    pixels = At(source.pBytes, source.nPitch, y.nSource, x.nSource * 4);
    pitch = source.nPitch;
  }
  uint8_t* const stretched = isCut ? memory + converted.nBytes : output.pBytes;
  const int32_t stretchedPitch = isCut ? band.nPitch : output.nPitch;
  libyuv::ARGBScale(pixels, pitch, x.nSourceLength, y.nSourceLength, stretched, stretchedPitch, x.nBandLength,
                    y.nBandLength, kFilter);
  if (isCut) {
    libyuv::ARGBCopy(At(stretched, band.nPitch, y.nBandBefore, x.nBandBefore * 4), band.nPitch, output.pBytes,
                     output.nPitch, output.nWidth, output.nHeight);
  }
  return DD_OK;
}

bool IsEmpty(const RECT& rect) {
  return rect.left >= rect.right || rect.top >= rect.bottom;
}

}  // namespace

uint8_t* StretchScratch::Reserve(size_t byteCount) {
  if (byteCount > m_nBytes) {
    m_pMemory.reset();  // first, so that never both are held
    m_nBytes = 0;
    m_pMemory = AllocateHeapMemory(byteCount);
    if (m_pMemory == nullptr) return nullptr;
    m_nBytes = byteCount;
  }
  return m_pMemory->Bytes();
}

HRESULT StretchCopy(const PixelImage& source, const RECT& sourceRect, const PixelImage& target,
                    const RECT& targetRect, StretchScratch& scratch) {
  if (target.kind != PixelKind::kRgb32) return DDERR_UNSUPPORTED;
  if (IsEmpty(sourceRect) || IsEmpty(targetRect)) return DDERR_INVALIDRECT;
  if (sourceRect.left < 0 || sourceRect.top < 0 || sourceRect.right > source.nWidth ||
      sourceRect.bottom > source.nHeight) {
    return DDERR_INVALIDRECT;
  }

  StretchAxis x;
  StretchAxis y;
  if (!CutStretchAxis(sourceRect.left, sourceRect.right, targetRect.left, targetRect.right, target.nWidth,
                      x) ||
      !CutStretchAxis(sourceRect.top, sourceRect.bottom, targetRect.top, targetRect.bottom, target.nHeight,
                      y)) {
    return DD_OK;  // all of it lies beyond the target
  }
  const Output output = {At(target.pBytes, target.nPitch, y.nTarget, x.nTarget * 4), target.nPitch,
                         x.nTargetLength, y.nTargetLength};

  // Not from the axes: what a cut leaves of a stretched axis may by chance be as long as its band.
  const auto differs = [](int64_t source0, int64_t source1, int64_t target0, int64_t target1) {
    return source1 - source0 != target1 - target0;
  };
  const bool isStretched = differs(sourceRect.left, sourceRect.right, targetRect.left, targetRect.right) ||
                           differs(sourceRect.top, sourceRect.bottom, targetRect.top, targetRect.bottom);
  const bool splitsPair = source.kind == PixelKind::kYuy2 && x.nSource % 2 != 0;
  if (!isStretched && !splitsPair) {
    ConvertToRgb(source, sourceRect, x.nSource, y.nSource, output);
    return DD_OK;
  }
  // To stretch planes costs less where pixels become fewer, to stretch what is converted where they become
  // more.
  const bool shrinks = int64_t{x.nBandLength} * y.nBandLength < int64_t{x.nSourceLength} * y.nSourceLength;
  if (source.kind == PixelKind::kYv12 && shrinks) {
    return StretchPlanar(PlanesOf(source, sourceRect), x, y, output, scratch);
  }
  return StretchAsRgb(source, sourceRect, x, y, output, scratch);
}

}  // namespace platform
