// Reference counting for the display's objects, and the way to share one.
#pragma once

#include <atomic>

#include "platform/Owned.h"
#include "platform/posix/KernelApi.h"

namespace platform {

struct NoInterface {};

// Adds the count to a device interface, or to nothing. Objects start with one reference, which is their
// creator's; the last Release() destroys them. Both members may be called from any thread.
template <typename Interface = NoInterface>
class RefCounted : public Interface {
 public:
  RefCounted() = default;
  RefCounted(const RefCounted&) = delete;
  RefCounted& operator=(const RefCounted&) = delete;

  void AddRef() { m_nReferences.fetch_add(1, std::memory_order_relaxed); }
  // NOLINTNEXTLINE(modernize-use-override): overrides only where the interface declares it
  ULONG Release() {
    const ULONG left = m_nReferences.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
  }

 protected:
  // NOLINTNEXTLINE(modernize-use-override): as above
  virtual ~RefCounted() = default;

 private:
  std::atomic<ULONG> m_nReferences = 1;
};

// One more reference to `object`, which may be null.
template <typename T>
Owned<T> Share(T* object) {
  if (object != nullptr) object->AddRef();
  return Owned<T>(object);
}

}  // namespace platform
