#include "tools/qxplay/Session.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "tools/qxplay/Command.h"
#include "tools/qxplay/Feeder.h"
#include "tools/qxplay/FilePlayer.h"
#include "tools/qxplay/RecordingName.h"

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
    : m_Options(options),
      m_Host(host),
      m_Console(console),
      m_strSheetFile(std::move(sheetFile)),
      m_Camera(m_Tiles),
      m_Pictures(host, console, m_Tiles, m_Grid, options.snapshotDir, [this](size_t tile) { Redraw(tile); }) {
  Tile::PictureSink sink;
  if (!m_strSheetFile.empty()) {
    sink = [this](void* surface, const QXSP_RECT& tile, const Area& desktopTile) {
      m_Camera.Take(surface, tile, desktopTile);
    };
  }
  Tile::InstallCallbacks(std::move(sink));
}

Session::~Session() {
  m_Sources.clear();
  // All players stop before the first tile goes: a picture of one is taken with the places of all.
  for (const auto& tile : m_Tiles)
    QXSP_Stop(tile->PlayerID());
  m_Tiles.clear();
  QXSP_SetCallBack(nullptr, nullptr, nullptr, nullptr);
}

int Session::Run() {
  if (!MakeTiles()) return 1;
  PlaceAll();
  UpdateSound();
  for (const auto& source : m_Sources)
    source->Start();
  const bool orderly = Loop();
  for (const auto& source : m_Sources)
    source->Stop();
  if (!orderly) m_Console.Complain("the window is gone");
  return Finish() && orderly ? 0 : 1;
}

bool Session::MakeTiles() {
  const auto wake = [this] { m_Host.Wake(); };
  for (const std::string& name : m_Options.sources) {
    const bool live = m_Options.live || !IsRecordedFile(name);
    std::vector<Tile*> tiles;
    for (int i = 0; i < m_Options.copies; ++i) {
      m_Tiles.push_back(std::make_unique<Tile>(
          Tile::Setup{.name = name, .live = live, .mode = m_Options.mode, .texts = m_Options.osd}));
      tiles.push_back(m_Tiles.back().get());
      if (!tiles.back()->Exists()) {
        m_Console.Complain("the player library has no more players");
        return false;
      }
      if (live) continue;
      m_Sources.push_back(std::make_unique<FilePlayer>(name, m_Options.loop, *tiles.back(), m_Console, wake));
      m_SourceOfTile.push_back(m_Sources.back().get());
    }
    if (!live) continue;
    m_Sources.push_back(std::make_unique<Feeder>(name, m_Options, tiles, m_Console, wake));
    m_SourceOfTile.resize(m_Tiles.size(), m_Sources.back().get());
  }
  m_Grid = GridView(m_Tiles.size());
  return true;
}

void Session::PlaceAll() {
  const Area window = m_Host.DesktopArea();
  m_Camera.SetWindow(window);
  for (size_t i = 0; i < m_Tiles.size(); ++i)
    m_Tiles[i]->View().Place(m_Host.Window(), m_Grid.CellOf(i, window));
  FillAroundPictures();
  m_bFillAgain = true;
}

// Wipes away pictures that were on their way while the window moved and went astray.
void Session::FillAroundPictures() {
  std::vector<Area> pictures;
  for (const auto& tile : m_Tiles)
    pictures.push_back(tile->View().GetPlaces().picture);
  m_Host.FillAround(m_Host.DesktopArea(), pictures);
  m_bFillAgain = false;
}

void Session::Redraw(size_t tile) {
  const PixelView* const left = m_SourceOfTile[tile]->LeftBehind();
  if (!left) return m_Tiles[tile]->Redraw();
  const TileView::Places places = m_Tiles[tile]->View().GetPlaces();
  m_Host.Paint(m_Host.Window(), places.picture, left->Cut(places.part));
  if (places.sub) m_Host.Paint(places.sub, places.subPicture, left->Cut(places.visible));
}

void Session::RedrawAll() {
  for (size_t i = 0; i < m_Tiles.size(); ++i)
    Redraw(i);
}

// False when the window was taken away.
bool Session::Loop() {
  const Clock::time_point limit = m_Start + std::chrono::seconds(m_Options.seconds);
  while (true) {
    // Rounded up, so that it does not wake just before the time.
    Clock::time_point now = Clock::now();
    const HostEvents events = m_Host.Wait(std::chrono::ceil<std::chrono::milliseconds>(NextWake(now) - now));
    now = Clock::now();
    if (events.quit) return !events.lost;
    Take(events, now);
    m_NextUpdate.reset();
    for (const auto& source : m_Sources) {
      const auto next = source->Update(now);
      if (next && (!m_NextUpdate || *next < *m_NextUpdate)) m_NextUpdate = next;
    }
    for (const auto& tile : m_Tiles)
      tile->View().FollowSource();
    if (now - m_LastReport >= kReportInterval) {
      if (m_bFillAgain) FillAroundPictures();
      Measure(now);
      ShowProgress();
    } else if (HasChanged()) {
      ShowProgress();
    }
    if (m_bQuit || (m_Options.seconds > 0 && now >= limit) || HavePlayedOut(now)) return true;
  }
}

Session::Clock::time_point Session::NextWake(Clock::time_point now) {
  Clock::time_point next = m_LastReport + kReportInterval;
  if (m_Options.seconds > 0) next = std::min(next, m_Start + std::chrono::seconds(m_Options.seconds));
  if (m_Ended != Clock::time_point{}) next = std::min(next, now + kDrainStep);
  return m_NextUpdate ? std::min(next, *m_NextUpdate) : next;
}

// Whether every source has ended, every player has shown what it was given, and nobody can want to go back.
bool Session::HavePlayedOut(Clock::time_point now) {
  const bool ended = std::ranges::all_of(m_Sources, [](const auto& source) { return source->HasEnded(); });
  const bool stays = m_Host.IsWatched() &&
                     std::ranges::any_of(m_Sources, [](const auto& source) { return source->CanGoBack(); });
  if (!ended || stays) {
    m_Ended = {};
    return false;
  }
  if (m_Ended == Clock::time_point{}) m_Ended = now;
  return std::ranges::all_of(m_Tiles, [&](const auto& tile) {
    const PresentationStats::Totals totals = tile->Stats().GetTotals();
    return totals.queued == 0 || now - std::max(totals.lastPresented, m_Ended) >= kQuiet;
  });
}

void Session::Take(const HostEvents& events, Clock::time_point now) {
  if (events.moved) PlaceAll();
  if (events.redraw) RedrawAll();
  for (const PointerEvent& event : events.pointer) {
    if (const auto gesture = m_Gestures.Take(event)) Do(*gesture);
  }
  for (const int key : events.keys) {
    if (const auto command = CommandOf(key)) Do(*command, now);
  }
  m_bTouched |= !events.pointer.empty() || !events.keys.empty();
}

void Session::Do(const Command& command, Clock::time_point now) {
  switch (command.kind) {
    case Command::Kind::kQuit:
      m_bQuit = true;
      return;
    case Command::Kind::kRedraw:
      return RedrawAll();
    case Command::Kind::kFullScreen:
      m_Host.ToggleFullScreen();
      PlaceAll();
      return RedrawAll();
    case Command::Kind::kMute:
      m_bMuted = !m_bMuted;
      return UpdateSound();
    case Command::Kind::kNextTile:
      m_Grid.SelectNext();
      PlaceAll();
      RedrawAll();
      return UpdateSound();
    default:
      if (!m_Pictures.Do(command)) DoOnSources(command, now);
  }
}

// The selected tile's source, or all of them. What switches something over goes to those that stand as the
// one whose progress is shown, so that all come to the same.
void Session::DoOnSources(const Command& command, Clock::time_point now) {
  if (m_Grid.Selected()) return ShownSource().Do(command, now);
  const auto standing = [&](const Source& source) {
    const FileStatus status = source.Status().value_or(FileStatus{});
    if (command.kind == Command::Kind::kPause) return status.paused || status.ended;
    return command.kind == Command::Kind::kKeyFramesOnly && status.keyFramesOnly;
  };
  const auto leading =
      std::ranges::find_if(m_Sources, [](const auto& source) { return source->Status().has_value(); });
  if (leading == m_Sources.end()) return;
  const bool stands = standing(**leading);
  for (const auto& source : m_Sources) {
    if (standing(*source) == stands) source->Do(command, now);
  }
}

void Session::Do(const Gesture& gesture) {
  const auto tile = m_Grid.TileAt(gesture.at, m_Host.DesktopArea());
  switch (gesture.kind) {
    case Gesture::Kind::kClick:
      m_Grid.Click(tile);
      return UpdateSound();
    case Gesture::Kind::kDoubleClick:
      if (!m_Grid.ToggleLarge(tile)) return;
      PlaceAll();
      RedrawAll();
      return UpdateSound();
    default:
      return m_Pictures.Do(gesture);
  }
}

// One tile is heard.
void Session::UpdateSound() {
  for (size_t i = 0; i < m_Tiles.size(); ++i)
    m_Tiles[i]->SetSound(!m_bMuted && i == m_Grid.Shown());
}

void Session::Measure(Clock::time_point now) {
  Progress progress;
  progress.elapsedSeconds = Seconds(now - m_Start);
  progress.spanSeconds = Seconds(now - m_LastReport);
  progress.players = static_cast<int>(m_Tiles.size());
  for (const auto& tile : m_Tiles) {
    const PresentationStats::Totals totals = tile->Stats().GetTotals();
    progress.pushed += totals.pushed;
    progress.refused += totals.refused;
    progress.presented += totals.presented;
    progress.queued += totals.queued;
    std::ranges::copy(tile->Stats().TakeLatencies(), std::back_inserter(progress.latenciesMs));
  }
  progress.presentedInSpan = progress.presented - m_Progress.presented;
  m_Progress = progress;
  m_LastReport = now;
}

// Whether there is something to show before the next report: what the user did, when it is done, and pictures
// that do not come by themselves.
bool Session::HasChanged() {
  const auto status = ShownSource().Status();
  if (!status) return m_bTouched;
  if (status->seeking) return false;
  const bool stands = status->paused || status->ended;
  return m_bTouched || (stands && status != m_ShownStatus);
}

void Session::ShowProgress() {
  const auto status = ShownSource().Status();
  m_ShownStatus = status;
  m_bTouched = m_bTouched && status && status->seeking;
  std::string line = status ? FileLine(*status, m_Progress) : ProgressLine(m_Progress);
  std::string title = status ? line : ProgressTitle(m_Progress);
  std::string note;
  if (m_bMuted) note += "  muted";
  if (const auto selected = m_Grid.Selected())
    note += "  tile " + std::to_string(*selected + 1) + ": " + m_Tiles[*selected]->Name();
  m_Console.Progress(line + note);
  m_Host.SetTitle("qxplay: " + title + note);
}

// The last words. False when something went wrong.
bool Session::Finish() {
  const bool failed = std::ranges::any_of(m_Sources, [](const auto& source) { return source->HasFailed(); });
  uint64_t presented = 0;
  for (const auto& tile : m_Tiles)
    presented += tile->Stats().GetTotals().presented;
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
    if (!m_Camera.Sheet().Write(m_strSheetFile, error)) {
      m_Console.Complain(m_strSheetFile + ": the contact sheet cannot be written: " + error);
      return false;
    }
    m_Console.Say("contact sheet: " + m_strSheetFile);
  }
  return !failed;
}
