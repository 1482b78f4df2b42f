#include "tools/qxplay/Snapshots.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "include/qxsdkp.h"
#include "tools/qxplay/RgbImage.h"
#include "tools/qxplay/SnapshotName.h"

Snapshots::Snapshots(std::string directory, Console& console)
    : m_strDirectory(std::move(directory)), m_Console(console), m_Thread([this] { Run(); }) {}

Snapshots::~Snapshots() {
  const MutexLock lock(m_Mutex);
  m_bStop = true;
  m_Changed.notify_all();
}

void Snapshots::Take(uint32_t nPlayerID, const std::string& source) {
  Picture picture{
      .source = source, .name = SnapshotName(source, std::chrono::system_clock::now()), .pixels = {}};
  int32_t width = 0, height = 0;
  QXSP_GetBitmapSize(nPlayerID, &width, &height);
  const size_t pixels = static_cast<size_t>(std::max(width, 0)) * static_cast<size_t>(std::max(height, 0));
  const size_t bytes = pixels * sizeof(uint32_t);
  {
    const MutexLock lock(m_Mutex);
    if (bytes > kMostWaitingBytes - m_nWaitingBytes)
      return m_Console.Complain(source + ": no snapshot: those before are still being written");
  }
  picture.pixels.resize(pixels);
  picture.width = width;
  picture.height = height;
  if (pixels == 0 || QXSP_GetBitmap(nPlayerID, picture.pixels.data(), static_cast<uint32_t>(bytes)) == 0)
    return m_Console.Complain(source + ": no snapshot: there is no picture yet");
  const MutexLock lock(m_Mutex);
  m_nWaitingBytes += bytes;
  m_Waiting.push_back(std::move(picture));
  m_Changed.notify_all();
}

void Snapshots::Run() {
  while (true) {
    Picture picture;
    {
      const MutexLock lock(m_Mutex);
      while (m_Waiting.empty() && !m_bStop)
        m_Changed.wait(m_Mutex);
      if (m_Waiting.empty()) return;
      picture = std::move(m_Waiting.front());
      m_Waiting.pop_front();
    }
    Write(picture);
    const MutexLock lock(m_Mutex);
    m_nWaitingBytes -= picture.pixels.size() * sizeof(uint32_t);
  }
}

// Never over another file: pictures of one moment are numbered.
void Snapshots::Write(const Picture& picture) {
  std::error_code failure;
  const std::filesystem::path directory = m_strDirectory;
  if (!m_strDirectory.empty()) std::filesystem::create_directories(directory, failure);
  const PixelView view = ViewOfBitmap(picture.pixels, picture.width, picture.height);
  const RgbImage image = Shrink(view, view.width);
  constexpr int kMostOfOneMoment = 1000;
  for (int number = 1; number <= kMostOfOneMoment; ++number) {
    const std::string suffix = number == 1 ? "" : "-" + std::to_string(number);
    const std::string file = directory / (picture.name + suffix + ".png");
    std::string error;
    const WritePngResult result = WritePng(image, file, false, error);
    if (result == WritePngResult::kWritten) return m_Console.Say("snapshot: " + file);
    if (result == WritePngResult::kFailed)
      return m_Console.Complain(file + ": the snapshot cannot be written: " + error);
  }
  m_Console.Complain(picture.source + ": no snapshot: too many of this moment");
}
