// Stands in for the H.264/H.265 library in a test program: a program that links it has every QXD05_ function
// do what the test says.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <vector>

#include "qdec05.h"

namespace scripted05 {

// One decoder of the scripted library: the picture it hands out next and the memory behind its planes.
struct Decoder {
  bool bEx = false;
  QXD05_Picture picture = {};
  std::vector<uint8_t> memory;
};

// Makes decoder.picture a present picture of this size with the given strides; every luma byte is `luma`, the
// chroma bytes are luma + 1 and luma + 2.
void MakePicture(Decoder& decoder, uint32_t width, uint32_t height, uint32_t lumaStride,
                 uint32_t chromaStride, uint8_t luma);

// What the library does. Set it up before the decoders are used; the functions run on the decoders' threads.
struct Script {
  int32_t nInitResult = 1;
  std::function<bool()> open;  // false: refuses
  // What DecodeOneFrame returns; the default hands out a 64 x 48 picture whose luma is the input's first
  // byte.
  std::function<int32_t(Decoder&, const QXD05_Input&)> decode;
  std::function<void()> close;  // runs after the decoder's memory was released
};

struct Calls {
  std::atomic<int> inits{0}, releases{0};
  std::atomic<int> opens{0}, decodes{0}, closes{0};        // of the functions without suffix
  std::atomic<int> opensEx{0}, decodesEx{0}, closesEx{0};  // of the functions with the Ex suffix
};

Script& TheScript();
Calls& TheCalls();
// Back to the defaults, counts at 0.
void Reset();

// Writes to memory that does not exist.
void Crash();

}  // namespace scripted05
