/* Interface of QDEC04, the codec library for the older video codec.
 *
 * A decoder belongs to one thread at a time; different decoders are independent. */
#ifndef QDEC04_H
#define QDEC04_H

#include "qxd_abi.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct QXD04_OpenParameters {
  uint32_t nWidth; /* pixels */
  uint32_t nHeight;
  uint32_t dwReserved[9]; /* 0 */
} QXD04_OpenParameters;

/* A decoder, and at the same time what is exchanged with it. The caller writes dwFrameType, dwInputLength and
 * the bytes at pInput before each decode; everything else is the library's. */
typedef struct QXD04_Context {
  uint32_t nWidth; /* of the picture, pixels */
  uint32_t nHeight;
  uint32_t nLumaStride;     /* bytes per row */
  uint32_t nChromaStride;   /* of both chroma planes */
  uint32_t dwFrameType;     /* 0 to 4, from the frame's head */
  uint32_t dwInputCapacity; /* bytes at pInput */
  uint32_t dwInputLength;   /* bytes to decode */
  uint8_t* pInput;
  const uint8_t* pLuma; /* 8-bit planar 4:2:0: stride x height, and stride x height / 2 readable bytes; null:
                           no picture */
  const uint8_t* pChroma1; /* Cb */
  const uint8_t* pChroma2; /* Cr */
} QXD04_Context;

QXD_ASSERT_OFFSET(QXD04_OpenParameters, nWidth, 0);
QXD_ASSERT_OFFSET(QXD04_OpenParameters, nHeight, 4);
QXD_ASSERT(size_QXD04_OpenParameters, sizeof(QXD04_OpenParameters) == 44);
QXD_ASSERT_OFFSET(QXD04_Context, nWidth, 0);
QXD_ASSERT_OFFSET(QXD04_Context, nHeight, 4);
QXD_ASSERT_OFFSET(QXD04_Context, nLumaStride, 8);
QXD_ASSERT_OFFSET(QXD04_Context, nChromaStride, 12);
QXD_ASSERT_OFFSET(QXD04_Context, dwFrameType, 16);
QXD_ASSERT_OFFSET(QXD04_Context, dwInputCapacity, 20);
QXD_ASSERT_OFFSET(QXD04_Context, dwInputLength, 24);
QXD_ASSERT_OFFSET32(QXD04_Context, pInput, 28);
QXD_ASSERT_OFFSET32(QXD04_Context, pLuma, 32);
QXD_ASSERT_OFFSET32(QXD04_Context, pChroma1, 36);
QXD_ASSERT_OFFSET32(QXD04_Context, pChroma2, 40);

/* Starts the library: non-zero on success. */
QXD_API int32_t QXD_CALL QXD04_InitSDK(void);
QXD_API void QXD_CALL QXD04_ReleaseSDK(void);

/* A new decoder, or null. */
QXD_API QXD04_Context* QXD_CALL QXD04_DecodeOpen(const QXD04_OpenParameters* pParameters);
/* Decodes what lies in the input buffer. 0: the context describes a picture, which stays valid until the
 * decoder's next call. Non-zero: there is none. */
QXD_API int32_t QXD_CALL QXD04_DecodeOneFrame(QXD04_Context* pContext);
QXD_API void QXD_CALL QXD04_DecodeClose(QXD04_Context* pContext);

#ifdef __cplusplus
}
#endif

#endif
