// Sound cards and sound servers through ALSA.
#include "platform/posix/AlsaSound.h"

#include <cstdarg>
// Declares one function without C linkage in some versions; the full header takes over what is declared here.
extern "C" {
#include <alsa/error.h>
}
#include <alsa/asoundlib.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "platform/posix/PumpedOutput.h"

namespace platform {
namespace {

// Sound handed to the card ahead of time: enough to ride out a busy machine, little enough that a pause or a
// jump is heard at once.
constexpr unsigned kAheadUs = 60'000;
constexpr unsigned kPeriodUs = kAheadUs / 4;

// Keeps alsa-lib from writing its complaints to the host's standard error, for this thread and scope: a
// machine without a sound card is no fault, and failures are seen in the return values.
class QuietAlsa {
 public:
  QuietAlsa()
      : m_pEarlier(snd_lib_error_set_local([](const char*, int, const char*, int, const char*, va_list) {})) {
  }
  ~QuietAlsa() { snd_lib_error_set_local(m_pEarlier); }
  QuietAlsa(const QuietAlsa&) = delete;
  QuietAlsa& operator=(const QuietAlsa&) = delete;

 private:
  const snd_local_error_handler_t m_pEarlier;
};

struct PcmCloser {
  void operator()(snd_pcm_t* pcm) const {
    const QuietAlsa quiet;
    snd_pcm_drop(pcm);
    snd_pcm_close(pcm);
  }
};
using PcmHandle = std::unique_ptr<snd_pcm_t, PcmCloser>;

int OpenHandle(const char* name, PcmHandle& handle) {
  const QuietAlsa quiet;
  snd_pcm_t* pcm = nullptr;
  const int error = snd_pcm_open(&pcm, name, SND_PCM_STREAM_PLAYBACK, SND_PCM_NONBLOCK);
  if (error >= 0) handle.reset(pcm);
  return error;
}

// The plugins of sound servers tell some troubles by the state alone.
int StateError(snd_pcm_state_t state) {
  switch (state) {
    case SND_PCM_STATE_XRUN:
      return -EPIPE;
    case SND_PCM_STATE_SUSPENDED:
      return -ESTRPIPE;
    case SND_PCM_STATE_DISCONNECTED:
      return -ENODEV;
    default:
      return 0;
  }
}

class AlsaPcm final : public PcmDevice {
 public:
  explicit AlsaPcm(PcmHandle handle) : m_pPcm(std::move(handle)) {}

  // False when the device cannot play the format.
  bool Configure(const SoundFormat& format);
  uint32_t AheadFrames() const override { return m_nAhead; }
  bool Query(uint32_t& roomFrames, uint32_t& unheardFrames) override;
  int32_t Write(const uint8_t* sound, uint32_t frames) override;

 private:
  bool Recover(int error);

  const PcmHandle m_pPcm;
  snd_pcm_uframes_t m_nBuffer = 0;  // frames
  uint32_t m_nAhead = 0;            // frames
};

bool AlsaPcm::Configure(const SoundFormat& format) {
  const QuietAlsa quiet;
  snd_pcm_t* pcm = m_pPcm.get();
  snd_pcm_hw_params_t* params = nullptr;
  snd_pcm_hw_params_alloca(&params);
  const snd_pcm_format_t sample = format.bitsPerSample == 8 ? SND_PCM_FORMAT_U8 : SND_PCM_FORMAT_S16;
  unsigned bufferUs = kAheadUs;
  unsigned periodUs = kPeriodUs;
  snd_pcm_uframes_t period = 0;
  const bool configured =
      snd_pcm_hw_params_any(pcm, params) >= 0 && snd_pcm_hw_params_set_rate_resample(pcm, params, 1) >= 0 &&
      snd_pcm_hw_params_set_access(pcm, params, SND_PCM_ACCESS_RW_INTERLEAVED) >= 0 &&
      snd_pcm_hw_params_set_format(pcm, params, sample) >= 0 &&
      snd_pcm_hw_params_set_channels(pcm, params, format.channels) >= 0 &&
      snd_pcm_hw_params_set_rate(pcm, params, format.samplesPerSec, 0) >= 0 &&
      snd_pcm_hw_params_set_buffer_time_near(pcm, params, &bufferUs, nullptr) >= 0 &&
      snd_pcm_hw_params_set_period_time_near(pcm, params, &periodUs, nullptr) >= 0 &&
      snd_pcm_hw_params(pcm, params) >= 0 && snd_pcm_hw_params_get_buffer_size(params, &m_nBuffer) >= 0 &&
      snd_pcm_hw_params_get_period_size(params, &period, nullptr) >= 0;
  if (!configured || m_nBuffer == 0) return false;
  // A card with long buffers is not filled to the brim; one with long periods needs two of them.
  const auto wanted = static_cast<snd_pcm_uframes_t>(uint64_t{format.samplesPerSec} * kAheadUs / 1'000'000);
  m_nAhead = static_cast<uint32_t>(std::min(m_nBuffer, std::max(wanted, 2 * period)));
  return true;
}

bool AlsaPcm::Query(uint32_t& roomFrames, uint32_t& unheardFrames) {
  const QuietAlsa quiet;
  roomFrames = 0;
  unheardFrames = 0;
  snd_pcm_sframes_t available = 0;
  snd_pcm_sframes_t delay = 0;
  int error = StateError(snd_pcm_state(m_pPcm.get()));
  if (error == 0) error = snd_pcm_avail_delay(m_pPcm.get(), &available, &delay);
  if (error < 0) {
    if (!Recover(error)) return false;
    if (snd_pcm_state(m_pPcm.get()) == SND_PCM_STATE_PREPARED) roomFrames = m_nAhead;
    return true;
  }
  const auto buffer = static_cast<snd_pcm_sframes_t>(m_nBuffer);
  const auto held = static_cast<uint32_t>(buffer - std::clamp<snd_pcm_sframes_t>(available, 0, buffer));
  roomFrames = m_nAhead > held ? m_nAhead - held : 0;
  unheardFrames = static_cast<uint32_t>(std::clamp<snd_pcm_sframes_t>(delay, 0, m_nAhead));
  return true;
}

int32_t AlsaPcm::Write(const uint8_t* sound, uint32_t frames) {
  const QuietAlsa quiet;
  const snd_pcm_sframes_t written = snd_pcm_writei(m_pPcm.get(), sound, frames);
  if (written < 0) return Recover(static_cast<int>(written)) ? 0 : -1;
  return static_cast<int32_t>(written);
}

// Brings the PCM back after an underrun or a suspend, as far as that goes without waiting. False when the
// device is gone. (snd_pcm_recover() would wait for a suspended card by the second.)
bool AlsaPcm::Recover(int error) {
  if (error == -EAGAIN || error == -EINTR) return true;
  if (error == -ESTRPIPE) {
    error = snd_pcm_resume(m_pPcm.get());
    if (error == -EAGAIN || error >= 0) return true;
    return snd_pcm_prepare(m_pPcm.get()) >= 0;
  }
  return error == -EPIPE && snd_pcm_prepare(m_pPcm.get()) >= 0;
}

class AlsaOpener final : public PcmOpener {
 public:
  explicit AlsaOpener(const char* name) { std::snprintf(m_szName, sizeof(m_szName), "%s", name); }

  std::unique_ptr<PcmDevice> Open(const SoundFormat& format) override {
    PcmHandle handle;
    if (OpenHandle(m_szName, handle) < 0) return nullptr;
    std::unique_ptr<AlsaPcm> pcm(new (std::nothrow) AlsaPcm(std::move(handle)));
    if (pcm == nullptr || !pcm->Configure(format)) return nullptr;
    return pcm;
  }

 private:
  char m_szName[160];
};

}  // namespace

AlsaSound::AlsaSound(const char* pcmName) : m_szPcmName{} {
  constexpr size_t kLongestName = 127;
  // Quoted, so that names with arguments ("hw:0,0") can be an argument themselves.
  if (std::strlen(pcmName) > kLongestName || std::strchr(pcmName, '\'') != nullptr) return;
  std::snprintf(m_szPcmName, sizeof(m_szPcmName), "plug:'%s'", pcmName);
}

bool AlsaSound::IsPresent() const {
  if (m_szPcmName[0] == '\0') return false;
  PcmHandle handle;
  const int error = OpenHandle(m_szPcmName, handle);
  return error >= 0 || error == -EBUSY || error == -EAGAIN;
}

std::unique_ptr<SoundOutput> AlsaSound::CreateOutput(const SoundLoop& loop) {
  std::unique_ptr<PcmOpener> opener(new (std::nothrow) AlsaOpener(m_szPcmName));
  if (opener == nullptr) return nullptr;
  return std::unique_ptr<SoundOutput>(new (std::nothrow) PumpedOutput(loop, std::move(opener)));
}

}  // namespace platform
