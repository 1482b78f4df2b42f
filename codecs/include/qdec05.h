/* Interface of QDEC05, the codec library for H.264 (functions without suffix) and H.265 (functions with the
 * Ex suffix).
 *
 * A decoder belongs to one thread at a time; different decoders are independent. */
#ifndef QDEC05_H
#define QDEC05_H

#include "qxd_abi.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef void* QXD05_Handle;

/* One compressed frame: an access unit with start codes. The memory stays the caller's and is read during the
 * call only. */
typedef struct QXD05_Input {
  uint32_t dwLength; /* bytes at pData */
  const uint8_t* pData;
} QXD05_Input;

/* One decoded picture, 8-bit planar 4:2:0. Planes hold stride x height (luma) and stride x height / 2
 * (chroma) readable bytes; they belong to the decoder and stay valid until its next call. */
typedef struct QXD05_Picture {
  uint32_t nWidth; /* pixels */
  uint32_t nHeight;
  uint32_t nLumaStride; /* bytes per row */
  uint32_t nChroma1Stride;
  uint32_t nChroma2Stride;
  const uint8_t* pLuma;
  const uint8_t* pChroma1; /* Cb */
  const uint8_t* pChroma2; /* Cr */
  uint32_t bPresent;       /* 0: the frame completed no picture, and nothing else in this record counts */
} QXD05_Picture;

QXD_ASSERT_OFFSET(QXD05_Input, dwLength, 0);
QXD_ASSERT_OFFSET32(QXD05_Input, pData, 4);
QXD_ASSERT_SIZE32(QXD05_Input, 8);
QXD_ASSERT_OFFSET(QXD05_Picture, nWidth, 0);
QXD_ASSERT_OFFSET(QXD05_Picture, nHeight, 4);
QXD_ASSERT_OFFSET(QXD05_Picture, nLumaStride, 8);
QXD_ASSERT_OFFSET(QXD05_Picture, nChroma1Stride, 12);
QXD_ASSERT_OFFSET(QXD05_Picture, nChroma2Stride, 16);
QXD_ASSERT_OFFSET32(QXD05_Picture, pLuma, 20);
QXD_ASSERT_OFFSET32(QXD05_Picture, pChroma1, 24);
QXD_ASSERT_OFFSET32(QXD05_Picture, pChroma2, 28);
QXD_ASSERT_OFFSET32(QXD05_Picture, bPresent, 32);
QXD_ASSERT_SIZE32(QXD05_Picture, 36);

/* Starts the library: non-zero on success. */
QXD_API int32_t QXD_CALL QXD05_InitSDK(void);
QXD_API void QXD_CALL QXD05_ReleaseSDK(void);

/* A new decoder, or null. */
QXD_API QXD05_Handle QXD_CALL QXD05_DecodeOpen(void);
/* `codec`: 1 is H.265. */
QXD_API QXD05_Handle QXD_CALL QXD05_DecodeOpenEx(int32_t codec);

/* Decodes one frame. Above 0 on success, and *ppPicture then points to a record that stays valid until the
 * decoder's next call; look at bPresent. *pHeldBack 0: the input is decoded. 1: nothing is decoded, and a
 * picture that the decoder still holds back for reordering is handed out instead; the next frame must then be
 * a key frame. */
QXD_API int32_t QXD_CALL QXD05_DecodeOneFrame(QXD05_Handle decoder, const QXD05_Input* pInput,
                                              const QXD05_Picture** ppPicture, uint32_t* pHeldBack);
QXD_API int32_t QXD_CALL QXD05_DecodeOneFrameEx(QXD05_Handle decoder, const QXD05_Input* pInput,
                                                const QXD05_Picture** ppPicture, uint32_t* pHeldBack);

QXD_API void QXD_CALL QXD05_DecodeClose(QXD05_Handle decoder);
QXD_API void QXD_CALL QXD05_DecodeCloseEx(QXD05_Handle decoder);

#ifdef __cplusplus
}
#endif

#endif
