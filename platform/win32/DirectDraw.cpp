#include "platform/DirectDraw.h"

#include <dxerr9.h>

const char* DXGetErrorDescriptionA(HRESULT code) {
  const char* words = DXGetErrorDescription9A(code);
  return words != nullptr ? words : "";
}
