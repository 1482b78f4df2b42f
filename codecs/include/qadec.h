/* Interface of QADEC, the codec library for compressed sound. It gives interleaved 16-bit PCM.
 *
 * A decoder belongs to one thread at a time; different decoders are independent. */
#ifndef QADEC_H
#define QADEC_H

#include "qxd_abi.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef void* QAD_Handle;

/* Kinds of sound. */
enum { QAD_AMR = 0, QAD_ALAW = 1, QAD_MULAW = 2, QAD_AAC = 4 };

/* A new decoder, or null. */
QXD_API QAD_Handle QXD_CALL QAD_DecodeOpenEx(int32_t kind);
/* Tells an AAC decoder that its frames come without headers. `objectType`: 2 is AAC LC. Negative on failure.
 */
QXD_API int32_t QXD_CALL QAD_AACSetRawMode(QAD_Handle decoder, int32_t objectType, uint32_t channels,
                                           uint32_t sampleRate);
/* Decodes one frame, of AMR also several that follow each other. The number of PCM bytes, and *ppPCM points
 * to them until the decoder's next call; 0 or below: none. */
QXD_API int32_t QXD_CALL QAD_DecodeOneFrameEx(QAD_Handle decoder, const uint8_t* pData, uint32_t dwSize,
                                              uint8_t** ppPCM);
QXD_API void QXD_CALL QAD_DecodeCloseEx(QAD_Handle decoder);

#ifdef __cplusplus
}
#endif

#endif
