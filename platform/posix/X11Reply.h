// Owner of what XCB allocates.
#pragma once

#include <cstdlib>
#include <memory>

namespace platform {

struct X11Free {
  void operator()(void* memory) const { std::free(memory); }
};

// A reply, event or error; empty when none came.
template <typename T>
using X11Reply = std::unique_ptr<T, X11Free>;

template <typename T>
X11Reply<T> OwnReply(T* reply) {
  return X11Reply<T>(reply);
}

}  // namespace platform
