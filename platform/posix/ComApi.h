// What the DirectDraw and DirectSound declarations share: identifiers, and how a result code tells success
// from failure.
#pragma once

#include "platform/posix/KernelApi.h"

struct GUID {
  uint32_t Data1;
  uint16_t Data2;
  uint16_t Data3;
  uint8_t Data4[8];
};
static_assert(sizeof(GUID) == 16);
using LPCGUID = const GUID*;

struct IUnknown;
using LPUNKNOWN = IUnknown*;

constexpr bool SUCCEEDED(HRESULT code) {
  return code >= 0;
}
constexpr bool FAILED(HRESULT code) {
  return code < 0;
}
