/* What c_host.c does for header_test.cpp. */
#pragma once

#include "include/qxsdkp.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Fills a rectangle of a drawing callback's surface. 0 when it could not be locked or unlocked. */
int32_t CHostFill(void* pSurface, const QXSP_RECT* pRect, uint32_t dwPixel);

QXSP_FILE_HEADER CHostHeader(void);

#ifdef __cplusplus
}
#endif
