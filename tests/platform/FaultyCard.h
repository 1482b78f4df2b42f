// A sound card for alsa-lib that plays when the test says so, keeps what it is given, and breaks on demand.
#pragma once

#include <dlfcn.h>

#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

// One card, 48 kHz, stereo, 16 bits. The plugin exports it as `faulty_card`.
struct FaultyCard {
  std::mutex mutex;               // guards all of the following
  std::condition_variable moved;  // after every call of alsa-lib

  // What the test sets.
  int nOpenError = 0;  // negative errno: the card cannot be opened
  int nPulled = 0;     // negative errno: what the next operation finds, once; -EPIPE, -ESTRPIPE or -ENODEV
  int nResumeRefusals = 0;  // so often the suspended card is not ready to resume
  uint64_t llPlayed = 0;    // frames that came out since it was prepared; never more than it was given

  // What happened.
  int nOpens = 0;  // attempts
  int nLive = 0;   // open now
  int nResumes = 0;
  uint64_t llGiven = 0;         // frames since it was prepared
  std::vector<uint32_t> sound;  // every frame that it was given, as left | right << 16
};

// Writes a configuration in which ALSA has this card as "faulty" and as its default, and whatever else is
// said, and answers the card. `plugin` is the file that holds it.
inline FaultyCard* UseFaultyCard(const char* plugin, const std::string& configuration,
                                 const std::string& more = "") {
  std::ofstream(configuration)
      << "pcm.plug { @args [ SLAVE ] @args.SLAVE { type string } type plug slave.pcm $SLAVE }\n"
      << "pcm_type.faulty { lib \"" << plugin << "\" }\n"
      << "pcm.faulty { type faulty }\n"
      << "pcm.default { type faulty }\n"
      << more;
  setenv("ALSA_CONFIG_PATH", configuration.c_str(), 1);
  void* const library = dlopen(plugin, RTLD_NOW);
  if (library == nullptr) throw std::runtime_error(dlerror());
  return static_cast<FaultyCard*>(dlsym(library, "faulty_card"));
}
