// Exports whose feature is not in this version: each answers its documented failure value and touches
// nothing.
#include "include/qxsdkp.h"

extern "C" {

// Looking into files without a player

void* QXSP_CALL QXSP_MediaFileOpen(const char* /*pszFileName*/, QXSP_MEDIA_FILE_INFO* /*pInfo*/) {
  return nullptr;
}

int32_t QXSP_CALL QXSP_MediaFileGetOneFrame(void* /*pFile*/, uint32_t /*dwFrameNum*/, void* /*pBuffer*/,
                                            uint32_t /*dwSize*/) {
  return -1;
}

void QXSP_CALL QXSP_MediaFileClose(void* /*pFile*/) {}

// Zoom, crop, overlay, snapshots and picture processing

int32_t QXSP_CALL QXSP_ZoomIn(uint32_t /*nPlayerID*/, int32_t /*bZoomIn*/, int32_t /*nX*/, int32_t /*nY*/) {
  return 0;
}

int32_t QXSP_CALL QXSP_ZoomView(uint32_t /*nPlayerID*/, const QXSP_RECT* /*pRect*/) {
  return 0;
}

int32_t QXSP_CALL QXSP_ZoomViewEx(uint32_t /*nPlayerID*/, uint32_t /*dwWindow*/, const QXSP_RECT* /*pRect*/) {
  return 0;
}

void QXSP_CALL QXSP_SetVideoCrop(uint32_t /*nPlayerID*/, uint32_t /*dwCrop*/) {}

void QXSP_CALL QXSP_SetImageRect(uint32_t /*nPlayerID*/, const QXSP_RECT* /*pRect*/) {}

int32_t QXSP_CALL QXSP_SetOSD(uint32_t /*nPlayerID*/, const QXSP_OSD_ITEM* /*pItems*/, uint32_t /*dwCount*/) {
  return 0;
}

int32_t QXSP_CALL QXSP_EnableDebugOSD(uint32_t /*nPlayerID*/, int32_t /*bEnable*/) {
  return 0;
}

int32_t QXSP_CALL QXSP_GetBitmapSize(uint32_t /*nPlayerID*/, int32_t* /*pnWidth*/, int32_t* /*pnHeight*/) {
  return 0;
}

int32_t QXSP_CALL QXSP_GetBitmap(uint32_t /*nPlayerID*/, void* /*pBuffer*/, uint32_t /*dwSize*/) {
  return 0;
}

int32_t QXSP_CALL QXSP_SetImageProc(uint32_t /*nPlayerID*/, int32_t /*bEnable*/, uint32_t /*dwReserved*/) {
  return 0;
}

}  // extern "C"
