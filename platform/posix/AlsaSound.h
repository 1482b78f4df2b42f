// Sound cards and sound servers through ALSA: one PCM per playing buffer, converted to what the card wants by
// ALSA's plug layer.
#pragma once

#include "platform/posix/SoundOutput.h"

namespace platform {

class AlsaSound final : public SoundSystem {
 public:
  // `pcmName` as in ALSA's configuration; at most 127 characters and no quote, or nothing opens.
  explicit AlsaSound(const char* pcmName);

  // Whether the PCM opens; one that is only busy counts, too.
  bool IsPresent() const;
  std::unique_ptr<SoundOutput> CreateOutput(const SoundLoop& loop) override;

 private:
  char m_szPcmName[160];
};

}  // namespace platform
