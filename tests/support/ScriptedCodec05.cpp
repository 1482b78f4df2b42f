#include "tests/support/ScriptedCodec05.h"

#include <algorithm>
#include <memory>

namespace scripted05 {

void MakePicture(Decoder& decoder, uint32_t width, uint32_t height, uint32_t lumaStride,
                 uint32_t chromaStride, uint8_t luma) {
  const size_t lumaBytes = static_cast<size_t>(lumaStride) * height;
  const size_t chromaBytes = static_cast<size_t>(chromaStride) * height / 2;
  decoder.memory.assign(lumaBytes + 2 * chromaBytes, luma);
  uint8_t* const first = decoder.memory.data();
  std::fill_n(first + lumaBytes, chromaBytes, static_cast<uint8_t>(luma + 1));
  std::fill_n(first + lumaBytes + chromaBytes, chromaBytes, static_cast<uint8_t>(luma + 2));
  decoder.picture = {width,
                     height,
                     lumaStride,
                     chromaStride,
                     chromaStride,
                     first,
                     first + lumaBytes,
                     first + lumaBytes + chromaBytes,
                     1};
}

Script& TheScript() {
  static Script script;
  return script;
}

Calls& TheCalls() {
  static Calls calls;
  return calls;
}

void Reset() {
  TheScript() = Script();
  std::destroy_at(&TheCalls());
  std::construct_at(&TheCalls());
}

void Crash() {
  volatile uintptr_t nowhere = 8;
  *reinterpret_cast<volatile uint64_t*>(nowhere) = 1;
}

namespace {

QXD05_Handle Open(bool ex) {
  ++(ex ? TheCalls().opensEx : TheCalls().opens);
  if (TheScript().open && !TheScript().open()) return nullptr;
  Decoder* const decoder = new Decoder;
  decoder->bEx = ex;
  return decoder;
}

int32_t DecodeOne(bool ex, QXD05_Handle handle, const QXD05_Input& input, const QXD05_Picture** output) {
  ++(ex ? TheCalls().decodesEx : TheCalls().decodes);
  Decoder& decoder = *static_cast<Decoder*>(handle);
  if (decoder.bEx != ex) return -1;
  int32_t result = 1;
  if (TheScript().decode)
    result = TheScript().decode(decoder, input);
  else
    MakePicture(decoder, 64, 48, 64, 32, input.pData[0]);
  *output = &decoder.picture;
  return result;
}

void Close(bool ex, QXD05_Handle handle) {
  ++(ex ? TheCalls().closesEx : TheCalls().closes);
  delete static_cast<Decoder*>(handle);
  if (TheScript().close) TheScript().close();
}

}  // namespace

}  // namespace scripted05

int32_t QXD_CALL QXD05_InitSDK(void) {
  ++scripted05::TheCalls().inits;
  return scripted05::TheScript().nInitResult;
}

void QXD_CALL QXD05_ReleaseSDK(void) {
  ++scripted05::TheCalls().releases;
}

QXD05_Handle QXD_CALL QXD05_DecodeOpen(void) {
  return scripted05::Open(false);
}

QXD05_Handle QXD_CALL QXD05_DecodeOpenEx(int32_t codec) {
  return codec == 1 ? scripted05::Open(true) : nullptr;
}

int32_t QXD_CALL QXD05_DecodeOneFrame(QXD05_Handle decoder, const QXD05_Input* pInput,
                                      const QXD05_Picture** ppPicture, uint32_t* /*pHeldBack*/) {
  return scripted05::DecodeOne(false, decoder, *pInput, ppPicture);
}

int32_t QXD_CALL QXD05_DecodeOneFrameEx(QXD05_Handle decoder, const QXD05_Input* pInput,
                                        const QXD05_Picture** ppPicture, uint32_t* /*pHeldBack*/) {
  return scripted05::DecodeOne(true, decoder, *pInput, ppPicture);
}

void QXD_CALL QXD05_DecodeClose(QXD05_Handle decoder) {
  scripted05::Close(false, decoder);
}

void QXD_CALL QXD05_DecodeCloseEx(QXD05_Handle decoder) {
  scripted05::Close(true, decoder);
}
