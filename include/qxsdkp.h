// The host's interface to the QXSDKP media player library: plays live camera streams and recorded files in
// the host's windows. C99 and C++; 47 functions, their records and callbacks.
//
// CONTENTS
//   1 Basics                      6 Live streams             11 Snapshots and image processing
//   2 Constants                   7 Playback control         12 Sound
//   3 Records                     8 Recorded files           13 Looking into files without a player
//   4 Callbacks and events        9 Windows, screens, zoom
//   5 Start and stop, players    10 Text overlay
//
// A STREAM IN SEVEN CALLS
//   QXSP_InitSDK();
//   const int32_t player = QXSP_CreatePlayer();
//   QXSP_OpenStream(player, &header, sizeof(header));         // a QXSP_FILE_HEADER
//   QXSP_SetVideoPreview(player, window, &windowOnDesktop, 1);
//   QXSP_WriteToStreamOneFrame2(player, bytes, size, ms, 0);  // for every frame, as it arrives
//   QXSP_ReleasePlayer(player);
//   QXSP_ReleaseSDK();
#ifndef QXSDKP_H_
#define QXSDKP_H_

#include <stdint.h>

// ==========================================================================================================
// 1  Basics
//
// Results. A function that answers "1 or 0" answers exactly 1 for success and 0 for failure; the reason of a
// failure is in the log. No exception leaves the library. Functions without a result give no sign of success.
//
// Player identifiers. QXSP_CreatePlayer hands out 0 to 511. Every other value, and that of a player which
// does not exist, is a bad identifier: the function changes nothing, logs nothing and answers what its
// description says, mostly 0.
//
// Null pointers and sizes. Pointers marked "may be null" may be; a null one elsewhere makes the function fail
// and nothing is read or written. The library never keeps a pointer of the host beyond the call, except
// windows and callbacks.
//
// Threads. Functions may be called from any thread, for different players at the same time, with these rules:
//   - QXSP_InitSDK and QXSP_ReleaseSDK: on one thread, while no other call into the library runs.
//   - QXSP_ReleasePlayer: while no other thread is in a call for that player.
//   - The frames of one player: written by one thread at a time, in decoding order.
//
// A player with an open source runs two threads: its play thread decodes, presents and calls back, its sound
// thread feeds the sound device. Functions that say "waits" return after both have ended, which takes as long
// as the frame in work takes to decode and present, callbacks included; so callbacks must not call them.
//
// Units. Times are milliseconds, sizes bytes unless pixels are named. Text is bytes, zero-terminated.

#if defined(_WIN32)
#define QXSP_CALL __stdcall
#define QXSP_CALLBACK __cdecl
#if defined(QXSDKP_BUILDING)
#define QXSP_API  // exported by the module definition file, under decorated names
#else
#define QXSP_API __declspec(dllimport)
#endif
#else
#define QXSP_CALL
#define QXSP_CALLBACK
#define QXSP_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

// ==========================================================================================================
// 2  Constants

enum {
  QXSP_MAX_PLAYERS = 512,
  QXSP_NO_PLAYER = -1,  // QXSP_CreatePlayer: all players are in use
};

// QXSP_FILE_HEADER.wVideoCodecID
enum {
  QXSP_VIDEO_QENC04 = 0,  // the older video codec
  QXSP_VIDEO_H264 = 1,
  QXSP_VIDEO_H265 = 2,
};

// QXSP_FILE_HEADER.wVideoDataType
enum {
  QXSP_DATA_VIDEO = 0,  // and every value but 1
  QXSP_DATA_VIDEO_AND_AUDIO = 1,
};

// QXSP_FILE_HEADER.wAudioCodecID
enum {
  QXSP_AUDIO_PCM = 0,
  QXSP_AUDIO_AMR = 1,
  QXSP_AUDIO_ALAW = 2,
  QXSP_AUDIO_MULAW = 3,
  QXSP_AUDIO_AAC = 4,
};

// Results of QXSP_WriteToStreamOneFrame and QXSP_WriteToStreamOneFrame2.
enum {
  QXSP_WRITE_QUEUED = 0,               // also for a bad identifier
  QXSP_WRITE_ILLEGAL_FRAME = 1,        // the older codec's frame head names a kind that does not exist
  QXSP_WRITE_WAIT_FIRST_KEYFRAME = 2,  // dropped: no key frame yet, or no stream was opened
  QXSP_WRITE_WAIT_KEYFRAME = 3,  // dropped: waiting for a key frame after a loss; or the stream is closed
  QXSP_WRITE_QUEUE_FULL = 4,     // dropped: 200 video frames are queued, or a key frame that no stream awaits
  QXSP_WRITE_NO_MEMORY = 5,      // dropped: no memory for the copy
};

// Frame-control modes: when a queued live frame is due.
enum {
  // Stands for QXSP_MODE_BUFFERED(0).
  QXSP_MODE_DEFAULT = 0,
  // As soon as it is queued: lowest latency, no pacing.
  QXSP_MODE_AT_ONCE = 0x10,
  // By its timestamp; the clock gains 1 ms a frame only while more than 150 video frames are queued.
  QXSP_MODE_CATCH_UP = 0x30,
};
// By its timestamp; the clock is nudged by 1 ms a frame, so that about steps * 200 ms stay queued; up to 15.
#define QXSP_MODE_BUFFERED(steps) (0x20 + (steps))

// Events, for the window message and QXSP_NOTIFY_CALLBACK.
enum {
  QXSP_EVENT_SNAPSHOT = 1,     // QXSP_GetBitmap succeeded
  QXSP_EVENT_END_OF_FILE = 2,  // a recorded file has played to its end
};

// Log levels: of a line, and as threshold of an output, which takes the lines of its own level and above.
enum {
  QXSP_LOG_ALL = 0,
  QXSP_LOG_DEBUG = 1,
  QXSP_LOG_INFO = 2,
  QXSP_LOG_NOTIFY = 3,
  QXSP_LOG_WARNING = 4,
  QXSP_LOG_ERROR = 5,
  QXSP_LOG_NONE = 6,  // as threshold: the output is off
};

// QXSP_OSD_ITEM.wType
enum {
  QXSP_OSD_TEXT = 0,
  QXSP_OSD_PICTURE = 1,  // not supported: QXSP_SetOSD fails
};

// QXSP_OSD_ITEM.nAnchor. Length is the text's in bytes, pixels are those of nX and nY.
enum {
  QXSP_ANCHOR_TOP_LEFT = 0,      // (nX, nY) is the text's top-left corner; as is every value not named here
  QXSP_ANCHOR_TOP_RIGHT = 1,     // the text begins 16 * length pixels left of nX
  QXSP_ANCHOR_BOTTOM_RIGHT = 2,  // as QXSP_ANCHOR_TOP_RIGHT, and 16 pixels above nY
  QXSP_ANCHOR_BOTTOM_LEFT = 3,   // the text begins 16 pixels above nY
};

// QXSP_ZoomViewEx: whose part of the picture is set.
enum {
  QXSP_WINDOW_MAIN = 0,
  QXSP_WINDOW_SUB = 1,
};

// QXSP_GotoKeyFrame: the first key frame of the file.
#define QXSP_FIRST_KEYFRAME 0xFFFFFFFFu

// ==========================================================================================================
// 3  Records
//
// All multi-byte fields are little-endian. Offsets are the same on every system, except behind a pointer.

// As Win32's RECT: right and bottom lie just outside.
typedef struct QXSP_RECT {
  int32_t left;
  int32_t top;
  int32_t right;
  int32_t bottom;
} QXSP_RECT;

// One monitor, virtual-desktop coordinates. 32 bytes.
typedef struct QXSP_SCREEN_RECT {
  QXSP_RECT rcMonitor;
  QXSP_RECT rcWork;  // without task bars
} QXSP_SCREEN_RECT;

// The short stream header, and the first 32 bytes of a recorded file of the library's own format. Sound is
// always there, 8000 Hz mono:
//   nVersion            video             sound
//   4, 8, 9             older codec       PCM, 8 bits
//   5, 7, 16, 17        H.264             PCM, 8 bits
//   10                  H.264             AMR; live streams only
typedef struct QXSP_SHORT_HEADER {
  uint8_t szMagic[3];  // "QXS"
  uint8_t nVersion;
  uint32_t dwWidth;          // pixels, at most 10000
  uint32_t dwHeight;         // pixels, at most 10000
  uint32_t dwTotalFrames;    // read back after QXSP_OpenFile: the file's video frames; else not read
  uint32_t dwVideoStandard;  // 0: 25 frames a second, else 30
  uint8_t abReserved[12];
} QXSP_SHORT_HEADER;

// The extended stream header. 96 bytes.
typedef struct QXSP_FILE_HEADER {
  uint8_t abPrefix[32];  // not read; what QXSP_GetHeaderData gives to a host that asks for less than 96 bytes
  uint8_t szMarker[3];   // "QFH"
  uint8_t nReserved;
  uint16_t wDeviceType;     // logged only
  uint16_t wVideoCodecID;   // QXSP_VIDEO_...
  uint16_t wVideoDataType;  // QXSP_DATA_...: whether the audio fields count
  uint16_t wVideoFormat;    // logged only
  uint16_t wVideoWidth;     // pixels, at most 10000
  uint16_t wVideoHeight;    // pixels, at most 10000
  uint16_t wFrameRateNum;   // frames a second = wFrameRateNum / wFrameRateDen, neither 0
  uint16_t wFrameRateDen;
  uint16_t wAudioCodecID;     // QXSP_AUDIO_...; any other value: no sound
  uint16_t wAudioSampleRate;  // Hz
  uint16_t wAudioChannels;
  uint16_t wAudioBits;            // bits a sample
  uint32_t dwRecFileTotalFrames;  // logged only
  uint16_t wRecFileType;          // logged only
  uint8_t abReserved[30];
} QXSP_FILE_HEADER;

// One text in the picture. 36 bytes on 32-bit systems.
typedef struct QXSP_OSD_ITEM {
  uint16_t wType;  // QXSP_OSD_TEXT
  uint16_t wReserved;
  const char* pszText;  // ASCII and two-byte GB2312 characters; copied by QXSP_SetOSD
  int32_t nAnchor;      // QXSP_ANCHOR_...
  // Pixels of a picture up to 1279 wide; they and the glyphs are doubled up to 1920, and again above.
  int32_t nX;
  int32_t nY;
  uint8_t nRed;
  uint8_t nGreen;
  uint8_t nBlue;
  uint8_t nAlpha;  // 0 and 255 draw opaque, 1 to 254 blend
  uint8_t abReserved[12];
} QXSP_OSD_ITEM;

// What QXSP_MediaFileOpen reports. Frames a second = dwFrameRateNum / dwFrameRateDen. 20 bytes.
typedef struct QXSP_MEDIA_FILE_INFO {
  uint32_t dwTotalFrames;
  uint32_t dwWidth;   // pixels
  uint32_t dwHeight;  // pixels
  uint32_t dwFrameRateNum;
  uint32_t dwFrameRateDen;
} QXSP_MEDIA_FILE_INFO;

// ==========================================================================================================
// 4  Callbacks and events
//
// One set of callbacks and one window for the whole library; the player identifier is the first argument.
// Callbacks run on the thread that raises them and hold it up: the picture waits until they return. Their
// results are ignored. They must not throw and must not leave with longjmp.
//
// On a player's play thread a callback must not call what waits for play threads, directly or for another
// that waits; it could wait for itself. Have a thread of your own do it instead:
//   - QXSP_InitSDK, QXSP_ReleaseSDK, QXSP_CreatePlayer, QXSP_ReleasePlayer and QXSP_SetPlayerName at all;
//   - QXSP_OpenStream, QXSP_CloseStream, QXSP_OpenFile, QXSP_Stop, QXSP_WriteToStreamOneFrame and
//     QXSP_WriteToStreamOneFrame2 of any player: the other one's play thread may be waiting for this one;
//   - in a drawing callback, also the functions of chapter 9, of any player, but for QXSP_GetScreenInfo and
//     QXSP_RefreshWindow: other play threads may be waiting for the screen that this one holds.
// Nor may a callback end the process with exit().

// A decoded picture on its way to the screen, planar YUV 4:2:0: luma, Cb, Cr, chroma half as wide and high.
// On the play thread, before the picture is shown, overlays already drawn in. Width and height come from
// QXSP_GetBitmapSize. The planes belong to the decoder and are valid during the call; rows lie dwStride0
// (luma) and dwStride1 (both chroma planes) bytes apart.
typedef void(QXSP_CALLBACK* QXSP_YUV_DATA_CALLBACK)(uint32_t nPlayerID, const uint8_t* pPlane0,
                                                    const uint8_t* pPlane1, const uint8_t* pPlane2,
                                                    uint32_t dwStride0, uint32_t dwStride1);

// An event, QXSP_EVENT_...: a snapshot on the thread that called QXSP_GetBitmap, with no lock held; the end
// of a file on the play thread, as the last thing that it does.
typedef void(QXSP_CALLBACK* QXSP_NOTIFY_CALLBACK)(uint32_t nPlayerID, uint32_t dwEvent);

// Around the copy of a picture onto a screen's back surface, on the play thread, once for each screen that
// the window touches. Before: the picture will cover what is drawn now, and *pImageRect may be set to put the
// picture elsewhere. After, when the copy succeeded: what is drawn now lies over the picture; then the
// window's rectangle goes to the screen. All pointers are valid during the call only.
//
//   pWindow     the host's window
//   pDisplay    Windows: IDirectDraw7*; elsewhere a handle that has no operations for hosts
//   pSurface    Windows: IDirectDrawSurface7*; elsewhere QXSP_SURFACE*, below; leave it unlocked
//   pTarget     the window on the back surface; the monitor's top-left corner is (0, 0)
//   pImageRect  where the copy goes instead when it is not empty (QXSP_SetImageRect), same coordinates; stays
//               as the callback leaves it
typedef void(QXSP_CALLBACK* QXSP_DRAW_CALLBACK)(uint32_t nPlayerID, void* pWindow, void* pDisplay,
                                                void* pSurface, QXSP_RECT* pTarget, QXSP_RECT* pImageRect);

// Installs the four callbacks at once; each may be null for none. Takes effect at the next picture or event;
// a call that is already running on another thread may still be in the old one. Any thread, never blocks.
QXSP_API void QXSP_CALL QXSP_SetCallBack(QXSP_YUV_DATA_CALLBACK pfnYUVData, QXSP_NOTIFY_CALLBACK pfnNotify,
                                         QXSP_DRAW_CALLBACK pfnBeforeBlt, QXSP_DRAW_CALLBACK pfnAfterBlt);

// Has every event posted to a window as the message dwMessage: wParam is the player identifier, lParam the
// event. A null window stops that, and with it the snapshot event as a whole; the end of a file still goes to
// the callback. Any thread, never blocks.
//
// Windows: PostMessage. X11: a ClientMessage of type QXSDKP_MESSAGE, format 32, whose first words are
// message, wParam and lParam.
QXSP_API void QXSP_CALL QXSP_RegisterNotify(void* pWindow, uint32_t dwMessage);

#if !defined(_WIN32)
// The back surface of a drawing callback where there is no DirectDraw: memory with 32-bit pixels, bytes blue,
// green, red, unused.

typedef struct QXSP_PIXEL_FORMAT {
  uint32_t dwSize;
  uint32_t dwFlags;  // 0x40: the RGB masks below hold
  uint32_t dwFourCC;
  uint32_t dwBitCount;  // bits a pixel
  uint32_t dwRedMask;
  uint32_t dwGreenMask;
  uint32_t dwBlueMask;
  uint32_t dwAlphaMask;
} QXSP_PIXEL_FORMAT;

typedef struct QXSP_SURFACE_DESC {
  uint32_t dwSize;   // sizeof(QXSP_SURFACE_DESC)
  uint32_t dwFlags;  // which of the fields hold a value
  uint32_t dwHeight;
  uint32_t dwWidth;
  int32_t lPitch;   // bytes from a row to the next
  void* lpSurface;  // the top-left pixel of the locked rectangle
  QXSP_PIXEL_FORMAT pixelFormat;
  uint32_t dwCaps;
} QXSP_SURFACE_DESC;

typedef struct QXSP_SURFACE QXSP_SURFACE;

// The surface's first two operations. Results below 0 are failures; flags are 1 (wait), pEvent is null.
typedef struct QXSP_SURFACE_OPERATIONS {
  int32_t (*Lock)(QXSP_SURFACE* pSurface, const QXSP_RECT* pRect, QXSP_SURFACE_DESC* pDesc, uint32_t dwFlags,
                  void* pEvent);
  int32_t (*Unlock)(QXSP_SURFACE* pSurface, const QXSP_RECT* pRect);
} QXSP_SURFACE_OPERATIONS;

struct QXSP_SURFACE {
  const QXSP_SURFACE_OPERATIONS* pOperations;
};

// Gives address and pitch of a rectangle of the surface (null: all of it) for reading and writing, until
// QXSP_UnlockSurface. One lock at a time. The rectangle must lie inside the surface. Answers 1 or 0; after 0
// there is nothing to unlock.
static inline int32_t QXSP_LockSurface(void* pSurface, const QXSP_RECT* pRect, QXSP_SURFACE_DESC* pDesc) {
  QXSP_SURFACE* const surface = (QXSP_SURFACE*)pSurface;
  pDesc->dwSize = sizeof(*pDesc);
  pDesc->dwFlags = 0;
  return surface->pOperations->Lock(surface, pRect, pDesc, 1, 0) >= 0;
}

// Ends the lock of QXSP_LockSurface. Answers 1 or 0.
static inline int32_t QXSP_UnlockSurface(void* pSurface) {
  QXSP_SURFACE* const surface = (QXSP_SURFACE*)pSurface;
  return surface->pOperations->Unlock(surface, 0) >= 0;
}
#endif  // !_WIN32

// ==========================================================================================================
// 5  Start and stop, players

// Reads QXSDKP.ini from the directory of the host's executable, finds the screens and the sound device,
// starts the codec libraries and the log. Before everything else. Answers 1; 0 when the screens or the
// H.264/H.265 library cannot be started: then nothing may be played. Missing sound is logged and no failure.
// Blocks while devices open. May be called again, with all streams and files closed.
//
// QXSDKP.ini, lines of "key = value", "#" begins a comment:
//   ViewLock        1 (default): players present one after the other; 0: at the same time
//   FileLogLevel    threshold of the daily files, in the directory qxsdkplog beside the executable; default 6
//   StdOutLogLevel  threshold of standard output and the debugger; default 1
//
// Where there is no DirectDraw, QXSDKP_DISPLAY in the environment picks the display: "x11" or
// "headless[:WxH+X+Y[,WxH+X+Y...]]" (one memory screen each); unset: X11 when it can be reached, else one
// headless screen of 1920x1080. QXSDKP_SOUND picks the sound device: "alsa[:PCM]", "null" (silent, true to
// time) or "none"; unset: ALSA's default device, else "null".
QXSP_API int32_t QXSP_CALL QXSP_InitSDK(void);

// Gives back what QXSP_InitSDK took, closes the source of every player and forgets its name, user data, mode
// and texts. Waits. The players stay the host's: release them before or after, with QXSP_ReleasePlayer. Close
// streams and files first. Call it, or release the players, before the library is unloaded.
QXSP_API void QXSP_CALL QXSP_ReleaseSDK(void);

// Sets both thresholds of the log (QXSP_LOG_...) and the directory of its files, one a local day, named
// 2024-03-07.txt; missing directories are created. pszDirectory may be null: no files, the directory stays.
// nFileLevel is then ignored. Names of at most 1023 bytes are kept. Works before QXSP_InitSDK, which sets all
// three again. Any thread; waits for lines being written.
QXSP_API void QXSP_CALL QXSP_ConfigLog(int32_t nFileLevel, const char* pszDirectory, int32_t nStdOutLevel);

// Answers the lowest free identifier, 0 to 511, or QXSP_NO_PLAYER. The player has no source, no name, no
// texts, user data 0 and the default mode; windows and crop are those that its identifier had last. After
// QXSP_InitSDK. The host releases it with QXSP_ReleasePlayer.
QXSP_API int32_t QXSP_CALL QXSP_CreatePlayer(void);

// Closes the player's source and gives its identifier back, which the next QXSP_CreatePlayer may hand out at
// once. Waits. Answers 1; 0 for a bad identifier.
QXSP_API int32_t QXSP_CALL QXSP_ReleasePlayer(uint32_t nPlayerID);

// Names the player in log lines. pszName is copied, of any length, and may be null for the empty name.
// Waits while another thread creates or releases a player. Nothing on a bad identifier.
QXSP_API void QXSP_CALL QXSP_SetPlayerName(uint32_t nPlayerID, const char* pszName);

// Keeps 32 bits for the host until the player is released. Never blocks. Nothing on a bad identifier.
QXSP_API void QXSP_CALL QXSP_SetUserData(uint32_t nPlayerID, uint32_t dwUserData);

// Answers what QXSP_SetUserData stored, 0 at first and for a bad identifier. Never blocks.
QXSP_API uint32_t QXSP_CALL QXSP_GetUserData(uint32_t nPlayerID);

// ==========================================================================================================
// 6  Live streams

// Opens a live stream and starts the player's threads; whatever the player had open is closed first. Waits.
// pHeader: a QXSP_FILE_HEADER (dwSize at least 96 and its marker in place) or a QXSP_SHORT_HEADER (dwSize at
// least 32); copied. Answers 1; 0 for a bad identifier, a null or shorter header, an unknown codec, a picture
// above 10000 pixels a side, a frame rate of 0, or when viewer, decoder or threads cannot be had: the player
// then has no source. The main window is off after an open: call QXSP_SetVideoPreview. Sound that was on for
// the old source stays on.
QXSP_API int32_t QXSP_CALL QXSP_OpenStream(uint32_t nPlayerID, const void* pHeader, uint32_t dwSize);

// Stops the player's threads and drops its queued frames, decoders and surfaces. Waits. Answers 1, also when
// nothing was open; 0 for a bad identifier.
QXSP_API int32_t QXSP_CALL QXSP_CloseStream(uint32_t nPlayerID);

// Reads back the header that was last given to QXSP_OpenStream (32 bytes or more, also when that failed) or
// found in the recording opened last (for an MP4, which has none, zeros), also after it was closed: the
// QXSP_FILE_HEADER when that was the form and dwSize is at least 96, else 32 bytes. Answers 1; 0 for a bad
// identifier, a null buffer or dwSize below 32.
QXSP_API int32_t QXSP_CALL QXSP_GetHeaderData(uint32_t nPlayerID, void* pBuffer, uint32_t dwSize);

// QXSP_WriteToStreamOneFrame2 without a timestamp.
QXSP_API int32_t QXSP_CALL QXSP_WriteToStreamOneFrame(uint32_t nPlayerID, const void* pFrame,
                                                      uint32_t dwSize);

// Queues a copy of one compressed frame of the open stream; the buffer is the host's again when the call
// returns. Answers QXSP_WRITE_...; 0 for a bad identifier, too, and when the frame was dropped because of an
// internal failure.
//
// The bytes tell what the frame is. H.264, H.265: one access unit with start codes, at most after an 8-byte
// prefix that begins "QXS". One that begins 00 00 00 01 is video, and a key frame when its first unit is a
// parameter set (H.264: SPS, H.265: VPS or SPS); so send key frames with their parameter sets in front.
// Anything else is sound. Older codec: an 8-byte frame head names kind and length; when that length is
// dwSize, dwSize is taken to leave out the head, and dwSize + 8 bytes are read.
//
// The timestamp is a signed 64-bit number of ms on the stream's own time line, handed over in two halves. A
// negative one means none: video then counts on at the header's frame rate, sound takes the newest video
// timestamp.
//
// A null pFrame or a size of 0 is a frame without data: it is queued and, when due, shows the last picture
// again.
//
// Never waits for decoding or the screen, only while another thread opens, closes or writes to the same
// player.
QXSP_API int32_t QXSP_CALL QXSP_WriteToStreamOneFrame2(uint32_t nPlayerID, const void* pFrame,
                                                       uint32_t dwSize, uint32_t dwTimeStampLow,
                                                       uint32_t dwTimeStampHigh);

// Answers 1 while the last video decode succeeded; 0 otherwise and for a bad identifier. Opening, closing and
// releasing leave it as it is. Never blocks.
QXSP_API int32_t QXSP_CALL QXSP_HasImage(uint32_t nPlayerID);

// Sets the mode, QXSP_MODE_..., that players get when they are created or released from now on. At first
// QXSP_MODE_BUFFERED(0). Answers 1; 0 for a value that is no mode, and nothing changes. Never blocks.
QXSP_API int32_t QXSP_CALL QXSP_SetDefaultFrameControlMode(uint32_t dwMode);

// Sets the mode, QXSP_MODE_..., of one player, from its next frame on and for all its later streams. Answers
// 1; 0 for a bad identifier or a value that is no mode, and nothing changes. Never blocks.
QXSP_API int32_t QXSP_CALL QXSP_SetFrameControlMode(uint32_t nPlayerID, uint32_t dwMode);

// Kept for hosts that call it. Does nothing, answers 0.
QXSP_API int32_t QXSP_CALL QXSP_EnablePreDecode(uint32_t nPlayerID, int32_t bEnable);

// ==========================================================================================================
// 7  Playback control
//
// Pause, step and speed are for recorded files. On a live stream they only silence the sound until more of it
// arrives; its pictures go on. After the end of a file they change nothing: its thread has ended, open it
// again.

// Ends a pause; the next frame is due at once. Answers 1; 0 for a bad identifier. Never blocks.
QXSP_API int32_t QXSP_CALL QXSP_Play(uint32_t nPlayerID);

// Pauses, and drops queued sound. Nothing on a bad identifier.
QXSP_API void QXSP_CALL QXSP_Pause(uint32_t nPlayerID);

// Stops the player's threads and releases its source, stream or file, with decoders, surfaces and sound.
// Waits. Answers 1, also when nothing was open; 0 for a bad identifier.
QXSP_API int32_t QXSP_CALL QXSP_Stop(uint32_t nPlayerID);

// Plays 2 to the power of nSpeed times as fast, -30 to 30, and ends a pause: 0 normal, 2 four times, -1 half.
// Sound plays at normal speed only. bKeyFramesOnly, not 0: only key frames are shown, in their places on the
// time line. Answers 1; 0 for a bad identifier.
QXSP_API int32_t QXSP_CALL QXSP_SetPlaySpeed(uint32_t nPlayerID, int32_t nSpeed, int32_t bKeyFramesOnly);

// Pauses and shows one more picture. Nothing on a bad identifier.
QXSP_API void QXSP_CALL QXSP_StepForward(uint32_t nPlayerID);

// ==========================================================================================================
// 8  Recorded files
//
// Any thread. While another thread opens or closes the same player's file they answer for the one or the
// other.

// Opens a recorded file, by its name's end: .mp4 or the library's own .sv4, .sv5, .sv6, in any case, and
// starts to play it; whatever the player had open is closed first. Waits. Answers 1; 0 for a bad identifier,
// a null name, or a file that cannot be read or decoded. The main window is off after an open: call
// QXSP_SetVideoPreview.
QXSP_API int32_t QXSP_CALL QXSP_OpenFile(uint32_t nPlayerID, const char* pszFileName);

// Answers the number of video frames of the open file; 0 when none is open or for a bad identifier.
QXSP_API uint32_t QXSP_CALL QXSP_GetTotalFrames(uint32_t nPlayerID);

// Answers the number of the frame read last, the first is 1; 0 when no file is open or for a bad identifier.
QXSP_API uint32_t QXSP_CALL QXSP_GetCurFrameNum(uint32_t nPlayerID);

// Gives the last key frame that was read: its byte offset in the file (MP4: its frame number) and its frame
// number; both 0 before the first. Answers 1; 0 for a bad identifier, a null pointer, or when no file is
// open.
QXSP_API int32_t QXSP_CALL QXSP_GetKeyFramePos(uint32_t nPlayerID, uint32_t* pdwPosition,
                                               uint32_t* pdwFrameNum);

// Goes on from a key frame: for MP4 the last one at or before the frame dwTarget, the first is 1, for
// recordings the last one before it (and the first one when there is none before); QXSP_FIRST_KEYFRAME: the
// first one; 0: goes nowhere. The frame that had been read already is shown first. Queued sound is dropped.
// bPause, not 0: pauses, and shows that one frame; QXSP_StepForward then shows the key frame. After the end
// of a file, or for a recording with a target behind it, nothing more is played: open it again. Answers 1; 0
// for a bad identifier or when no file is open.
QXSP_API int32_t QXSP_CALL QXSP_GotoKeyFrame(uint32_t nPlayerID, uint32_t dwTarget, int32_t bPause);

// ==========================================================================================================
// 9  Windows, screens, zoom
//
// A player shows its pictures in a main and a sub window. The library draws into the window's rectangle on
// the screen, on every monitor that it touches; it neither moves the window nor learns that it was moved:
// give the new rectangle when that happens. Rectangles are in virtual-desktop coordinates, not client
// coordinates. The picture is stretched to the rectangle. These functions wait at most for the picture that
// is just being presented.
//
// A window is an HWND on Windows; on X11 the window's identifier cast to a pointer; headless any value but
// null. It stays the host's and must not be destroyed while it is on; if it is, pictures for it are dropped.

// bEnable not 0: shows the pictures in this window. pRect may be null to keep the rectangle of before.
// QXSP_SetImageRect is undone. bEnable 0: switches the main window off; the other arguments are ignored.
// Answers 1; 0 for a bad identifier.
QXSP_API int32_t QXSP_CALL QXSP_SetVideoPreview(uint32_t nPlayerID, void* pWindow, const QXSP_RECT* pRect,
                                                int32_t bEnable);

// The same for the sub window, which stays on from one source to the next. A null pRect changes only the
// window, not whether it is on. Answers 1; 0 for a bad identifier.
QXSP_API int32_t QXSP_CALL QXSP_SetVideoSubPreview(uint32_t nPlayerID, void* pWindow, const QXSP_RECT* pRect,
                                                   int32_t bEnable);

// Lists the screens found by QXSP_InitSDK, the primary one first. *pnCount: room in pScreens on entry,
// records written on return. A null pointer: nothing happens. Never blocks.
QXSP_API void QXSP_CALL QXSP_GetScreenInfo(QXSP_SCREEN_RECT* pScreens, int32_t* pnCount);

// Has the play thread present the last picture again, for a window that was covered. Answers 1; 0 for a bad
// identifier. Never blocks.
QXSP_API int32_t QXSP_CALL QXSP_RefreshWindow(uint32_t nPlayerID);

// bZoomIn not 0: shows a smaller part of the picture, around (nX, nY) in picture pixels, in the main window;
// each further call goes closer, counted over all players. 0: the whole picture. Answers 1; 0 for a bad
// identifier.
QXSP_API int32_t QXSP_CALL QXSP_ZoomIn(uint32_t nPlayerID, int32_t bZoomIn, int32_t nX, int32_t nY);

// Shows this part of the picture, in picture pixels, in both windows; null: the whole picture. The rectangle
// is used as it is: one outside the picture shows nothing. A change of the picture's size undoes it. Answers
// 1; 0 for a bad identifier.
QXSP_API int32_t QXSP_CALL QXSP_ZoomView(uint32_t nPlayerID, const QXSP_RECT* pRect);

// QXSP_ZoomView for one window, QXSP_WINDOW_...; any other value changes nothing. Answers 1; 0 for a bad
// identifier.
QXSP_API int32_t QXSP_CALL QXSP_ZoomViewEx(uint32_t nPlayerID, uint32_t dwWindow, const QXSP_RECT* pRect);

// Takes dwCrop pixels off the right and half as many off the bottom of what is shown, until set anew. Nothing
// on a bad identifier.
QXSP_API void QXSP_CALL QXSP_SetVideoCrop(uint32_t nPlayerID, uint32_t dwCrop);

// Has the pictures drawn to this place, screen coordinates of one monitor, instead of the window's; only what
// lies in the window's is seen. Null or empty: the window's again. Nothing on a bad identifier.
QXSP_API void QXSP_CALL QXSP_SetImageRect(uint32_t nPlayerID, const QXSP_RECT* pRect);

// ==========================================================================================================
// 10  Text overlay
//
// Texts are drawn into the decoded picture: they are in what the picture callback, the windows and snapshots
// get. Chinese characters need the 16 x 16 font file QXSHZ16.dll beside the host's executable, and are solid
// blocks without it. A character that does not fit into the picture, or ends on its last row or column, is
// left out.

// Replaces the player's texts; null or a count of 0 removes them. Items and texts are copied. Answers 1; 0
// for a bad identifier or when an item is no text: the player then has none. Waits at most for the picture
// being drawn into.
QXSP_API int32_t QXSP_CALL QXSP_SetOSD(uint32_t nPlayerID, const QXSP_OSD_ITEM* pItems, uint32_t dwCount);

// bEnable not 0: shows codecs, picture size, key-frame interval, frame and bit rates of the live stream
// instead of the host's texts, renewed once a second. 0: no texts. Either way the texts set before are
// removed. Answers 1; 0 for a bad identifier. Waits at most for the frame being decoded.
QXSP_API int32_t QXSP_CALL QXSP_EnableDebugOSD(uint32_t nPlayerID, int32_t bEnable);

// ==========================================================================================================
// 11  Snapshots and image processing

// Gives the picture's size in pixels, from the header or file that was opened, which the pictures need not
// have; 0 and 0 before. Answers 1; 0 for a bad identifier or a null pointer. Waits at most for the frame
// being decoded.
QXSP_API int32_t QXSP_CALL QXSP_GetBitmapSize(uint32_t nPlayerID, int32_t* pnWidth, int32_t* pnHeight);

// Copies the last decoded picture: 4 bytes a pixel, blue, green, red, 0; bottom row first, width * 4 bytes a
// row. dwSize: room in pBuffer, at least width * height * 4. Raises QXSP_EVENT_SNAPSHOT when a window is
// registered. Answers 1; 0 for a bad identifier, too little room, or when there is no picture. Waits at most
// for the frame being decoded.
QXSP_API int32_t QXSP_CALL QXSP_GetBitmap(uint32_t nPlayerID, void* pBuffer, uint32_t dwSize);

// Passes every picture through the image-processing library (QImageP.dll) on its way to the windows, not to
// the picture callback and snapshots, until switched off or a stream of the player closed. dwReserved is
// ignored. Answers 1; 0 for a bad identifier or, when switching on, without that library.
QXSP_API int32_t QXSP_CALL QXSP_SetImageProc(uint32_t nPlayerID, int32_t bEnable, uint32_t dwReserved);

// ==========================================================================================================
// 12  Sound

// bEnable not 0: plays the sound of the open source, pWindow being the window that the sound device is tied
// to (Windows; elsewhere it may be null). 0: silence. Sound is off after QXSP_OpenFile; a new stream keeps
// what was set for the one before. It begins 200 ms after it was switched on. Answers 1; 0 for a bad
// identifier, a source without sound or without a sound device.
QXSP_API int32_t QXSP_CALL QXSP_SetAudioPreview(uint32_t nPlayerID, void* pWindow, int32_t bEnable);

// ==========================================================================================================
// 13  Looking into files without a player
//
// A handle is used by one thread at a time.

// Opens a file and reports what it is: MP4 when its name ends in exactly ".mp4", else the library's own
// format. Answers a handle for QXSP_MediaFileClose, or null; *pInfo counts only after success.
QXSP_API void* QXSP_CALL QXSP_MediaFileOpen(const char* pszFileName, QXSP_MEDIA_FILE_INFO* pInfo);

// Decodes the first key frame at or after dwFrameNum, the first is 1, of an MP4 file into pBuffer, as
// QXSP_GetBitmap lays it out. Answers its frame number; -1 when there is none, for other files, or with too
// little room. With a null pBuffer only answers the number. Blocks while it reads and decodes.
QXSP_API int32_t QXSP_CALL QXSP_MediaFileGetOneFrame(void* pFile, uint32_t dwFrameNum, void* pBuffer,
                                                     uint32_t dwSize);

// Closes a handle of QXSP_MediaFileOpen; null is ignored.
QXSP_API void QXSP_CALL QXSP_MediaFileClose(void* pFile);

#ifdef __cplusplus
}
#endif

#endif  // QXSDKP_H_
