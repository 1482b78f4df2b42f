// One measurement of memory in a process that does nothing else, for bench_scale's case "memory". Prints
// lines of a name and a number of bytes.
//   scale_footprint load                                 what the library takes before the first player
//   scale_footprint idle WIDTH HEIGHT FEW MANY           what an open player takes, without sound
//   scale_footprint sound WIDTH HEIGHT FEW MANY CODEC    and with sound switched on, QXSP_AUDIO_...
//   scale_footprint playing CLIP FRAMES FEW MANY         what it takes more after it has shown FRAMES
//   scale_footprint hearing CLIP FRAMES FEW MANY SOUND   and received as many of AAC, switched off
//   scale_footprint file FILE FRAMES FEW MANY            what a player takes that has shown FRAMES of a file
//   scale_footprint bare CLIP FRAMES FEW MANY            what a decoder of libavcodec takes, open and fed
//   scale_footprint queue BYTES FRAMES                   what a queued frame of so many bytes takes
//   scale_footprint blocks BYTES FRAMES                  the same for a block of malloc()
//   scale_footprint wall CLIP FRAMES PLAYERS QUEUED      everything together
// "of a player" means: the difference between MANY and FEW, divided.
#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bench/LiveClip.h"
#include "bench/scale/PlainDecoder.h"
#include "bench/scale/Process.h"
#include "bench/scale/Residence.h"
#include "bench/scale/Shown.h"
#include "bench/scale/Streams.h"

namespace {

constexpr uint32_t kQueuedAPlayer = 190;  // a player takes 200
constexpr uint32_t kFarAwayMs = 1'000'000'000;

void Print(const std::string& what, const Residence& few, const Residence& many, size_t count) {
  const auto print = [&](const char* part, size_t Residence::*field) {
    const auto difference = static_cast<double>(many.*field) - static_cast<double>(few.*field);
    std::printf("%s.%s %.0f\n", what.c_str(), part, difference / static_cast<double>(count));
  };
  print("library", &Residence::library);
  print("others", &Residence::others);
  print("stacks", &Residence::stacks);
  print("heap", &Residence::heap);
  const double total = static_cast<double>(many.Total()) - static_cast<double>(few.Total());
  std::printf("%s.total %.0f\n", what.c_str(), total / static_cast<double>(count));
}

void Load() {
  const Residence loaded = ReadResidence();
  StartLibrary();
  Print("loaded", Residence(), loaded, 1);
  Print("started", Residence(), ReadResidence(), 1);
  QXSP_ReleaseSDK();
}

uint32_t Open(const LiveClip& clip, uint32_t mode) {
  return OpenStream(LiveHeader(clip.nWidth, clip.nHeight, 25), mode,
                    {0, 0, std::min(clip.nWidth, 1920), std::min(clip.nHeight, 1080)});
}

void Show(const LiveClip& clip, uint32_t player, size_t frames) {
  for (size_t i = 0; i < frames; ++i)
    PushLive(player, clip.units[i % clip.units.size()]);
  Require(WaitShown(player, frames), "not every picture was shown");
}

// A little later, when the threads have come to rest.
Residence Rested() {
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  return ReadResidence();
}

std::vector<uint32_t> OpenMore(const LiveClip& clip, size_t count) {
  std::vector<uint32_t> players;
  while (players.size() < count)
    players.push_back(Open(clip, QXSP_MODE_AT_ONCE));
  return players;
}

void ReleaseAll() {
  std::fflush(stdout);
  for (uint32_t player = 0; player < QXSP_MAX_PLAYERS; ++player)
    QXSP_ReleasePlayer(player);
  QXSP_ReleaseSDK();
}

void Idle(const LiveClip& clip, size_t few, size_t many) {
  StartLibrary();
  OpenMore(clip, few);
  const Residence openFew = Rested();
  const ProcessFigures figuresFew = ReadProcessFigures();
  OpenMore(clip, many - few);
  Print("open", openFew, Rested(), many - few);
  const ProcessFigures figuresMany = ReadProcessFigures();
  const auto perPlayer = [&](size_t from, size_t to) {
    return (static_cast<double>(to) - static_cast<double>(from)) / static_cast<double>(many - few);
  };
  std::printf("threads %.2f\n", perPlayer(figuresFew.threads, figuresMany.threads));
  std::printf("descriptors %.2f\n", perPlayer(figuresFew.descriptors, figuresMany.descriptors));
  ReleaseAll();
}

QXSP_FILE_HEADER HeaderWithSound(const LiveClip& clip, uint16_t codec, uint16_t rate) {
  QXSP_FILE_HEADER header = LiveHeader(clip.nWidth, clip.nHeight, 25);
  header.wVideoDataType = QXSP_DATA_VIDEO_AND_AUDIO;
  header.wAudioCodecID = codec;
  header.wAudioSampleRate = rate;
  header.wAudioChannels = 1;
  header.wAudioBits = 16;
  return header;
}

void Sound(const LiveClip& clip, size_t few, size_t many, uint16_t codec) {
  StartLibrary();
  const QXSP_FILE_HEADER header = HeaderWithSound(clip, codec, 8000);
  const auto open = [&](size_t count) {
    static int window;
    for (size_t i = 0; i < count; ++i) {
      const uint32_t player = OpenStream(header, QXSP_MODE_AT_ONCE, {0, 0, 176, 144});
      Require(QXSP_SetAudioPreview(player, &window, 1) == 1, "the sound is refused");
    }
    return Rested();
  };
  const Residence openFew = open(few);
  Print("open", openFew, open(many - few), many - few);
  ReleaseAll();
}

void Playing(const LiveClip& clip, size_t frames, size_t few, size_t many) {
  StartLibrary();
  CountShown();
  const std::vector<uint32_t> players = OpenMore(clip, many);
  size_t shown = 0;
  const auto show = [&](size_t count) {
    for (; shown < count; ++shown)
      Show(clip, players[shown], frames);
    return Rested();
  };
  const Residence shownFew = show(few);
  Print("shown", shownFew, show(many), many - few);
  ReleaseAll();
}

// A picture and a frame of sound in turn, each sound before the next picture.
void Hearing(const LiveClip& clip, size_t frames, size_t few, size_t many, const LiveClip& sound) {
  constexpr uint16_t kRate = 16000;  // of the clip
  StartLibrary();
  CountShown();
  const QXSP_FILE_HEADER header = HeaderWithSound(clip, QXSP_AUDIO_AAC, kRate);
  std::vector<uint32_t> players;
  while (players.size() < many)
    players.push_back(OpenStream(header, QXSP_MODE_AT_ONCE, {0, 0, clip.nWidth, clip.nHeight}));
  size_t heard = 0;
  const auto hear = [&](size_t count) {
    for (; heard < count; ++heard) {
      for (size_t i = 0; i < frames; ++i) {
        const auto ms = static_cast<uint32_t>(i * 40);
        for (const AccessUnit* unit :
             {&clip.units[i % clip.units.size()], &sound.units[i % sound.units.size()]})
          Require(
              QXSP_WriteToStreamOneFrame2(players[heard], unit->data(), static_cast<uint32_t>(unit->size()),
                                          ms, 0) == QXSP_WRITE_QUEUED,
              "a frame is refused");
      }
      Require(WaitShown(players[heard], frames), "not every picture was shown");
    }
    return Rested();
  };
  const Residence heardFew = hear(few);
  Print("shown", heardFew, hear(many), many - few);
  ReleaseAll();
}

void File(const std::string& path, size_t frames, size_t few, size_t many) {
  StartLibrary();
  CountShown();
  constexpr QXSP_RECT kPlace = {0, 0, 352, 288};
  static int window;
  const auto play = [&](size_t count) {
    std::vector<uint32_t> players;
    while (players.size() < count) {
      const auto player = static_cast<uint32_t>(QXSP_CreatePlayer());
      Require(QXSP_OpenFile(player, path.c_str()) == 1, "a file does not open");
      Require(QXSP_SetVideoPreview(player, &window, &kPlace, 1) == 1, "a window is refused");
      players.push_back(player);
    }
    for (const uint32_t player : players)
      Require(WaitShown(player, frames), "not every picture was shown");
    for (const uint32_t player : players)
      QXSP_Pause(player);
    return Rested();
  };
  const Residence playedFew = play(few);
  Print("shown", playedFew, play(many - few), many - few);
  ReleaseAll();
}

void Bare(const LiveClip& clip, size_t frames, size_t few, size_t many) {
  std::vector<std::unique_ptr<PlainDecoder>> decoders;
  const auto open = [&](size_t count) {
    while (decoders.size() < count)
      decoders.push_back(std::make_unique<PlainDecoder>());
    return ReadResidence();
  };
  const Residence openFew = open(few);
  const Residence openMany = open(many);
  size_t fed = 0;
  const auto feed = [&](size_t count) {
    for (; fed < count; ++fed)
      for (size_t i = 0; i < frames; ++i)
        decoders[fed]->Decode(clip.units[i % clip.units.size()]);
    return ReadResidence();
  };
  const Residence fedFew = feed(few);
  const Residence fedMany = feed(many);
  Print("open", openFew, openMany, many - few);
  Print("shown", fedFew, fedMany, many - few);
}

// Bytes that live input takes for a key frame, and that nobody will decode: they are never due.
AccessUnit Payload(size_t bytes) {
  AccessUnit unit(std::max<size_t>(bytes, 5), 0x55);
  const uint8_t start[] = {0, 0, 0, 1, 0x67};
  std::copy(std::begin(start), std::end(start), unit.begin());
  return unit;
}

void QueueFrames(uint32_t player, const AccessUnit& unit, size_t frames) {
  for (size_t i = 0; i < frames; ++i)
    Require(QXSP_WriteToStreamOneFrame2(player, unit.data(), static_cast<uint32_t>(unit.size()), kFarAwayMs,
                                        0) == QXSP_WRITE_QUEUED,
            "a frame is refused");
}

void Queue(size_t bytes, size_t frames) {
  StartLibrary();
  const AccessUnit unit = Payload(bytes);
  const AccessUnit small = Payload(5);
  std::vector<uint32_t> players;
  for (size_t left = frames; left > 0; left -= std::min<size_t>(left, kQueuedAPlayer)) {
    players.push_back(OpenStream(LiveHeader(176, 144, 25), QXSP_MODE_CATCH_UP, {0, 0, 176, 144}));
    // The first frame sets the clock.
    QXSP_WriteToStreamOneFrame2(players.back(), small.data(), static_cast<uint32_t>(small.size()), 0, 0);
  }
  const Residence empty = Rested();
  size_t left = frames;
  for (const uint32_t player : players) {
    const size_t count = std::min<size_t>(left, kQueuedAPlayer);
    QueueFrames(player, unit, count);
    left -= count;
  }
  Print("queued", empty, Rested(), frames);
  ReleaseAll();
}

void Blocks(size_t bytes, size_t frames) {
  std::vector<char*> blocks(frames);
  const Residence empty = ReadResidence();
  for (char*& block : blocks) {
    block = static_cast<char*>(std::malloc(bytes));
    std::memset(block, 0x55, bytes);
  }
  Print("queued", empty, ReadResidence(), frames);
  for (char* block : blocks)
    std::free(block);
}

void Wall(const LiveClip& clip, size_t frames, size_t count, size_t queued) {
  StartLibrary();
  CountShown();
  const AccessUnit& unit = clip.units[1];  // as most are; those that wait are not decoded
  for (size_t i = 0; i < count; ++i) {
    const uint32_t player = Open(clip, QXSP_MODE_AT_ONCE);
    Show(clip, player, frames);
    QXSP_SetFrameControlMode(player, QXSP_MODE_CATCH_UP);
    PushLive(player, clip.units[0]);  // sets the clock
    Require(WaitShown(player, frames + 1), "not every picture was shown");
    QueueFrames(player, unit, queued);
  }
  std::printf("frame.bytes %zu\n", unit.size());
  Print("wall", Residence(), Rested(), 1);
  const ProcessFigures figures = ReadProcessFigures();
  std::printf("threads %zu\ndescriptors %zu\n", figures.threads, figures.descriptors);
  ReleaseAll();
  Print("released", Residence(), ReadResidence(), 1);
  malloc_trim(0);
  Print("trimmed", Residence(), ReadResidence(), 1);
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  const auto number = [&](size_t index) { return std::stoul(arguments.at(index)); };
  // Without frames: what reading them has freed would be used again.
  const auto size = [&] { return LiveClip{{}, static_cast<int>(number(1)), static_cast<int>(number(2))}; };
  const auto clip = [&] { return ReadLiveClip(arguments.at(1).c_str()); };
  const std::string what = arguments.empty() ? "" : arguments[0];
  const size_t count = arguments.size();
  if (what == "load" && count == 1) {
    Load();
  } else if (what == "idle" && count == 5) {
    Idle(size(), number(3), number(4));
  } else if (what == "sound" && count == 6) {
    Sound(size(), number(3), number(4), static_cast<uint16_t>(number(5)));
  } else if (what == "playing" && count == 5) {
    Playing(clip(), number(2), number(3), number(4));
  } else if (what == "hearing" && count == 6) {
    Hearing(clip(), number(2), number(3), number(4), ReadLiveClip(arguments[5].c_str()));
  } else if (what == "file" && count == 5) {
    File(arguments[1], number(2), number(3), number(4));
  } else if (what == "bare" && count == 5) {
    Bare(clip(), number(2), number(3), number(4));
  } else if (what == "queue" && count == 3) {
    Queue(number(1), number(2));
  } else if (what == "blocks" && count == 3) {
    Blocks(number(1), number(2));
  } else if (what == "wall" && count == 5) {
    Wall(clip(), number(2), number(3), number(4));
  } else {
    std::fprintf(stderr, "scale_footprint is run by bench_scale memory\n");
    return 2;
  }
  return 0;
}
