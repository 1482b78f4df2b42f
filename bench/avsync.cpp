// How far sound and pictures lie apart: files with a flash and a beep every second are played through the
// exports, on a clock that stands still while anything works, and each beep's first sample at the device's
// play cursor is set against its white picture's copy to the screen. Ten minutes pass in seconds. The
// reference is what the file itself says, decoded with libavcodec or counted in its records.
//   bench_avsync [FILE...]
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "file/SvxFormat.h"
#include "include/qxsdkp.h"
#include "platform/posix/DirectSoundDevice.h"
#include "platform/posix/NullSound.h"
#include "platform/posix/SoundSeam.h"
#include "tests/support/ManualClock.h"

namespace {

constexpr int kBrighter = 128;        // luma of a flash
constexpr double kLouder = 0.25;      // of full scale; beeps have 0.5
constexpr double kShortestGap = 0.3;  // seconds without sound before a beep
constexpr double kSettled = 5000;     // ms; what is seen and heard before counts as starting up
constexpr double kStep = 1000;        // ms from flash to flash

[[noreturn]] void Fail(const std::string& what) {
  std::fprintf(stderr, "bench_avsync: %s\n", what.c_str());
  std::exit(1);
}

// When something begins, in ms.
struct Moments {
  std::vector<double> flashes;
  std::vector<double> beeps;
};

// Finds the first samples of beeps.
class BeepFinder {
 public:
  // `sample` within -1 and 1, at `ms`.
  void Add(double sample, double ms, double rate, std::vector<double>& beeps) {
    if (std::abs(sample) < kLouder) {
      ++m_nQuiet;
      return;
    }
    if (static_cast<double>(m_nQuiet) >= kShortestGap * rate) beeps.push_back(ms);
    m_nQuiet = 0;
  }

 private:
  size_t m_nQuiet = 0;  // samples
};

double Sample(const uint8_t* at, uint32_t bits) {
  if (bits == 8) return (*at - 128) / 128.0;
  int16_t sample;
  std::memcpy(&sample, at, sizeof sample);
  return sample / 32768.0;
}

// ---- What is heard ------------------------------------------------------------------------------------

// The silent device with an ear at its play cursor.
class Ear final : public IDirectSoundBuffer {
 public:
  static Ear* s_pOpen;  // the one that there is

  Ear(IDirectSoundBuffer* buffer, const DSBUFFERDESC& desc)
      : m_pBuffer(buffer), m_Format(*desc.lpwfxFormat), m_nBytes(desc.dwBufferBytes) {
    DWORD bytes = 0;
    m_pBuffer->Lock(0, m_nBytes, &m_pMemory, &bytes, nullptr, nullptr, 0);
    s_pOpen = this;
  }

  // Listens to what passed the cursor since the last time.
  void Listen(double nowMs, std::vector<double>& beeps) {
    if (!m_bPlaying) return;
    DWORD cursor = 0;
    m_pBuffer->GetCurrentPosition(&cursor, nullptr);
    for (DWORD left = (cursor + m_nBytes - m_nHeard) % m_nBytes; left > 0; left -= m_Format.nBlockAlign) {
      const double ms = nowMs - 1000.0 * left / m_Format.nAvgBytesPerSec;
      const auto* at = static_cast<const uint8_t*>(m_pMemory) + m_nHeard;
      m_Finder.Add(Sample(at, m_Format.wBitsPerSample), ms, m_Format.nSamplesPerSec, beeps);
      m_nHeard = (m_nHeard + m_Format.nBlockAlign) % m_nBytes;
    }
  }
  int Pauses() const { return m_nPauses; }
  int Jumps() const { return m_nJumps; }

  ULONG Release() override {
    s_pOpen = nullptr;
    m_pBuffer->Release();
    delete this;
    return 0;
  }
  HRESULT GetCurrentPosition(DWORD* play, DWORD* write) override {
    return m_pBuffer->GetCurrentPosition(play, write);
  }
  HRESULT Lock(DWORD offset, DWORD bytes, LPVOID* part1, DWORD* bytes1, LPVOID* part2, DWORD* bytes2,
               DWORD flags) override {
    return m_pBuffer->Lock(offset, bytes, part1, bytes1, part2, bytes2, flags);
  }
  HRESULT Play(DWORD reserved, DWORD priority, DWORD flags) override {
    m_bPlaying = true;
    return m_pBuffer->Play(reserved, priority, flags);
  }
  HRESULT SetCurrentPosition(DWORD position) override {
    if (m_bPlaying) ++m_nJumps;
    m_nHeard = position;
    return m_pBuffer->SetCurrentPosition(position);
  }
  HRESULT Stop() override {
    m_bPlaying = false;
    ++m_nPauses;
    return m_pBuffer->Stop();
  }
  HRESULT Unlock(LPVOID part1, DWORD bytes1, LPVOID part2, DWORD bytes2) override {
    return m_pBuffer->Unlock(part1, bytes1, part2, bytes2);
  }
  HRESULT Restore() override { return m_pBuffer->Restore(); }

 private:
  ~Ear() = default;

  IDirectSoundBuffer* const m_pBuffer;
  const WAVEFORMATEX m_Format;
  const DWORD m_nBytes;
  void* m_pMemory = nullptr;
  BeepFinder m_Finder;
  DWORD m_nHeard = 0;  // offset of the next byte to be heard
  bool m_bPlaying = false;
  int m_nPauses = 0;
  int m_nJumps = 0;
};
Ear* Ear::s_pOpen = nullptr;

class EarDevice final : public IDirectSound8, public platform::SoundDriver {
 public:
  HRESULT CreateDevice(LPDIRECTSOUND8* device) override {
    m_pDevice = new platform::DirectSoundDevice(std::make_unique<platform::NullSound>());
    *device = this;
    return DS_OK;
  }
  ULONG Release() override { return m_pDevice->Release(); }
  HRESULT CreateSoundBuffer(const DSBUFFERDESC* desc, LPDIRECTSOUNDBUFFER* buffer, IUnknown* outer) override {
    const HRESULT result = m_pDevice->CreateSoundBuffer(desc, buffer, outer);
    if (result == DS_OK) *buffer = new Ear(*buffer, *desc);
    return result;
  }
  HRESULT SetCooperativeLevel(HWND window, DWORD level) override {
    return m_pDevice->SetCooperativeLevel(window, level);
  }

 private:
  IDirectSound8* m_pDevice = nullptr;
};

// ---- What is seen -------------------------------------------------------------------------------------

ManualClock* g_pClock = nullptr;
Moments g_Played;
bool g_bBright = false;       // the picture on its way to the screen
bool g_bShownBright = false;  // the one before it

void QXSP_CALLBACK OnPicture(uint32_t /*player*/, const uint8_t* luma, const uint8_t* /*cb*/,
                             const uint8_t* /*cr*/, uint32_t stride, uint32_t /*chromaStride*/) {
  g_bBright = luma[stride + 1] > kBrighter;
}

void QXSP_CALLBACK AfterCopy(uint32_t, void*, void*, void*, QXSP_RECT*, QXSP_RECT*) {
  if (g_bBright && !g_bShownBright) g_Played.flashes.push_back(static_cast<double>(g_pClock->NowMs()));
  g_bShownBright = g_bBright;
}

// ---- What the file says -------------------------------------------------------------------------------

// A recording has no timestamps: pictures and samples are counted. Pictures are told apart by the second
// that they begin, which the file was made with.
Moments CountRecords(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
  const auto* data = reinterpret_cast<const uint8_t*>(bytes.data());
  Moments moments;
  BeepFinder finder;
  uint32_t pictures = 0;
  uint32_t samples = 0;
  for (size_t at = svx::kHeaderBytes; at + svx::kRecordHeadBytes < bytes.size();) {
    const svx::RecordHead head = svx::ReadHeadWord(svx::ReadWord(data + at + 4));
    const uint8_t* payload = data + at + svx::kRecordHeadBytes;
    for (uint32_t i = 0; head.nType == svx::kAudio && i < head.nPayloadBytes; ++i) {
      const double ms = 1000.0 * samples++ / svx::kAudioSampleRate;
      finder.Add(Sample(payload + i, svx::kAudioBits), ms, svx::kAudioSampleRate, moments.beeps);
    }
    if (head.nType != svx::kAudio && pictures++ % 25 == 0) moments.flashes.push_back((pictures - 1) * 40.0);
    at += head.RecordBytes();
  }
  return moments;
}

struct Track {
  AVStream* pStream = nullptr;
  AVCodecContext* pCodec = nullptr;

  Track(AVFormatContext* format, AVMediaType type) {
    const int index = av_find_best_stream(format, type, -1, -1, nullptr, 0);
    if (index < 0) Fail("a track is missing");
    pStream = format->streams[index];
    pCodec = avcodec_alloc_context3(avcodec_find_decoder(pStream->codecpar->codec_id));
    avcodec_parameters_to_context(pCodec, pStream->codecpar);
    pCodec->pkt_timebase = pStream->time_base;
    if (avcodec_open2(pCodec, nullptr, nullptr) < 0) Fail("a codec is missing");
  }
  double Ms(int64_t pts) const { return static_cast<double>(pts) * av_q2d(pStream->time_base) * 1000; }
};

Moments DecodeFile(const std::string& path) {
  AVFormatContext* format = nullptr;
  if (avformat_open_input(&format, path.c_str(), nullptr, nullptr) < 0 ||
      avformat_find_stream_info(format, nullptr) < 0) {
    Fail("cannot read " + path);
  }
  Track video(format, AVMEDIA_TYPE_VIDEO);
  Track sound(format, AVMEDIA_TYPE_AUDIO);
  Moments moments;
  BeepFinder finder;
  bool wasBright = false;
  AVPacket* packet = av_packet_alloc();
  AVFrame* frame = av_frame_alloc();
  while (av_read_frame(format, packet) >= 0) {
    const bool isVideo = packet->stream_index == video.pStream->index;
    Track& track = isVideo ? video : sound;
    avcodec_send_packet(track.pCodec, packet);
    while (avcodec_receive_frame(track.pCodec, frame) >= 0) {
      const double ms = track.Ms(frame->pts);
      const bool bright = isVideo && frame->data[0][frame->linesize[0] + 1] > kBrighter;
      if (bright && !wasBright) moments.flashes.push_back(ms);
      if (isVideo) wasBright = bright;
      for (int i = 0; !isVideo && i < frame->nb_samples; ++i) {
        const auto* samples = reinterpret_cast<const float*>(frame->data[0]);
        finder.Add(samples[i], ms + 1000.0 * i / frame->sample_rate, frame->sample_rate, moments.beeps);
      }
    }
    av_packet_unref(packet);
  }
  av_frame_free(&frame);
  av_packet_free(&packet);
  avcodec_free_context(&video.pCodec);
  avcodec_free_context(&sound.pCodec);
  avformat_close_input(&format);
  return moments;
}

// ---- The comparison -----------------------------------------------------------------------------------

struct Offsets {
  size_t nPairs = 0;
  double dMean = 0;  // ms; above 0 the sound is late
  double dLeast = 0;
  double dMost = 0;
  double dDrift = 0;  // from the first to the last, by the line of least squares
};

Offsets Compare(const Moments& moments, double fromMs) {
  std::vector<double> times;
  std::vector<double> values;
  for (const double flash : moments.flashes) {
    if (flash < fromMs) continue;
    for (const double beep : moments.beeps) {
      if (std::abs(beep - flash) >= kStep / 2) continue;
      times.push_back(flash);
      values.push_back(beep - flash);
    }
  }
  Offsets offsets;
  offsets.nPairs = values.size();
  if (values.size() < 2) return offsets;
  const auto count = static_cast<double>(values.size());
  double time = 0;
  for (size_t i = 0; i < values.size(); ++i) {
    offsets.dMean += values[i] / count;
    time += times[i] / count;
  }
  double product = 0;
  double square = 0;
  for (size_t i = 0; i < values.size(); ++i) {
    product += (times[i] - time) * (values[i] - offsets.dMean);
    square += (times[i] - time) * (times[i] - time);
  }
  offsets.dDrift = product / square * (times.back() - times.front());
  const auto [least, most] = std::minmax_element(values.begin(), values.end());
  offsets.dLeast = *least;
  offsets.dMost = *most;
  return offsets;
}

void Measure(const std::string& path) {
  const bool isRecording = !path.ends_with(".mp4");
  const Offsets own = Compare(isRecording ? CountRecords(path) : DecodeFile(path), 0);
  ManualClock clock;
  g_pClock = &clock;
  g_Played = {};
  const auto player = static_cast<uint32_t>(QXSP_CreatePlayer());
  if (QXSP_OpenFile(player, path.c_str()) != 1 || !clock.WaitForSleepers(2)) Fail("cannot play " + path);
  static int window;
  const QXSP_RECT rect = {0, 0, 64, 48};
  QXSP_SetVideoPreview(player, &window, &rect, 1);
  if (QXSP_SetAudioPreview(player, &window, 1) != 1) Fail(path + " has no sound");
  if (!clock.WaitForSleepers(2)) Fail("the play threads hang");
  const auto start = static_cast<double>(clock.NowMs());
  const double length = QXSP_GetTotalFrames(player) * 40.0;
  while (static_cast<double>(clock.NowMs()) - start < length - kStep) {
    if (!clock.Step(1, 2)) Fail("the play threads hang");
    Ear::s_pOpen->Listen(static_cast<double>(clock.NowMs()), g_Played.beeps);
  }
  const int pauses = Ear::s_pOpen->Pauses();
  const int jumps = Ear::s_pOpen->Jumps();
  clock.Release();
  QXSP_ReleasePlayer(player);

  const Offsets played = Compare(g_Played, start + kSettled);
  std::printf(
      "%s, %.0f s: %zu beeps, sound after picture by mean %+.1f ms (%+.1f to %+.1f), drift %+.2f ms\n",
      path.substr(path.rfind('/') + 1).c_str(), length / 1000, played.nPairs, played.dMean, played.dLeast,
      played.dMost, played.dDrift);
  std::printf(
      "    the file's own: %zu beeps, mean %+.1f ms, drift %+.2f ms; device paused %d times, skipped %d\n",
      own.nPairs, own.dMean, own.dDrift, pauses, jumps);
}

}  // namespace

int main(int argc, char** argv) {
  setenv("QXSDKP_DISPLAY", "headless", 1);
  EarDevice device;
  platform::SetSoundDriver(&device);
  if (QXSP_InitSDK() != 1) Fail("the library does not start");
  QXSP_ConfigLog(QXSP_LOG_NONE, nullptr, QXSP_LOG_NONE);
  QXSP_SetCallBack(OnPicture, nullptr, nullptr, AfterCopy);
  const std::vector<std::string> paths =
      argc > 1 ? std::vector<std::string>(argv + 1, argv + argc) : std::vector<std::string>{QX_FILES};
  for (const std::string& path : paths)
    Measure(path);
  QXSP_ReleaseSDK();
  platform::SetSoundDriver(nullptr);
  return 0;
}
