/* A host in C99 that knows the library only through the public header. */
#include "include/qxsdkp.h"

#include "tests/api/c_host.h"

int32_t CHostFill(void* pSurface, const QXSP_RECT* pRect, uint32_t dwPixel) {
  QXSP_SURFACE_DESC desc;
  int32_t x, y;
  if (!QXSP_LockSurface(pSurface, pRect, &desc)) return 0;
  for (y = 0; y < pRect->bottom - pRect->top; y++) {
    uint32_t* const row = (uint32_t*)(void*)((uint8_t*)desc.lpSurface + (intptr_t)y * desc.lPitch);
    for (x = 0; x < pRect->right - pRect->left; x++)
      row[x] = dwPixel;
  }
  return QXSP_UnlockSurface(pSurface);
}

QXSP_FILE_HEADER CHostHeader(void) {
  QXSP_FILE_HEADER header = {.szMarker = {'Q', 'F', 'H'}};
  header.wVideoCodecID = QXSP_VIDEO_H265;
  header.wFrameRateDen = 1;
  header.wAudioBits = 16;
  header.wRecFileType = 7;
  return header;
}
