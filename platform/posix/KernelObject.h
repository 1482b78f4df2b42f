// What a HANDLE of this layer points at. Belongs to whoever holds the handle, until CloseHandle.
#pragma once

#include "platform/posix/KernelApi.h"

namespace platform {

class KernelObject {
 public:
  virtual ~KernelObject() = default;
};

// A handle is the address of the KernelObject, not of what derives from it.
inline HANDLE ToHandle(KernelObject* object) {
  return object;
}
// Null for the handles that stand for none.
inline KernelObject* ToKernelObject(HANDLE handle) {
  return handle != INVALID_HANDLE_VALUE ? static_cast<KernelObject*>(handle) : nullptr;
}

}  // namespace platform
