/* Interface of QMP4PKG, the library that takes MP4 files apart into numbered frames.
 *
 * A file is opened in one of two ways that QP_CheckFile chooses: unpacking mode reads the MP4 itself, index
 * mode takes the places of its frames from an index file (.qdx) beside it. Each track numbers its frames from
 * 1, in the order in which they are decoded. Video comes with start codes, key frames with their parameter
 * sets in front.
 *
 * Outside Windows a sound track ends with an empty frame that is later than every picture.
 *
 * A handle belongs to one thread at a time; different handles are independent. */
#ifndef QMP4PKG_H
#define QMP4PKG_H

#include "qxd_abi.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef void* QP_Handle;

typedef struct QP_CheckResult {
  uint32_t nMode;  /* not 0: unpacking mode; 0: index mode */
  uint32_t nValue; /* goes unchanged to QP_OpenFile */
} QP_CheckResult;

/* A file in unpacking mode. */
typedef struct QP_UnpkgInfo {
  char szVideoCode[8]; /* sample-entry code, ends with a 0 */
  uint32_t nWidth;     /* pixels */
  uint32_t nHeight;
  uint32_t nVideoFrames;
  uint32_t nReserved;
  double dFrameRate; /* frames per second */
  char szAudioCode[8];
  uint32_t nAudioFrames; /* 0: no sound */
  uint32_t nReserved2;
} QP_UnpkgInfo;

/* A file in index mode. */
typedef struct QP_FileInfo {
  uint32_t nReserved;
  uint32_t bAudio; /* not 0: the file has sound */
  char szVideoCode[8];
  uint32_t nWidth; /* pixels */
  uint32_t nHeight;
  double dFrameRate; /* frames per second */
  uint32_t nVideoFrames;
  char szAudioCode[8];
  uint32_t nAudioFrames;
} QP_FileInfo;

typedef struct QP_AudioInfo {
  uint8_t nReserved;
  uint8_t nChannels;
  uint8_t nReserved2[2];
  uint32_t nSampleRate; /* Hz */
  uint8_t nReserved3[24];
} QP_AudioInfo;

/* Tracks. */
enum { QP_TRACK_VIDEO = 1, QP_TRACK_AUDIO = 2 };

/* Asks for one frame, by its first two fields, and takes the answer. */
typedef struct QP_FrameRequest {
  uint32_t nTrack;
  uint32_t nFrame;      /* in the track, from 1 */
  const uint8_t* pData; /* the library's, valid until the handle's next call */
  uint32_t dwSize;      /* bytes at pData */
  int64_t llTimeStamp;  /* ms, never goes back in a track */
  uint32_t bKeyFrame;   /* not 0: a video key frame */
  uint32_t nReserved;
} QP_FrameRequest;

QXD_ASSERT_OFFSET(QP_CheckResult, nMode, 0);
QXD_ASSERT_OFFSET(QP_CheckResult, nValue, 4);
QXD_ASSERT(size_QP_CheckResult, sizeof(QP_CheckResult) == 8);
QXD_ASSERT_OFFSET(QP_UnpkgInfo, szVideoCode, 0);
QXD_ASSERT_OFFSET(QP_UnpkgInfo, nWidth, 8);
QXD_ASSERT_OFFSET(QP_UnpkgInfo, nHeight, 12);
QXD_ASSERT_OFFSET(QP_UnpkgInfo, nVideoFrames, 16);
QXD_ASSERT_OFFSET(QP_UnpkgInfo, dFrameRate, 24);
QXD_ASSERT_OFFSET(QP_UnpkgInfo, szAudioCode, 32);
QXD_ASSERT_OFFSET(QP_UnpkgInfo, nAudioFrames, 40);
QXD_ASSERT(size_QP_UnpkgInfo, sizeof(QP_UnpkgInfo) == 48);
QXD_ASSERT_OFFSET(QP_FileInfo, bAudio, 4);
QXD_ASSERT_OFFSET(QP_FileInfo, szVideoCode, 8);
QXD_ASSERT_OFFSET(QP_FileInfo, nWidth, 16);
QXD_ASSERT_OFFSET(QP_FileInfo, nHeight, 20);
QXD_ASSERT_OFFSET(QP_FileInfo, dFrameRate, 24);
QXD_ASSERT_OFFSET(QP_FileInfo, nVideoFrames, 32);
QXD_ASSERT_OFFSET(QP_FileInfo, szAudioCode, 36);
QXD_ASSERT_OFFSET(QP_FileInfo, nAudioFrames, 44);
QXD_ASSERT(size_QP_FileInfo, sizeof(QP_FileInfo) == 48);
QXD_ASSERT_OFFSET(QP_AudioInfo, nChannels, 1);
QXD_ASSERT_OFFSET(QP_AudioInfo, nSampleRate, 4);
QXD_ASSERT(size_QP_AudioInfo, sizeof(QP_AudioInfo) == 32);
QXD_ASSERT_OFFSET(QP_FrameRequest, nTrack, 0);
QXD_ASSERT_OFFSET(QP_FrameRequest, nFrame, 4);
QXD_ASSERT_OFFSET32(QP_FrameRequest, pData, 8);
QXD_ASSERT_OFFSET32(QP_FrameRequest, dwSize, 12);
QXD_ASSERT_OFFSET32(QP_FrameRequest, llTimeStamp, 16);
QXD_ASSERT_OFFSET32(QP_FrameRequest, bKeyFrame, 24);
QXD_ASSERT_SIZE32(QP_FrameRequest, 32);

/* Fills the result. 0: the file cannot be used. */
QXD_API int32_t QXD_CALL QP_CheckFile(const char* pszFile, QP_CheckResult* pResult);

/* Opens a file and describes it; null on failure. The last argument is 0. The index file's name is the MP4's
 * with its last three characters replaced by "qdx". */
QXD_API QP_Handle QXD_CALL QP_OpenUnpkg(const char* pszFile, QP_UnpkgInfo* pInfo, uint32_t nReserved);
QXD_API QP_Handle QXD_CALL QP_OpenFile(const char* pszFile, uint32_t nValue, const char* pszIndexFile,
                                       QP_FileInfo* pInfo, uint32_t nReserved);

/* Describes the sound of AAC. 0 or below: there is none. */
QXD_API int32_t QXD_CALL QP_UpkGetAudioInfo(QP_Handle handle, QP_AudioInfo* pInfo);
QXD_API int32_t QXD_CALL QP_QdxGetAudioInfo(QP_Handle handle, QP_AudioInfo* pInfo);

/* Reads one frame. 0: it cannot be read, or the track has no frame of this number. */
QXD_API int32_t QXD_CALL QP_UnpkgOneFrame(QP_Handle handle, QP_FrameRequest* pRequest);
QXD_API int32_t QXD_CALL QP_ReadFile(QP_Handle handle, QP_FrameRequest* pRequest);

/* Where to start decoding for video frame `nFrame`: at *pKeyFrame, and when *pContinueFrame is not 0 go on
 * there once that key frame is decoded. Above 0 on success. */
QXD_API int32_t QXD_CALL QP_UpkVIdrFrameNo(QP_Handle handle, uint32_t nFrame, uint32_t* pKeyFrame,
                                           uint32_t* pContinueFrame);
QXD_API int32_t QXD_CALL QP_ReadVIdrFrameNo(QP_Handle handle, uint32_t nFrame, uint32_t* pKeyFrame,
                                            uint32_t* pContinueFrame);

/* With `nForward` 1, the number of the first key frame at or after `nFrame`; -1 when there is none. */
QXD_API int32_t QXD_CALL QP_UnpkgKeyFrame(QP_Handle handle, uint32_t nFrame, uint32_t nForward);
QXD_API int32_t QXD_CALL QP_ReadKeyFrame(QP_Handle handle, uint32_t nFrame, uint32_t nForward);

QXD_API void QXD_CALL QP_CloseUnpkg(QP_Handle handle);
QXD_API void QXD_CALL QP_CloseFile(QP_Handle handle);

#ifdef __cplusplus
}
#endif

#endif
