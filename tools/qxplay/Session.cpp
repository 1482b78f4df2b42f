#include "tools/qxplay/Session.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds kReportInterval = 1s;
// Between two looks at the queues after the sources have ended.
constexpr std::chrono::milliseconds kDrainStep = 20ms;
// A queue that gives no picture for so long gives none any more: frames that were not decoded stay counted in
// it.
constexpr std::chrono::milliseconds kQuiet = 2s;

double Seconds(std::chrono::steady_clock::duration duration) {
  return std::chrono::duration<double>(duration).count();
}

}  // namespace

Session::Session(const Options& options, Host& host, Console& console, std::string sheetFile)
    : m_Options(options), m_Host(host), m_Console(console), m_strSheetFile(std::move(sheetFile)) {
  StreamPlayer::PictureSink sink;
  if (!m_strSheetFile.empty()) {
    sink = [this](void* surface, const QXSP_RECT& tile, const Area& desktopTile) {
      Capture(surface, tile, desktopTile);
    };
  }
  StreamPlayer::InstallCallbacks(std::move(sink));
}

Session::~Session() {
  m_Feeders.clear();
  m_Players.clear();
  QXSP_SetCallBack(nullptr, nullptr, nullptr, nullptr);
}

int Session::Run() {
  if (!MakePlayers()) return 1;
  PlaceAll();
  for (const auto& feeder : m_Feeders)
    feeder->Start();
  const bool orderly = Loop();
  for (const auto& feeder : m_Feeders)
    feeder->Stop();
  if (!orderly) m_Console.Complain("the window is gone");
  return Finish() && orderly ? 0 : 1;
}

bool Session::MakePlayers() {
  for (const std::string& source : m_Options.sources) {
    std::vector<StreamPlayer*> players;
    for (int i = 0; i < m_Options.copies; ++i) {
      m_Players.push_back(std::make_unique<StreamPlayer>(source, m_Options.mode));
      players.push_back(m_Players.back().get());
      if (players.back()->Exists()) continue;
      m_Console.Complain("the player library has no more players");
      return false;
    }
    m_Feeders.push_back(std::make_unique<Feeder>(source, m_Options, std::move(players), m_Console,
                                                 [this] { m_Host.Wake(); }));
  }
  return true;
}

void Session::PlaceAll() {
  const Area window = m_Host.DesktopArea();
  {
    const MutexLock lock(m_Mutex);
    m_Window = window;
  }
  const Grid grid = Grid::ForCount(static_cast<int>(m_Players.size()));
  for (size_t i = 0; i < m_Players.size(); ++i) {
    m_Players[i]->Place(m_Host.Window(), CellOf(grid, window, static_cast<int>(i)));
  }
  FillAroundPictures();
  m_bFillAgain = true;
}

// Wipes away pictures that were on their way while the window moved and went astray.
void Session::FillAroundPictures() {
  std::vector<Area> tiles;
  for (const auto& player : m_Players)
    tiles.push_back(player->Tile());
  m_Host.FillAround(m_Host.DesktopArea(), tiles);
  m_bFillAgain = false;
}

void Session::RedrawAll() {
  for (const auto& player : m_Players)
    player->Redraw();
}

// False when the window was taken away.
bool Session::Loop() {
  const bool limited = m_Options.seconds > 0;
  const Clock::time_point limit = m_Start + std::chrono::seconds(m_Options.seconds);
  while (true) {
    Clock::time_point next = m_LastReport + kReportInterval;
    if (limited) next = std::min(next, limit);
    if (m_Ended != Clock::time_point{}) next = std::min(next, Clock::now() + kDrainStep);
    // Rounded up, so that it does not wake just before the time.
    const HostEvents events = m_Host.Wait(std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now()));
    if (events.quit) return !events.lost;
    if (events.moved) PlaceAll();
    if (events.redraw) RedrawAll();
    const Clock::time_point now = Clock::now();
    if (now - m_LastReport >= kReportInterval) Report(now);
    if ((limited && now >= limit) || HavePlayedOut(now)) return true;
  }
}

// Whether every source has ended and every player has shown what it was given.
bool Session::HavePlayedOut(Clock::time_point now) {
  if (!std::ranges::all_of(m_Feeders, [](const auto& feeder) { return feeder->HasEnded(); })) return false;
  if (m_Ended == Clock::time_point{}) m_Ended = now;
  return std::ranges::all_of(m_Players, [&](const auto& player) {
    const PresentationStats::Totals totals = player->Stats().GetTotals();
    return totals.queued == 0 || now - std::max(totals.lastPresented, m_Ended) >= kQuiet;
  });
}

void Session::Report(Clock::time_point now) {
  Progress progress;
  progress.elapsedSeconds = Seconds(now - m_Start);
  progress.spanSeconds = Seconds(now - m_LastReport);
  progress.players = static_cast<int>(m_Players.size());
  for (const auto& player : m_Players) {
    const PresentationStats::Totals totals = player->Stats().GetTotals();
    progress.pushed += totals.pushed;
    progress.refused += totals.refused;
    progress.presented += totals.presented;
    progress.queued += totals.queued;
    std::ranges::copy(player->Stats().TakeLatencies(), std::back_inserter(progress.latenciesMs));
  }
  progress.presentedInSpan = progress.presented - m_nPresentedAtReport;
  m_nPresentedAtReport = progress.presented;
  m_LastReport = now;
  if (m_bFillAgain) FillAroundPictures();
  m_Console.Progress(ProgressLine(progress));
  m_Host.SetTitle("qxplay: " + ProgressTitle(progress));
}

// The last words. False when something went wrong.
bool Session::Finish() {
  const bool failed = std::ranges::any_of(m_Feeders, [](const auto& feeder) { return feeder->HasFailed(); });
  const uint64_t presented = PresentedByAll();
  char summary[96];
  snprintf(summary, sizeof(summary), "presented %llu pictures in %.1f s",
           static_cast<unsigned long long>(presented), Seconds(Clock::now() - m_Start));
  m_Console.Say(summary);
  if (presented == 0) {
    m_Console.Complain("nothing was presented");
    return false;
  }
  if (!m_strSheetFile.empty()) {
    std::string error;
    if (!m_Sheet.Write(m_strSheetFile, error)) {
      m_Console.Complain(m_strSheetFile + ": the contact sheet cannot be written: " + error);
      return false;
    }
    m_Console.Say("contact sheet: " + m_strSheetFile);
  }
  return !failed;
}

uint64_t Session::PresentedByAll() {
  uint64_t presented = 0;
  for (const auto& player : m_Players)
    presented += player->Stats().GetTotals().presented;
  return presented;
}

// On a play thread, while the screen is the player's: takes the whole window with all its pictures.
void Session::Capture(void* surface, const QXSP_RECT& tile, const Area& desktopTile) {
  const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - m_Start);
  const bool placedAnew =
      tile.right - tile.left != desktopTile.Width() || tile.bottom - tile.top != desktopTile.Height();
  if (placedAnew || !m_Sheet.IsDue(elapsed)) return;
  Area window;
  {
    const MutexLock lock(m_Mutex);
    window = m_Window;
  }
  if (window.Width() <= 0 || window.Height() <= 0) return;
  std::vector<uint32_t> pixels(static_cast<size_t>(window.Width()) * static_cast<size_t>(window.Height()));
  QXSP_SURFACE_DESC desc;
  if (!QXSP_LockSurface(surface, nullptr, &desc)) return;
  CopyTiles({.top = static_cast<const uint8_t*>(desc.lpSurface),
             .pitch = desc.lPitch,
             .width = static_cast<int>(desc.dwWidth),
             .height = static_cast<int>(desc.dwHeight)},
            window, tile.left - desktopTile.left, tile.top - desktopTile.top, pixels);
  QXSP_UnlockSurface(surface);
  m_Sheet.Add(elapsed, {.top = reinterpret_cast<const uint8_t*>(pixels.data()),
                        .pitch = window.Width() * 4,
                        .width = window.Width(),
                        .height = window.Height()});
}

// Copies what the screen has of the players' pictures into a picture of the window. The screen's memory
// beside them holds what was shown there before. right, down: from the desktop to the screen.
void Session::CopyTiles(const PixelView& screen, const Area& window, int right, int down,
                        std::vector<uint32_t>& target) {
  for (const auto& player : m_Players) {
    const Area tile = player->Tile();
    const int left = std::max({tile.left, window.left, -right}),
              top = std::max({tile.top, window.top, -down});
    const int columns = std::min({tile.right, window.right, screen.width - right}) - left;
    const int bottom = std::min({tile.bottom, window.bottom, screen.height - down});
    for (int y = top; y < bottom && columns > 0; ++y) {
      const uint8_t* source = screen.top + int64_t{y + down} * screen.pitch + int64_t{left + right} * 4;
      std::memcpy(&target[static_cast<size_t>(y - window.top) * static_cast<size_t>(window.Width()) +
                          static_cast<size_t>(left - window.left)],
                  source, static_cast<size_t>(columns) * 4);
    }
  }
}
