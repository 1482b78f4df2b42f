#include "tests/platform/FaultyCard.h"

#include <alsa/asoundlib.h>
#include <alsa/pcm_external.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#pragma GCC visibility push(default)
extern "C" FaultyCard faulty_card;
FaultyCard faulty_card;

namespace {

// Runs a step under the card's lock and tells the test.
template <typename Step>
auto Locked(Step step) {
  const std::lock_guard lock(faulty_card.mutex);
  const auto result = step();
  faulty_card.moved.notify_all();
  return result;
}

snd_pcm_sframes_t Pointer(snd_pcm_ioplug_t* io) {
  return Locked([io]() -> snd_pcm_sframes_t {
    const int pulled = std::exchange(faulty_card.nPulled, 0);
    if (pulled == -EPIPE) return pulled;
    if (pulled == -ESTRPIPE) snd_pcm_ioplug_set_state(io, SND_PCM_STATE_SUSPENDED);
    if (pulled == -ENODEV) snd_pcm_ioplug_set_state(io, SND_PCM_STATE_DISCONNECTED);
    const uint64_t played = std::min(faulty_card.llPlayed, faulty_card.llGiven);
    return static_cast<snd_pcm_sframes_t>(played % io->buffer_size);
  });
}

snd_pcm_sframes_t Transfer(snd_pcm_ioplug_t*, const snd_pcm_channel_area_t* areas, snd_pcm_uframes_t offset,
                           snd_pcm_uframes_t frames) {
  return Locked([=] {
    const auto* sound =
        static_cast<const uint8_t*>(areas[0].addr) + (areas[0].first + offset * areas[0].step) / 8;
    for (snd_pcm_uframes_t i = 0; i < frames; ++i) {
      uint32_t frame;
      std::memcpy(&frame, sound + i * sizeof(frame), sizeof(frame));
      faulty_card.sound.push_back(frame);
    }
    faulty_card.llGiven += frames;
    return static_cast<snd_pcm_sframes_t>(frames);
  });
}

int Prepare(snd_pcm_ioplug_t*) {
  return Locked([] {
    faulty_card.llGiven = 0;
    faulty_card.llPlayed = 0;
    return 0;
  });
}

int Resume(snd_pcm_ioplug_t* io) {
  return Locked([io] {
    ++faulty_card.nResumes;
    if (faulty_card.nResumeRefusals > 0) {
      --faulty_card.nResumeRefusals;
      return -EAGAIN;
    }
    snd_pcm_ioplug_set_state(io, SND_PCM_STATE_RUNNING);
    return 0;
  });
}

int Close(snd_pcm_ioplug_t* io) {
  delete io;
  return Locked([] {
    --faulty_card.nLive;
    return 0;
  });
}

int Nothing(snd_pcm_ioplug_t*) {
  return 0;
}

const snd_pcm_ioplug_callback_t kCallbacks = [] {
  snd_pcm_ioplug_callback_t callbacks{};
  callbacks.start = Nothing;
  callbacks.stop = Nothing;
  callbacks.pointer = Pointer;
  callbacks.transfer = Transfer;
  callbacks.close = Close;
  callbacks.prepare = Prepare;
  callbacks.resume = Resume;
  return callbacks;
}();

int Create(snd_pcm_t** pcm, const char* name, snd_pcm_stream_t stream, int mode) {
  auto* io = new snd_pcm_ioplug_t{};
  io->version = SND_PCM_IOPLUG_VERSION;
  io->name = "a card that breaks";
  io->callback = &kCallbacks;
  io->poll_fd = -1;
  if (const int error = snd_pcm_ioplug_create(io, name, stream, mode); error < 0) {
    delete io;
    return error;
  }
  // ALSA's converters want to map memory.
  const unsigned access[] = {SND_PCM_ACCESS_MMAP_INTERLEAVED, SND_PCM_ACCESS_RW_INTERLEAVED};
  const unsigned format[] = {SND_PCM_FORMAT_S16_LE};
  snd_pcm_ioplug_set_param_list(io, SND_PCM_IOPLUG_HW_ACCESS, 2, access);
  snd_pcm_ioplug_set_param_list(io, SND_PCM_IOPLUG_HW_FORMAT, 1, format);
  snd_pcm_ioplug_set_param_minmax(io, SND_PCM_IOPLUG_HW_CHANNELS, 2, 2);
  snd_pcm_ioplug_set_param_minmax(io, SND_PCM_IOPLUG_HW_RATE, 48000, 48000);
  snd_pcm_ioplug_set_param_minmax(io, SND_PCM_IOPLUG_HW_BUFFER_BYTES, 1024, 1 << 20);
  snd_pcm_ioplug_set_param_minmax(io, SND_PCM_IOPLUG_HW_PERIODS, 2, 64);
  *pcm = io->pcm;
  return 0;
}

}  // namespace

extern "C" {

SND_PCM_PLUGIN_DEFINE_FUNC(faulty) {
  (void)root;
  (void)conf;
  return Locked([=] {
    ++faulty_card.nOpens;
    if (faulty_card.nOpenError != 0) return faulty_card.nOpenError;
    const int error = Create(pcmp, name, stream, mode);
    if (error >= 0) ++faulty_card.nLive;
    return error;
  });
}

SND_PCM_PLUGIN_SYMBOL(faulty)
}
