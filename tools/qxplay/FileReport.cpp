#include "tools/qxplay/FileReport.h"

#include <algorithm>
#include <cstdio>

#include "tools/qxplay/MediaFile.h"
#include "tools/qxplay/ThumbnailSheet.h"

namespace {

// "250 frames, 1280x720, 25 fps"
std::string Facts(const MediaFile& file) {
  char rate[32] = "frame rate not known";
  if (file.FramesPerSecond() > 0) snprintf(rate, sizeof(rate), "%.4g fps", file.FramesPerSecond());
  return std::to_string(file.Frames()) + " frames, " + std::to_string(file.Width()) + "x" +
         std::to_string(file.Height()) + ", " + rate;
}

std::string KeyFrames(const MediaFile& file) {
  if (!file.TellsKeyFrames()) return "key frames: not told by this format";
  const std::vector<uint32_t> frames = file.KeyFrames();
  std::string text = std::to_string(frames.size()) + " key frames";
  const char* separator = ": ";
  for (const uint32_t frame : frames) {
    text += separator + std::to_string(frame);
    separator = " ";
  }
  return text;
}

// Of many, some at equal distances, the first one included.
std::vector<uint32_t> Spread(const std::vector<uint32_t>& frames) {
  const size_t count = std::min(frames.size(), kMostThumbnails);
  std::vector<uint32_t> chosen;
  for (size_t i = 0; i < count; ++i)
    chosen.push_back(frames[frames.size() * i / count]);
  return chosen;
}

}  // namespace

bool ReportFiles(const std::vector<std::string>& files, Console& console) {
  bool all = true;
  for (const std::string& name : files) {
    std::string error;
    const auto file = MediaFile::Open(name, error);
    if (file) {
      console.Say(name + ": " + Facts(*file) + "\n  " + KeyFrames(*file));
    } else {
      console.Complain(name + ": " + error);
      all = false;
    }
  }
  return all;
}

bool WriteThumbnails(const std::string& name, const std::string& sheetFile, Console& console) {
  const auto complain = [&](const std::string& text) {
    console.Complain(text);
    return false;
  };
  std::string error;
  const auto file = MediaFile::Open(name, error);
  if (!file) return complain(name + ": " + error);
  if (!file->TellsKeyFrames()) return complain(name + ": only MP4 files give pictures without being played");
  const double msPerFrame = file->FramesPerSecond() > 0 ? 1000 / file->FramesPerSecond() : 0;
  const std::vector<uint32_t> frames = Spread(file->KeyFrames());
  std::vector<Thumbnail> thumbnails;
  for (const uint32_t frame : frames) {
    const PixelView picture = file->Decode(frame);
    if (!picture.top) continue;
    thumbnails.push_back(
        {.elapsed = std::chrono::milliseconds(static_cast<int64_t>((frame - 1) * msPerFrame)),
         .image = Shrink(picture, Thumbnail::kWidth)});
  }
  if (thumbnails.empty()) return complain(name + ": none of its key frames can be decoded");
  if (WritePng(DrawSheet(thumbnails), sheetFile, true, error) != WritePngResult::kWritten)
    return complain(sheetFile + ": cannot be written: " + error);
  if (thumbnails.size() < frames.size()) {
    console.Complain(name + ": " + std::to_string(frames.size() - thumbnails.size()) +
                     " key frames cannot be decoded and are left out");
  }
  console.Say("thumbnails: " + sheetFile);
  return thumbnails.size() == frames.size();
}
