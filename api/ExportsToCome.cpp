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

// Overlay and picture processing

int32_t QXSP_CALL QXSP_SetOSD(uint32_t /*nPlayerID*/, const QXSP_OSD_ITEM* /*pItems*/, uint32_t /*dwCount*/) {
  return 0;
}

int32_t QXSP_CALL QXSP_EnableDebugOSD(uint32_t /*nPlayerID*/, int32_t /*bEnable*/) {
  return 0;
}

}  // extern "C"
