#include "decode/H264Decoder.h"

namespace {

constexpr Library05 kLibrary = {"H264Decoder", "QXD05_DecodeOneFrame", [] { return QXD05_DecodeOpen(); },
                                QXD05_DecodeOneFrame, QXD05_DecodeClose};

}  // namespace

H264Decoder::H264Decoder() : Decoder05(kLibrary) {}

const Library05& H264Decoder::Library() {
  return kLibrary;
}
