/* Interface of QIMAGEP, the optional library that improves pictures before they are shown. It is loaded at
 * run time, its functions are found by name.
 *
 * A handle belongs to one thread at a time; different handles are independent. */
#ifndef QIMAGEP_H
#define QIMAGEP_H

#include "qxd_abi.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef void* QXI_Handle;

/* One 8-bit planar 4:2:0 picture: luma, Cb, Cr. */
typedef struct QXI_Picture {
  uint32_t nWidth; /* pixels */
  uint32_t nHeight;
  uint32_t nStride[3]; /* bytes per row */
  const uint8_t* pPlane[3];
} QXI_Picture;

/* What the values mean is the library's; in ours a pixel becomes mean + strength * (pixel - mean). */
typedef struct QXI_Parameters {
  int32_t nRadius; /* pixels; the mean is that of 2 * radius + 1 pixels a side */
  float fStrength; /* 1: the picture as it is; above: sharper */
} QXI_Parameters;

QXD_ASSERT_OFFSET(QXI_Picture, nWidth, 0);
QXD_ASSERT_OFFSET(QXI_Picture, nHeight, 4);
QXD_ASSERT_OFFSET(QXI_Picture, nStride, 8);
QXD_ASSERT_OFFSET32(QXI_Picture, pPlane, 20);
QXD_ASSERT_SIZE32(QXI_Picture, 32);
QXD_ASSERT(size_QXI_Parameters, sizeof(QXI_Parameters) == 8);

/* Starts the library; the argument is 1. Negative on failure. */
QXD_API int32_t QXD_CALL QXI_InitSDK(uint32_t nVersion);
QXD_API void QXD_CALL QXI_ReleaseSDK(void);

/* What one stream of pictures needs, or null. */
QXD_API QXI_Handle QXD_CALL QXI_Create(void);
QXD_API void QXD_CALL QXI_Release(QXI_Handle handle);

/* Improves a picture. 0 on success: *ppOutput is then a picture of the same size, the record the library's
 * own. It is valid until the handle's next call and no longer than the input: planes that are not changed may
 * be the input's. */
QXD_API int32_t QXD_CALL QXI_Do(QXI_Handle handle, const QXI_Picture** ppOutput, const QXI_Picture* pInput,
                                const QXI_Parameters* pParameters);

#ifdef __cplusplus
}
#endif

#endif
