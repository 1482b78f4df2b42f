// The silent device: consumes sound at the true rate by computing the positions from the clock, without a
// thread.
#pragma once

#include "platform/posix/SoundOutput.h"

namespace platform {

class NullSound final : public SoundSystem {
 public:
  std::unique_ptr<SoundOutput> CreateOutput(const SoundLoop& loop) override;
};

}  // namespace platform
