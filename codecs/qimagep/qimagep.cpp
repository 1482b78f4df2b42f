// QIMAGEP: sharpens the luma of pictures.
#include "qimagep.h"

#include <new>

#include "codecs/qimagep/Sharpener.h"

namespace {

constexpr uint32_t kVersion = 1;

// What a handle points to.
struct Stream {
  Sharpener sharpener;
  QXI_Picture output = {};
};

}  // namespace

int32_t QXD_CALL QXI_InitSDK(uint32_t nVersion) {
  return nVersion == kVersion ? 0 : -1;
}

void QXD_CALL QXI_ReleaseSDK(void) {}

QXI_Handle QXD_CALL QXI_Create(void) {
  return new (std::nothrow) Stream;
}

void QXD_CALL QXI_Release(QXI_Handle handle) {
  delete static_cast<Stream*>(handle);
}

int32_t QXD_CALL QXI_Do(QXI_Handle handle, const QXI_Picture** ppOutput, const QXI_Picture* pInput,
                        const QXI_Parameters* pParameters) {
  if (handle == nullptr || ppOutput == nullptr || pInput == nullptr || pParameters == nullptr) return -1;
  if (pInput->pPlane[0] == nullptr || pInput->nStride[0] < pInput->nWidth) return -1;
  Stream& stream = *static_cast<Stream*>(handle);
  const Sharpener::Plane luma =
      stream.sharpener.Sharpen({pInput->pPlane[0], pInput->nStride[0]}, pInput->nWidth, pInput->nHeight,
                               pParameters->nRadius, pParameters->fStrength);
  if (luma.pData == nullptr) return -1;
  stream.output = *pInput;  // the chroma stays where it is
  stream.output.pPlane[0] = luma.pData;
  stream.output.nStride[0] = luma.nStride;
  *ppOutput = &stream.output;
  return 0;
}
