// Exports whose feature is not in this version: each answers its documented failure value and touches
// nothing.
#include "include/qxsdkp.h"

extern "C" {

// Overlay and picture processing

int32_t QXSP_CALL QXSP_SetOSD(uint32_t /*nPlayerID*/, const QXSP_OSD_ITEM* /*pItems*/, uint32_t /*dwCount*/) {
  return 0;
}

int32_t QXSP_CALL QXSP_EnableDebugOSD(uint32_t /*nPlayerID*/, int32_t /*bEnable*/) {
  return 0;
}

}  // extern "C"
