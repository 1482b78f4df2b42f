#include "bench/clocks/Playback.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "bench/clocks/SimulatedTime.h"
#include "bench/clocks/Traffic.h"
#include "pacing/PlayThreads.h"

namespace {

constexpr int64_t kDayMs = 24 * 3'600'000;
constexpr int64_t kPassMs = 1;

// What a simulated frame consists of.
struct Payload {
  int64_t llTimestamp;
  int64_t llArrivedMs;
};

// The rule of the live modes once more, in its plainest form and fed with what the queue says when a frame is
// played: it tells the clock's state, which FrameControl keeps to itself.
class PlainClock {
 public:
  explicit PlainClock(uint32_t mode)
      : m_bHasTarget((mode & 0xF0) == kModeBuffered), m_llTargetMs(200 * (mode & 0x0F)) {}

  int64_t DueAt(int64_t timestamp) const { return m_llBase + timestamp; }
  bool IsSet() const { return m_bSet; }

  // True when the clock was set anew.
  bool Play(int64_t now, int64_t timestamp, int64_t bufferedMs, bool overFilled) {
    if (!m_bSet) {
      m_bSet = true;
      m_llBase = now - timestamp;
      return false;
    }
    const bool anew = DueAt(timestamp) + 3 < now && bufferedMs == 0;
    if (anew) m_llBase = now - timestamp;
    if (overFilled) {
      --m_llBase;
    } else if (m_bHasTarget) {
      m_llBase += (bufferedMs < m_llTargetMs) - (bufferedMs > m_llTargetMs);
    }
    return anew;
  }

 private:
  const bool m_bHasTarget;
  const int64_t m_llTargetMs;
  bool m_bSet = false;
  int64_t m_llBase = 0;
};

class Day final : public Decoder {
 public:
  Day(uint32_t mode, double skewPpm, bool withStalls, int64_t settleMs)
      : m_Traffic(skewPpm, withStalls), m_llSettleMs(settleMs), m_Clock(mode) {
    m_Label.SetPlayerID(0);
    m_Control.ResetToDefault();
    m_Control.SetFrameControlMode(mode);
    m_Pool.ResetForLive();
  }

  // The play thread owns everything of this object but m_Time while this runs.
  PlaybackFigures Run() {
    m_Video.SetDecoder(std::shared_ptr<Decoder>(this, [](Decoder*) {}));
    m_Threads.ResetStatistics();
    if (!m_Threads.Start(PlayThreads::Source::kStream)) return {};
    m_Time.WaitForEnd();
    m_Threads.Stop();
    m_Video.SetDecoder(nullptr);
    return m_Figures;
  }

  uint32_t GetDecoderType() const override { return kCodecH264; }
  uint32_t GetDelay() const override { return 0; }
  bool Open(uint32_t, uint32_t, uint32_t) override { return true; }
  bool DecodeFrameVideo(DecodedPicture& picture, const uint8_t* data, uint32_t, uint32_t) override {
    picture.bHasImage = false;
    Payload payload;
    std::memcpy(&payload, data, sizeof payload);
    Note(payload);
    m_Time.Work(kDecodeMs);
    m_llFreeMs = m_Time.NowMs() + kPassMs;
    return true;
  }

 private:
  int64_t NextMs() const { return m_Next.llTimestamp < kDayMs ? m_Next.llTimeMs : SimulatedTime::kNever; }

  void Push() {
    const Payload payload = {m_Next.llTimestamp, m_Next.llTimeMs};
    FrameRecord frame;
    frame.pFrame = reinterpret_cast<const uint8_t*>(&payload);
    frame.dwFrameSize = sizeof payload;
    frame.bKeyFrame = m_Next.bKeyFrame;
    frame.bDisplay = true;
    frame.llTimeStamp = m_Next.llTimestamp;
    if (m_Pool.PushBackFrame(0, frame) != kPushQueued) ++m_Figures.llLost;
    m_Next = m_Traffic.Next();
    // Until it arrives the queue runs dry.
    if (m_Next.bStalled) m_llSettledFromMs = m_Next.llTimeMs + m_llSettleMs;
  }

  void Note(const Payload& payload) {
    const int64_t now = m_Time.NowMs();
    const int64_t buffered = m_Pool.GetBufferedTime();
    if (m_Clock.IsSet()) {
      const int64_t dueAt = m_Clock.DueAt(payload.llTimestamp);
      const int64_t possible = std::max({dueAt, payload.llArrivedMs, m_llFreeMs});
      if (now < dueAt) ++m_Figures.llEarlyFrames;
      m_Figures.llMostLateMs = std::max(m_Figures.llMostLateMs, now - dueAt);
      m_Figures.llMostMissedMs = std::max(m_Figures.llMostMissedMs, now - possible);
    }
    if (m_Clock.Play(now, payload.llTimestamp, buffered, m_Pool.IsOverFilled())) ++m_Figures.llResynchronised;
    m_Figures.llMostBufferedMs = std::max(m_Figures.llMostBufferedMs, buffered);
    ++m_Figures.llPlayed;
    if (now < m_llSettledFromMs) return;
    const size_t last = m_Figures.settled.size() - 1;
    ++m_Figures.settled[std::min(static_cast<size_t>(buffered), last)];
  }

  SimulatedTime m_Time{m_WakeUp, [this] { return NextMs(); }, [this] { Push(); }};
  Traffic m_Traffic;
  Arrival m_Next = m_Traffic.Next();
  const int64_t m_llSettleMs;
  int64_t m_llSettledFromMs = m_llSettleMs;
  int64_t m_llFreeMs = 0;  // when the play thread can play the next frame
  PlainClock m_Clock;
  PlaybackFigures m_Figures;

  PlayerLabel m_Label;
  WakeUp m_WakeUp;
  FrameBufferPool m_Pool{m_WakeUp};
  FrameControl m_Control{m_Label, m_WakeUp};
  VideoPath m_Video{m_Label};
  AudioPath m_Audio{m_Label};
  FileSource m_File{m_Control, m_Video, m_Audio};
  PlayThreads m_Threads{m_Label, m_WakeUp, m_Pool, m_File, m_Control, m_Video, m_Audio};
};

}  // namespace

int64_t PlaybackFigures::SettledMs(double q) const {
  int64_t count = 0;
  for (const int64_t frames : settled)
    count += frames;
  int64_t left = static_cast<int64_t>(q * static_cast<double>(count - 1));
  for (size_t ms = 0; ms < settled.size(); ++ms) {
    if (left < settled[ms]) return static_cast<int64_t>(ms);
    left -= settled[ms];
  }
  return 0;
}

PlaybackFigures PlayOneDay(uint32_t mode, double skewPpm, bool withStalls, int64_t settleMs) {
  return std::make_unique<Day>(mode, skewPpm, withStalls, settleMs)->Run();
}
