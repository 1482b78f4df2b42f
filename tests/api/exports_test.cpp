// The file that hosts load: what it shows, what it needs, and that it comes and goes cleanly.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "include/qxsdkp.h"
#include "tests/api/ElfFile.h"

namespace {

using testing::ElementsAreArray;

template <typename Result, typename... Arguments>
constexpr int CountArguments(Result(QXSP_CALL*)(Arguments...)) {
  return static_cast<int>(sizeof...(Arguments));
}

struct Export {
  std::string name;
  int arguments;
};

// Only the declared types are used, so that this program does not need the library to start.
#define EXPORT(name)                                              \
  Export {                                                        \
#name, CountArguments(static_cast <decltype(&name)>(nullptr)) \
  }

// In alphabetical order.
const std::vector<Export> kExports = {
    EXPORT(QXSP_CloseStream),
    EXPORT(QXSP_ConfigLog),
    EXPORT(QXSP_CreatePlayer),
    EXPORT(QXSP_EnableDebugOSD),
    EXPORT(QXSP_EnablePreDecode),
    EXPORT(QXSP_GetBitmap),
    EXPORT(QXSP_GetBitmapSize),
    EXPORT(QXSP_GetCurFrameNum),
    EXPORT(QXSP_GetHeaderData),
    EXPORT(QXSP_GetKeyFramePos),
    EXPORT(QXSP_GetScreenInfo),
    EXPORT(QXSP_GetTotalFrames),
    EXPORT(QXSP_GetUserData),
    EXPORT(QXSP_GotoKeyFrame),
    EXPORT(QXSP_HasImage),
    EXPORT(QXSP_InitSDK),
    EXPORT(QXSP_MediaFileClose),
    EXPORT(QXSP_MediaFileGetOneFrame),
    EXPORT(QXSP_MediaFileOpen),
    EXPORT(QXSP_OpenFile),
    EXPORT(QXSP_OpenStream),
    EXPORT(QXSP_Pause),
    EXPORT(QXSP_Play),
    EXPORT(QXSP_RefreshWindow),
    EXPORT(QXSP_RegisterNotify),
    EXPORT(QXSP_ReleasePlayer),
    EXPORT(QXSP_ReleaseSDK),
    EXPORT(QXSP_SetAudioPreview),
    EXPORT(QXSP_SetCallBack),
    EXPORT(QXSP_SetDefaultFrameControlMode),
    EXPORT(QXSP_SetFrameControlMode),
    EXPORT(QXSP_SetImageProc),
    EXPORT(QXSP_SetImageRect),
    EXPORT(QXSP_SetOSD),
    EXPORT(QXSP_SetPlaySpeed),
    EXPORT(QXSP_SetPlayerName),
    EXPORT(QXSP_SetUserData),
    EXPORT(QXSP_SetVideoCrop),
    EXPORT(QXSP_SetVideoPreview),
    EXPORT(QXSP_SetVideoSubPreview),
    EXPORT(QXSP_StepForward),
    EXPORT(QXSP_Stop),
    EXPORT(QXSP_WriteToStreamOneFrame),
    EXPORT(QXSP_WriteToStreamOneFrame2),
    EXPORT(QXSP_ZoomIn),
    EXPORT(QXSP_ZoomView),
    EXPORT(QXSP_ZoomViewEx),
};

std::vector<std::string> Names() {
  std::vector<std::string> names;
  for (const Export& one : kExports)
    names.push_back(one.name);
  return names;
}

std::vector<std::string> SourceLines(const std::string& path) {
  std::ifstream file(QX_SOURCE_DIR "/" + path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);)
    lines.push_back(line);
  EXPECT_FALSE(lines.empty()) << path;
  return lines;
}

std::vector<std::string> LinesThatBegin(const std::string& path, const std::string& begin) {
  std::vector<std::string> lines = SourceLines(path);
  std::erase_if(lines, [&begin](const std::string& line) { return !line.starts_with(begin); });
  return lines;
}

TEST(SharedLibrary, ShowsItsExportsAndNothingElse) {
  ASSERT_EQ(kExports.size(), 47u);
  const ElfFile library = ReadElfFile(QX_LIBRARY);
  ASSERT_EQ(library.error, "");
  EXPECT_THAT(library.exported, ElementsAreArray(Names()));
}

TEST(SharedLibrary, NeedsOnlyTheSystemAndTheCodecLibraries) {
  const ElfFile library = ReadElfFile(QX_LIBRARY);
  ASSERT_EQ(library.error, "");
  std::set<std::string> allowed = {
      "libc.so.6",       "libm.so.6",         "ld-linux-x86-64.so.2", "ld-linux.so.2", "libxcb.so.1",
      "libxcb-shm.so.0", "libxcb-randr.so.0", "libasound.so.2",       "libyuv.so.0",   "libqdec04.so",
      "libqdec05.so",    "libqadec.so",       "libqmp4pkg.so",
  };
#ifdef QX_SANITIZED
  allowed.insert({"libasan.so.8", "libubsan.so.1", "libtsan.so.2"});
#endif
  for (const std::string& name : library.needed)
    EXPECT_TRUE(allowed.contains(name)) << name;
}

TEST(SharedLibrary, LoadsAndUnloadsTwice) {
#ifdef QX_SANITIZED
  // Libraries below libavcodec and libavformat lose memory when they are unloaded; kept loaded, only our own
  // leaks are found.
  for (const char* name : {QX_CODEC_LIBRARIES})
    ASSERT_NE(dlopen(name, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE), nullptr) << dlerror();
#endif
  for (int round = 1; round <= 2; round++) {
    SCOPED_TRACE(round);
    void* const library = dlopen(QX_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    for (const Export& one : kExports)
      EXPECT_NE(dlsym(library, one.name.c_str()), nullptr) << one.name;
    // Static objects are alive: a player comes as new, though an earlier load left one behind.
    const auto create = reinterpret_cast<decltype(&QXSP_CreatePlayer)>(dlsym(library, "QXSP_CreatePlayer"));
    const auto setUserData =
        reinterpret_cast<decltype(&QXSP_SetUserData)>(dlsym(library, "QXSP_SetUserData"));
    const auto getUserData =
        reinterpret_cast<decltype(&QXSP_GetUserData)>(dlsym(library, "QXSP_GetUserData"));
    ASSERT_TRUE(create && setUserData && getUserData);
    EXPECT_EQ(create(), 0);
    EXPECT_EQ(getUserData(0), 0u);
    setUserData(0, 1234);
    EXPECT_EQ(getUserData(0), 1234u);
    ASSERT_EQ(dlclose(library), 0);
    // Nothing in it may keep it in memory.
    EXPECT_EQ(dlopen(QX_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr);
  }
}

TEST(ExportLists, AgreeWithTheHeader) {
  std::vector<std::string> mapped;
  std::vector<std::string> decorated;
  for (const Export& one : kExports) {
    const std::string name = one.name + "@" + std::to_string(4 * one.arguments);
    mapped.push_back("    " + one.name + ";");
    decorated.push_back("  _" + name + " = " + name);
  }
  EXPECT_THAT(LinesThatBegin("api/qxsdkp.map", "    Q"), ElementsAreArray(mapped));
  EXPECT_THAT(LinesThatBegin("api/qxsdkp.def", "  "), ElementsAreArray(decorated));
  // Each name was taken from the header by the compiler; that there are no others, only its text tells.
  EXPECT_EQ(LinesThatBegin("include/qxsdkp.h", "QXSP_API ").size(), kExports.size());
}

TEST(ExportLists, EveryExportIsDocumented) {
  std::string before;
  for (const std::string& line : SourceLines("include/qxsdkp.h")) {
    const bool declaration = line.starts_with("QXSP_API ");
    EXPECT_TRUE(!declaration || before.starts_with("//")) << line;
    before = line;
  }
}

}  // namespace
