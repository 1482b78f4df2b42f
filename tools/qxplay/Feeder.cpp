#include "tools/qxplay/Feeder.h"

using Clock = std::chrono::steady_clock;

Feeder::Feeder(const std::string& address, const Options& options, const std::vector<Tile*>& tiles,
               Console& console, std::function<void()> wake)
    : m_strAddress(address),
      m_bLoop(options.loop),
      m_Console(console),
      m_Wake(std::move(wake)),
      m_Source(address, options.timeoutSeconds, options.frameRate, [this] { return m_bStop.load(); }) {
  for (Tile* tile : tiles)
    m_Players.emplace_back(*tile);
}

Feeder::~Feeder() {
  Stop();
}

void Feeder::Start() {
  m_Thread = std::jthread([this] {
    Run();
    m_bEnded = true;
    m_Wake();
  });
}

void Feeder::Stop() {
  {
    const MutexLock lock(m_Mutex);
    m_bStop = true;
  }
  m_Stopped.notify_all();
  if (m_Thread.joinable()) m_Thread.join();
}

void Feeder::Run() {
  if (!m_Source.Open()) {
    Fail(m_Source.Error());
    return;
  }
  const std::string& whyNoSound = m_Source.Info().whyNoSound;
  if (!whyNoSound.empty()) m_Console.Complain(m_strAddress + ": plays without sound: " + whyNoSound);
  if (!OpenPlayers()) return;
  LivePacer pacer;  // of all rounds, because the time line goes on over them
  while (FeedOnce(pacer) && m_bLoop && !m_bStop) {
    const StreamInfo before = m_Source.Info();
    // A network camera comes back, a file does not. It is asked at a gentle pace, for it may accept and hang
    // up at once for as long as it is out of order.
    constexpr std::chrono::seconds kRetry{2};
    for (bool again = false; !again;) {
      if (before.paced && !WaitUntil(Clock::now() + kRetry)) return;
      again = m_Source.Restart();
      if (m_bStop) return;
      if (!again) Fail(m_Source.Error());
      if (!again && !before.paced) return;
    }
    const StreamInfo& now = m_Source.Info();
    const bool same = now.codec == before.codec && now.sound == before.sound && now.width == before.width &&
                      now.height == before.height;
    if (!same && !OpenPlayers()) return;
  }
}

bool Feeder::OpenPlayers() {
  for (StreamPlayer& player : m_Players) {
    if (!player.Open(m_Source.Info()))
      return Fail(m_strAddress + ": the player library cannot play this stream");
  }
  return true;
}

// From where the source stands to its end. False when it is not worth another round.
bool Feeder::FeedOnce(LivePacer& pacer) {
  bool delivered = false;
  while (const auto unit = m_Source.Next()) {
    delivered = true;
    if (!m_Source.Info().paced && !WaitUntil(pacer.DueTime(unit->timestampMs, Clock::now()))) return false;
    for (StreamPlayer& player : m_Players)
      player.Push(*unit);
  }
  if (m_bStop) return false;
  if (!m_Source.Error().empty()) {
    Fail(m_Source.Error());
  } else if (!delivered) {
    Fail(m_strAddress + ": has no frames");
  }
  return delivered || m_Source.Info().paced;
}

// False when the feeder is to stop.
bool Feeder::WaitUntil(Clock::time_point time) {
  const MutexLock lock(m_Mutex);
  while (!m_bStop) {
    if (Clock::now() >= time) return true;
    m_Stopped.wait_until(m_Mutex, time);
  }
  return false;
}

bool Feeder::Fail(const std::string& text) {
  m_bFailed = true;
  m_Console.Complain(text);
  return false;
}
