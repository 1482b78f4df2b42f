#include "decode/H265Decoder.h"

namespace {

// The library holds pictures back for up to this many frame periods.
constexpr uint32_t kDelayFrames = 4;
// The library's number for H.265.
constexpr int32_t kLibraryCodec = 1;

constexpr Library05 kLibrary = {"H265Decoder", "QXD05_DecodeOneFrameEx",
                                [] { return QXD05_DecodeOpenEx(kLibraryCodec); }, QXD05_DecodeOneFrameEx,
                                QXD05_DecodeCloseEx};

}  // namespace

H265Decoder::H265Decoder() : Decoder05(kLibrary) {}

const Library05& H265Decoder::Library() {
  return kLibrary;
}

bool H265Decoder::Open(uint32_t width, uint32_t height, uint32_t framePeriodMs) {
  m_nDelayMs = framePeriodMs * kDelayFrames;
  return Decoder05::Open(width, height, framePeriodMs);
}
