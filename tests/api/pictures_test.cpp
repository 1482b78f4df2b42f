// What an operator does with the picture, through the exports: processing by an optional library that fails
// in every way, zoom, crop, snapshots.
#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "qimagep.h"
#include "tests/api/HostFixture.h"
#include "tests/decode/Clips.h"
#include "tests/support/Recording.h"
#include "video/PixelConversion.h"

using testing::Contains;
using testing::HasSubstr;

namespace {

// The scripted processing library.
struct Library {
  std::string sMissing = "";  // this function; "all": there is no library
  std::function<int32_t()> init = [] { return 0; };
  bool bCreate = true;
  std::function<int32_t(QXI_Picture&)> process = [](QXI_Picture&) { return 0; };
  int loads = 0, frees = 0, inits = 0, releases = 0, created = 0, released = 0;
} g_Library;
QXI_Picture g_Output;

int32_t QXD_CALL Init(uint32_t version) {
  ++g_Library.inits;
  return version == 1 ? g_Library.init() : -1;
}
void QXD_CALL ReleaseLibrary() {
  ++g_Library.releases;
}
QXI_Handle QXD_CALL Create() {
  return g_Library.bCreate ? (++g_Library.created, &g_Library) : nullptr;
}
void QXD_CALL Release(QXI_Handle handle) {
  g_Library.released += handle == &g_Library ? 1 : 1000;
}
// A picture of 200s, unless the script says else.
int32_t QXD_CALL Do(QXI_Handle, const QXI_Picture** output, const QXI_Picture* input,
                    const QXI_Parameters* parameters) {
  EXPECT_EQ(parameters->nRadius, 8);
  EXPECT_EQ(parameters->fStrength, 1.3F);
  static const std::vector<uint8_t> processed(64 * 48, 200);
  g_Output = *input;
  g_Output.pPlane[0] = processed.data();
  *output = &g_Output;
  return g_Library.process(g_Output);
}

class LibrarySeam final : public TestSeam {
 public:
  LibrarySeam() : TestSeam(kByDerived) {
    QXSP_ReleaseSDK();  // the real library goes where it came from
    Install();
  }
  ~LibrarySeam() override { Remove(); }
  void* LoadLibrary(const char* name) override {
    EXPECT_STREQ(name, "QImageP.dll");
    return g_Library.sMissing == "all" ? nullptr : (++g_Library.loads, &g_Library);
  }
  void (*FindFunction(void*, const char* name))() override {
    if (g_Library.sMissing == name) return nullptr;
    const std::map<std::string, void (*)()> functions = {
        {"QXI_InitSDK", reinterpret_cast<void (*)()>(Init)},
        {"QXI_ReleaseSDK", ReleaseLibrary},
        {"QXI_Create", reinterpret_cast<void (*)()>(Create)},
        {"QXI_Release", reinterpret_cast<void (*)()>(Release)},
        {"QXI_Do", reinterpret_cast<void (*)()>(Do)}};
    return functions.at(name);
  }
  bool FreeLibrary(void*) override { return ++g_Library.frees > 0; }
};

using Ints = std::vector<int>;

class Pictures : public HostFixture {
 protected:
  // Luma of the next picture's first pixel, as shown.
  int ShownLuma() {
    const int before = HostFixture::Pictures();
    EXPECT_EQ(PushKey(player), QXSP_WRITE_QUEUED);
    EXPECT_TRUE(WaitForPictures(before + 1));
    return display.LastWritten()[0];
  }
  // Of the next picture: which part was copied, to where.
  std::pair<Ints, Ints> Copied() {
    ShownLuma();
    const DisplayRecord copy = display.Records(DisplayCall::Blt, DisplayPart::Back).back();
    const auto ints = [](const RECT& rect) { return Ints{rect.left, rect.top, rect.right, rect.bottom}; };
    return {ints(copy.source), ints(copy.target)};
  }

  uint32_t player = 0;
};

class Processing : public Pictures {
 protected:
  Processing() { g_Library = {}; }
  ~Processing() override {
    QXSP_ReleasePlayer(player);
    QXSP_ReleaseSDK();
    EXPECT_EQ(g_Library.loads, g_Library.frees);
  }
  LibrarySeam library;
};

constexpr int kDecoded = 0;
constexpr int kProcessed = 200;

std::atomic<int> g_nSnapshots{0};
void QXSP_CALLBACK CountSnapshot(uint32_t /*player*/, uint32_t event) {
  g_nSnapshots += event == QXSP_EVENT_SNAPSHOT ? 1 : 1000;
}

}  // namespace

TEST_F(Processing, NeedsItsWholeLibrary) {
  player = static_cast<uint32_t>(QXSP_CreatePlayer());
  const auto refuses = [this](const Library& script, bool isReleased) {
    g_Library = script;
    EXPECT_EQ(QXSP_InitSDK(), 1);
    EXPECT_EQ(QXSP_SetImageProc(player, 1, 0), 0);
    EXPECT_EQ(QXSP_SetImageProc(player, 0, 0), 1);
    EXPECT_EQ(g_Library.releases, isReleased ? 1 : 0);
    EXPECT_EQ(g_Library.loads, g_Library.frees);
    EXPECT_THAT(TakeLogLines(library), Contains(HasSubstr("ImageProc::InitSDK():Error!\n")));
  };
  refuses({.sMissing = "all"}, false);
  for (const char* name : {"QXI_InitSDK", "QXI_Create", "QXI_Release", "QXI_Do"})
    refuses({.sMissing = name}, true);
  refuses({.sMissing = "QXI_ReleaseSDK"}, false);
  refuses({.init = [] { return -1; }}, true);
  refuses({.init = [] { return scripted05::Crash(), 0; }}, true);
}

TEST_F(Processing, IsShownUntilItFails) {
  ASSERT_EQ(QXSP_InitSDK(), 1);
  player = OpenPlayer();
  g_Library.bCreate = false;
  EXPECT_EQ(QXSP_SetImageProc(player, 1, 0), 0);
  EXPECT_EQ(ShownLuma(), kDecoded);
  g_Library.bCreate = true;
  EXPECT_EQ(QXSP_SetImageProc(512, 1, 0), 0);
  EXPECT_EQ(QXSP_SetImageProc(player, -1, 7), 1);
  EXPECT_EQ(ShownLuma(), kProcessed);
  g_Library.process = [](QXI_Picture&) { return 1; };
  EXPECT_EQ(ShownLuma(), kDecoded);
  g_Library.process = [](QXI_Picture& output) { return output.pPlane[2] = nullptr, 0; };
  EXPECT_EQ(ShownLuma(), kDecoded);
  g_Library.process = Library().process;
  EXPECT_EQ(ShownLuma(), kProcessed);
  EXPECT_EQ(QXSP_SetImageProc(player, 0, 0), 1);
  EXPECT_EQ(ShownLuma(), kDecoded);
  EXPECT_EQ(QXSP_SetImageProc(player, 1, 0), 1);
  EXPECT_EQ(g_Library.created, 1);

  g_Library.process = [](QXI_Picture&) { return scripted05::Crash(), 0; };
  EXPECT_EQ(ShownLuma(), kDecoded);
  EXPECT_THAT(TakeLogLines(library), Contains(HasSubstr("QXI_Do crash,decodeid:0\n")));
  g_Library.process = Library().process;
  EXPECT_EQ(ShownLuma(), kDecoded) << "off";
  EXPECT_EQ(QXSP_SetImageProc(player, 1, 0), 1);
  EXPECT_EQ(ShownLuma(), kProcessed);
  EXPECT_EQ(QXSP_CloseStream(player), 1);
  EXPECT_EQ(g_Library.created, 2);
  EXPECT_EQ(g_Library.released, 1) << "what the crash left behind is not touched";

  EXPECT_EQ(QXSP_SetImageProc(player, 1, 0), 1);
  EXPECT_EQ(QXSP_InitSDK(), 1);  // loads it again
  EXPECT_EQ(g_Library.released, 2);
  EXPECT_EQ(g_Library.releases, 1);
  EXPECT_EQ(g_Library.inits, 2);
}

TEST_F(Pictures, TheLibraryThatLiesBesideSharpensEdges) {
#ifdef QX_PROCESSING_LIBRARY
  ASSERT_NE(dlopen(QX_PROCESSING_LIBRARY, RTLD_NOW), nullptr);  // a sanitizer's dlopen does not look there
  ASSERT_EQ(QXSP_InitSDK(), 1);
#endif
  scripted05::TheScript().decode = [](scripted05::Decoder& decoder, const QXD05_Input&) {
    scripted05::MakePicture(decoder, 64, 48, 64, 32, 100);
    for (size_t y = 0; y < 48; ++y)
      std::fill_n(&decoder.memory[y * 64 + 32], 32, uint8_t{140});
    return 1;
  };
  player = OpenPlayer();
  ASSERT_EQ(QXSP_SetImageProc(player, 1, 0), 1);
  EXPECT_EQ(ShownLuma(), 100);
  const std::vector<uint8_t> row = display.LastWritten();
  EXPECT_EQ(row[31], 94);  // 100 - 0.3 * 40 * 8 / 17
  EXPECT_EQ(row[32], 146);
}

TEST_F(Pictures, ZoomCropAndPlaceShapeWhatIsCopied) {
  const Ints whole = {0, 0, 64, 48}, window = {100, 100, 164, 148};
  const uint32_t players[] = {OpenPlayer(), OpenPlayer()};
  EXPECT_EQ(Copied(), std::pair(whole, window));
  EXPECT_EQ(QXSP_ZoomIn(player, 1, 32, 24), 1);
  EXPECT_EQ(Copied().first, (Ints{16, 12, 48, 36}));
  player = players[1];
  EXPECT_EQ(QXSP_ZoomIn(player, 1, 32, 24), 1);
  EXPECT_EQ(Copied().first, (Ints{8, 6, 29, 22})) << "the level is everyone's";
  EXPECT_EQ(QXSP_ZoomIn(player, 0, 0, 0), 1);
  EXPECT_EQ(Copied().first, whole);
  player = players[0];
  EXPECT_EQ(QXSP_ZoomIn(player, 1, INT32_MAX, INT32_MIN), 1);
  EXPECT_EQ(Copied().first, (Ints{48, 12, 64, 36}));

  const QXSP_RECT part = {1, 2, 30, 40}, place = {5, 6, 70, 80};
  EXPECT_EQ(QXSP_ZoomView(player, &part), 1);
  EXPECT_EQ(QXSP_ZoomViewEx(player, 2, nullptr), 1);
  QXSP_SetVideoCrop(player, 16);
  QXSP_SetImageRect(player, &place);
  EXPECT_EQ(Copied(), std::pair(Ints({1, 2, 14, 32}), Ints({5, 6, 70, 80})));
  EXPECT_EQ(QXSP_ZoomView(player, nullptr), 1);
  QXSP_SetImageRect(player, nullptr);
  EXPECT_EQ(Copied(), std::pair(Ints({0, 0, 48, 40}), window));
}

// The older codec's pictures are its library's memory. FFmpeg's own program decoded the reference.
TEST_F(Pictures, SnapshotsAreTheLastDecodedPictureBottomRowFirst) {
  constexpr int kWidth = 176, kHeight = 144;
  SetNotify(CountSnapshot);
  QXSP_FILE_HEADER header = Header(kWidth, kHeight);
  header.wVideoCodecID = QXSP_VIDEO_QENC04;
  player = OpenPlayer(header);
  std::vector<uint8_t> pixels(kWidth * kHeight * 4), expected(pixels.size());
  const auto size = static_cast<uint32_t>(pixels.size());
  EXPECT_EQ(QXSP_GetBitmap(player, pixels.data(), size), 0) << "there is no picture yet";
  const Bytes unit = ReadClip("plain.m4v.1"), reference = ReadClip("plain.m4v.raw");
  const std::string frame = std::string(4, 0) + Recording::Word(static_cast<uint32_t>(unit.size()) << 4 | 1) +
                            std::string(unit.begin(), unit.end());
  EXPECT_EQ(QXSP_WriteToStreamOneFrame(player, frame.data(), static_cast<uint32_t>(frame.size())), 0);
  ASSERT_TRUE(WaitForPictures(1));

  EXPECT_EQ(QXSP_GetBitmap(player, pixels.data(), size - 1), 0);
  EXPECT_EQ(QXSP_GetBitmap(player, nullptr, size), 0);
  EXPECT_EQ(QXSP_GetBitmap(511, pixels.data(), size), 0);
  EXPECT_EQ(pixels, expected) << "nothing was written";
  EXPECT_EQ(QXSP_GetBitmap(player, pixels.data(), size), 1);
  const uint8_t* const luma = reference.data();
  const uint8_t* const cb = luma + kWidth * kHeight;
  PlanarToRGB32(expected.data(), kWidth * 4, luma, cb, cb + kWidth * kHeight / 4, kWidth, kWidth / 2, kWidth,
                kHeight, true);
  EXPECT_TRUE(pixels == expected);

  EXPECT_EQ(g_nSnapshots, 0) << "no window is registered";
  QXSP_RegisterNotify(&pixels, 1234);
  EXPECT_EQ(QXSP_GetBitmap(player, pixels.data(), size - 1), 0);
  EXPECT_EQ(QXSP_GetBitmap(player, pixels.data(), size), 1);
  QXSP_RegisterNotify(nullptr, 0);
  EXPECT_EQ(g_nSnapshots.exchange(0), 1);
  EXPECT_EQ(display.Records(DisplayCall::Post).size(), 1u);
}

TEST_F(Pictures, SnapshotsWhilePlayingHoldOnePictureEach) {
  scripted05::TheScript().decode = [shade = uint8_t{0}](scripted05::Decoder& decoder,
                                                        const QXD05_Input&) mutable {
    return scripted05::MakePicture(decoder, 320, 240, 320, 160, shade += 16), 1;
  };
  player = OpenPlayer();
  ShownLuma();
  std::atomic<int> running{3};
  const auto take = [&] {
    std::vector<uint32_t> pixels(320 * 240);
    std::set<uint32_t> shades;
    while (shades.size() < 5) {
      ASSERT_EQ(QXSP_GetBitmap(player, pixels.data(), 320 * 240 * 4), 1);
      ASSERT_EQ(std::count(pixels.begin(), pixels.end(), pixels[0]), 320 * 240);
      shades.insert(pixels[0]);
    }
    --running;
  };
  std::jthread threads[] = {std::jthread(take), std::jthread(take), std::jthread(take)};
  while (running > 0 && !HasFailure())
    PushKey(player);
}
