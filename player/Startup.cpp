#include "player/Startup.h"

#include "audio/AudioViewer.h"
#include "decode/Decoder.h"
#include "player/ConfigFile.h"
#include "src/kitc/Directory.h"
#include "src/kitc/Log.h"
#include "video/ImageProc.h"
#include "video/Screens.h"

namespace {

constexpr char kSource[] = "Player.cpp";

struct Settings {
  bool bViewLock = true;
  int32_t nFileLogLevel = kLogNone;
  int32_t nStdOutLogLevel = kLogDebug;
};

Settings ReadSettings(const String& directory) {
  Settings settings;
  ConfigFile file;
  if (!file.Load((directory + "\\QXSDKP.ini").c_str())) return settings;
  settings.bViewLock = file.GetInteger("ViewLock", settings.bViewLock ? 1 : 0) != 0;
  settings.nFileLogLevel = file.GetInteger("FileLogLevel", settings.nFileLogLevel);
  settings.nStdOutLogLevel = file.GetInteger("StdOutLogLevel", settings.nStdOutLogLevel);
  return settings;
}

}  // namespace

namespace startup {

bool InitSDK(std::span<Player> players) {
  const String directory = kitc_executable_directory();
  const Settings settings = ReadSettings(directory);
  if (!Decoder::InitSDK()) return false;
  if (!InitScreens(settings.bViewLock)) return false;
  if (!AudioViewer::InitSDK()) kitc_log(kLogError, kSource, __LINE__, "AudioViewer::InitSDK():Error!\n");

  // What the library made before it is loaded again goes back to it.
  for (Player& player : players)
    player.Video().ReleaseImageProc();
  if (!ImageProc::InitSDK()) kitc_log(kLogError, kSource, __LINE__, "ImageProc::InitSDK():Error!\n");

  uint32_t nPlayerID = 0;
  for (Player& player : players)
    player.SetPlayerID(nPlayerID++);
  kitc_log_config(settings.nFileLogLevel, (directory + "\\qxsdkplog").c_str(), settings.nStdOutLogLevel);
  for (Player& player : players)
    player.LogConfigured();
  return true;
}

void ReleaseSDK() {
  ImageProc::ReleaseSDK();
  ReleaseScreens();
  AudioViewer::ReleaseSDK();
  Decoder::ReleaseSDK();
}

}  // namespace startup
