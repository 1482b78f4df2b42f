// Pins what hosts and the library must agree on: the layout of the records in the public header, which no
// compiler option or edit may move, and the numbers that both sides declare.
#include <cstddef>
#include <type_traits>

#include "api/Notification.h"
#include "api/PlayerTable.h"
#include "file/MediaFile.h"
#include "include/qxsdkp.h"
#include "player/StreamHeader.h"
#include "src/kitc/Log.h"
#include "video/Osd.h"
#include "video/Screens.h"

// Offsets of the byte layouts that hosts write.
static_assert(sizeof(QXSP_SHORT_HEADER) == 32 && offsetof(QXSP_SHORT_HEADER, nVersion) == 3 &&
              offsetof(QXSP_SHORT_HEADER, dwWidth) == 4 && offsetof(QXSP_SHORT_HEADER, dwHeight) == 8 &&
              offsetof(QXSP_SHORT_HEADER, dwTotalFrames) == 12 &&
              offsetof(QXSP_SHORT_HEADER, dwVideoStandard) == 16);
static_assert(
    sizeof(QXSP_FILE_HEADER) == 96 && offsetof(QXSP_FILE_HEADER, szMarker) == 32 &&
    offsetof(QXSP_FILE_HEADER, wDeviceType) == 36 && offsetof(QXSP_FILE_HEADER, wVideoCodecID) == 38 &&
    offsetof(QXSP_FILE_HEADER, wVideoDataType) == 40 && offsetof(QXSP_FILE_HEADER, wVideoFormat) == 42 &&
    offsetof(QXSP_FILE_HEADER, wVideoWidth) == 44 && offsetof(QXSP_FILE_HEADER, wVideoHeight) == 46 &&
    offsetof(QXSP_FILE_HEADER, wFrameRateNum) == 48 && offsetof(QXSP_FILE_HEADER, wFrameRateDen) == 50 &&
    offsetof(QXSP_FILE_HEADER, wAudioCodecID) == 52 && offsetof(QXSP_FILE_HEADER, wAudioSampleRate) == 54 &&
    offsetof(QXSP_FILE_HEADER, wAudioChannels) == 56 && offsetof(QXSP_FILE_HEADER, wAudioBits) == 58 &&
    offsetof(QXSP_FILE_HEADER, dwRecFileTotalFrames) == 60 && offsetof(QXSP_FILE_HEADER, wRecFileType) == 64);
static_assert(sizeof(QXSP_SCREEN_RECT) == 32 && offsetof(QXSP_SCREEN_RECT, rcWork) == 16);
static_assert(sizeof(QXSP_MEDIA_FILE_INFO) == 20 && offsetof(QXSP_MEDIA_FILE_INFO, dwFrameRateDen) == 16);

// The text pointer is the only one in a record: 36 bytes where it has 4.
constexpr size_t kPointer = sizeof(void*);
static_assert(offsetof(QXSP_OSD_ITEM, pszText) == kPointer &&
              offsetof(QXSP_OSD_ITEM, nAnchor) == 2 * kPointer &&
              offsetof(QXSP_OSD_ITEM, nX) == 2 * kPointer + 4 &&
              offsetof(QXSP_OSD_ITEM, nY) == 2 * kPointer + 8 &&
              offsetof(QXSP_OSD_ITEM, nRed) == 2 * kPointer + 12 &&
              offsetof(QXSP_OSD_ITEM, nAlpha) == 2 * kPointer + 15 &&
              sizeof(QXSP_OSD_ITEM) == (kPointer == 4 ? 36 : 48));

// Records that are handed through as they are.
static_assert(sizeof(QXSP_RECT) == sizeof(RECT) && offsetof(QXSP_RECT, left) == offsetof(RECT, left) &&
              offsetof(QXSP_RECT, top) == offsetof(RECT, top) &&
              offsetof(QXSP_RECT, right) == offsetof(RECT, right) &&
              offsetof(QXSP_RECT, bottom) == offsetof(RECT, bottom));
static_assert(sizeof(QXSP_SCREEN_RECT) == sizeof(ScreenRect));
static_assert(sizeof(QXSP_OSD_ITEM) == sizeof(OsdItem) &&
              offsetof(QXSP_OSD_ITEM, wType) == offsetof(OsdItem, wType) &&
              offsetof(QXSP_OSD_ITEM, pszText) == offsetof(OsdItem, pszText) &&
              offsetof(QXSP_OSD_ITEM, nAnchor) == offsetof(OsdItem, nAnchor) &&
              offsetof(QXSP_OSD_ITEM, nX) == offsetof(OsdItem, nX) &&
              offsetof(QXSP_OSD_ITEM, nY) == offsetof(OsdItem, nY) &&
              offsetof(QXSP_OSD_ITEM, nRed) == offsetof(OsdItem, abColour));
static_assert(sizeof(QXSP_MEDIA_FILE_INFO) == sizeof(MediaFile::Info) &&
              offsetof(QXSP_MEDIA_FILE_INFO, dwWidth) == offsetof(MediaFile::Info, dwWidth) &&
              offsetof(QXSP_MEDIA_FILE_INFO, dwFrameRateNum) == offsetof(MediaFile::Info, dwFrameRateNum));
static_assert(std::is_same_v<QXSP_YUV_DATA_CALLBACK, YUVDataCallBack> &&
              std::is_same_v<QXSP_NOTIFY_CALLBACK, NotifyCallBack>);

// Header fields that the library reads by their offset.
static_assert(sizeof(QXSP_SHORT_HEADER) == kShortHeaderBytes && sizeof(QXSP_FILE_HEADER) == kFileHeaderBytes);
static_assert(offsetof(QXSP_FILE_HEADER, wDeviceType) == kDeviceType &&
              offsetof(QXSP_FILE_HEADER, wVideoCodecID) == kVideoCodecID &&
              offsetof(QXSP_FILE_HEADER, wVideoDataType) == kVideoDataType &&
              offsetof(QXSP_FILE_HEADER, wVideoFormat) == kVideoFormat &&
              offsetof(QXSP_FILE_HEADER, wVideoWidth) == kVideoWidth &&
              offsetof(QXSP_FILE_HEADER, wVideoHeight) == kVideoHeight &&
              offsetof(QXSP_FILE_HEADER, wFrameRateNum) == kFrameRateNum &&
              offsetof(QXSP_FILE_HEADER, wFrameRateDen) == kFrameRateDen &&
              offsetof(QXSP_FILE_HEADER, wAudioCodecID) == kAudioCodecID &&
              offsetof(QXSP_FILE_HEADER, wAudioSampleRate) == kAudioSampleRate &&
              offsetof(QXSP_FILE_HEADER, wAudioChannels) == kAudioChannels &&
              offsetof(QXSP_FILE_HEADER, wAudioBits) == kAudioBits &&
              offsetof(QXSP_FILE_HEADER, dwRecFileTotalFrames) == kRecFileTotalFrames &&
              offsetof(QXSP_FILE_HEADER, wRecFileType) == kRecFileType);

static_assert(int{QXSP_MAX_PLAYERS} == int{kMaxPlayers});
static_assert(int{QXSP_WRITE_QUEUED} == int{kPushQueued} &&
              int{QXSP_WRITE_ILLEGAL_FRAME} == int{kInputIllegalFrame} &&
              int{QXSP_WRITE_WAIT_FIRST_KEYFRAME} == int{kInputWaitsForFirstKeyFrame} &&
              int{QXSP_WRITE_WAIT_KEYFRAME} == int{kPushWaitsForKeyFrame} &&
              int{QXSP_WRITE_QUEUE_FULL} == int{kPushQueueFull} &&
              int{QXSP_WRITE_NO_MEMORY} == int{kPushNoMemory});
static_assert(int{QXSP_MODE_AT_ONCE} == int{kModeAtOnce} && QXSP_MODE_BUFFERED(0) == int{kModeBuffered} &&
              int{QXSP_MODE_CATCH_UP} == int{kModeCatchUp});
static_assert(int{QXSP_EVENT_SNAPSHOT} == int{kEventSnapshot} &&
              int{QXSP_EVENT_END_OF_FILE} == int{kEventEndOfFile});
static_assert(int{QXSP_OSD_TEXT} == int{kOsdText} && int{QXSP_OSD_PICTURE} == int{kOsdPicture} &&
              int{QXSP_ANCHOR_TOP_LEFT} == int{kAnchorTopLeft} &&
              int{QXSP_ANCHOR_TOP_RIGHT} == int{kAnchorTopRight} &&
              int{QXSP_ANCHOR_BOTTOM_RIGHT} == int{kAnchorBottomRight} &&
              int{QXSP_ANCHOR_BOTTOM_LEFT} == int{kAnchorBottomLeft});
static_assert(int{QXSP_LOG_ALL} == int{kLogAll} && int{QXSP_LOG_DEBUG} == int{kLogDebug} &&
              int{QXSP_LOG_INFO} == int{kLogInfo} && int{QXSP_LOG_NOTIFY} == int{kLogNotify} &&
              int{QXSP_LOG_WARNING} == int{kLogWarning} && int{QXSP_LOG_ERROR} == int{kLogError} &&
              int{QXSP_LOG_NONE} == int{kLogNone});
