// Players through the exports: identifiers, open and close, live input, and what goes wrong on the way.
#include <algorithm>
#include <array>
#include <functional>
#include <string>

#include "tests/api/HostFixture.h"

using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

class Players : public HostFixture {};

// A host's drawing that crashes with the back surface locked, every second time.
void QXSP_CALLBACK LockAndCrash(uint32_t /*player*/, void* /*window*/, void* /*display*/, void* surface,
                                QXSP_RECT* /*target*/, QXSP_RECT* /*image*/) {
  static int calls = 0;
  QXSP_SURFACE_DESC desc;
  EXPECT_EQ(QXSP_LockSurface(surface, nullptr, &desc), 1);
  if (++calls % 2 == 1) scripted05::Crash();
  QXSP_UnlockSurface(surface);
}

constexpr uint32_t kNotPlayers[] = {0, 511, 512, 0x7FFFFFFF, 0xFFFFFFFF};

}  // namespace

TEST_F(Players, SlotsAreHandedOutFromTheLowest) {
  for (int32_t slot = 0; slot < QXSP_MAX_PLAYERS; ++slot)
    ASSERT_EQ(QXSP_CreatePlayer(), slot);
  EXPECT_EQ(QXSP_CreatePlayer(), QXSP_NO_PLAYER);
  EXPECT_EQ(QXSP_GetUserData(7), 0u);
  QXSP_SetUserData(7, 0xFFFFFFFF);
  EXPECT_EQ(QXSP_GetUserData(7), 0xFFFFFFFFu);
  EXPECT_EQ(QXSP_ReleasePlayer(7), 1);
  EXPECT_EQ(QXSP_ReleasePlayer(7), 0);
  EXPECT_EQ(QXSP_CreatePlayer(), 7);
  EXPECT_EQ(QXSP_GetUserData(7), 0u);
  EXPECT_EQ(QXSP_EnablePreDecode(7, 1), 0);
  EXPECT_EQ(QXSP_CloseStream(7), 1);
  QXSP_ReleaseSDK();
  EXPECT_EQ(QXSP_CreatePlayer(), QXSP_NO_PLAYER);  // the slots stay the host's
  EXPECT_EQ(QXSP_ReleasePlayer(511), 1);
}

TEST_F(Players, EveryExportAnswersItsFailureValueForABadIdentifier) {
  const QXSP_FILE_HEADER header = Header();
  const QXSP_RECT rect = {0, 0, 10, 10};
  std::array<uint8_t, 96> bytes = {};
  for (const uint32_t id : kNotPlayers) {
    SCOPED_TRACE(id);
    EXPECT_EQ(QXSP_ReleasePlayer(id), 0);
    QXSP_SetPlayerName(id, "nobody");
    QXSP_SetUserData(id, 5);
    EXPECT_EQ(QXSP_GetUserData(id), 0u);
    EXPECT_EQ(OpenStream(id, header), 0);
    EXPECT_EQ(QXSP_CloseStream(id), 0);
    EXPECT_EQ(QXSP_GetHeaderData(id, bytes.data(), 96), 0);
    EXPECT_EQ(PushKey(id), 0);
    EXPECT_EQ(QXSP_HasImage(id), 0);
    EXPECT_EQ(QXSP_SetFrameControlMode(id, 0x10), 0);
    EXPECT_EQ(QXSP_EnablePreDecode(id, 1), 0);
    EXPECT_EQ(QXSP_Play(id), 0);
    QXSP_Pause(id);
    EXPECT_EQ(QXSP_Stop(id), 0);
    EXPECT_EQ(QXSP_SetPlaySpeed(id, 1, 0), 0);
    QXSP_StepForward(id);
    EXPECT_EQ(QXSP_SetVideoPreview(id, bytes.data(), &rect, 1), 0);
    EXPECT_EQ(QXSP_SetVideoSubPreview(id, bytes.data(), &rect, 1), 0);
    EXPECT_EQ(QXSP_RefreshWindow(id), 0);
    EXPECT_EQ(QXSP_SetAudioPreview(id, nullptr, 1), 0);
    EXPECT_EQ(QXSP_SetOSD(id, nullptr, 0), 0);
    EXPECT_EQ(QXSP_EnableDebugOSD(id, 1), 0);
  }
  EXPECT_EQ(scripted05::TheCalls().opens, 0);
}

TEST_F(Players, AStreamPlaysFromItsFirstKeyFrame) {
  const uint32_t player = OpenPlayer();
  const uint8_t sound[] = {0xD5, 0xD5, 0xD5, 0xD5};
  seam.TakeText();
  EXPECT_EQ(QXSP_WriteToStreamOneFrame(player, sound, sizeof sound), QXSP_WRITE_WAIT_FIRST_KEYFRAME);
  EXPECT_THAT(TakeLogLines(seam), Not(Contains(HasSubstr("WaitKeyFrame"))));
  EXPECT_EQ(PushDelta(player), QXSP_WRITE_WAIT_FIRST_KEYFRAME);
  EXPECT_THAT(
      TakeLogLines(seam),
      Contains(
          AllOf(StartsWith("error: Player.cpp("),
                HasSubstr("decodeid:0 WaitKeyFrame dwSize:6 bKeyFrame:0,can not push frame pool,name:\n"))));
  EXPECT_EQ(QXSP_WriteToStreamOneFrame(player, nullptr, 0), QXSP_WRITE_WAIT_FIRST_KEYFRAME);
  EXPECT_EQ(PushKey(player), QXSP_WRITE_QUEUED);
  EXPECT_EQ(PushDelta(player), QXSP_WRITE_QUEUED);
  EXPECT_EQ(QXSP_WriteToStreamOneFrame(player, nullptr, 9),
            QXSP_WRITE_QUEUED);  // shows the last picture again
  EXPECT_TRUE(WaitForPictures(3));
  EXPECT_EQ(QXSP_HasImage(player), 1);
  EXPECT_EQ(scripted05::TheCalls().decodes, 2);

  EXPECT_EQ(QXSP_CloseStream(player), 1);
  EXPECT_EQ(PushKey(player), QXSP_WRITE_WAIT_KEYFRAME);
  EXPECT_EQ(QXSP_CloseStream(player), 1);
  EXPECT_EQ(OpenStream(player, Header()), 1);
  EXPECT_EQ(QXSP_Stop(player), 1);
  EXPECT_EQ(QXSP_Stop(player), 1);
  for (int i = 0; i < 10; ++i)  // nothing piles up
    EXPECT_NE(PushKey(player), QXSP_WRITE_QUEUED);
}

TEST_F(Players, OpeningAgainReplacesTheStreamAndItsHeader) {
  const uint32_t player = OpenPlayer();
  QXSP_FILE_HEADER header = Header();
  std::memcpy(&header, "prefix", 6);
  ASSERT_EQ(OpenStream(player, header), 1);
  EXPECT_EQ(scripted05::TheCalls().closes, 1);
  EXPECT_EQ(PushDelta(player), QXSP_WRITE_WAIT_FIRST_KEYFRAME);
  std::array<uint8_t, 128> bytes;
  const auto read = [&](uint32_t size) {
    bytes.fill(0xEE);
    if (QXSP_GetHeaderData(player, bytes.data(), size) == 0) return -1;
    return static_cast<int>(std::find(bytes.begin(), bytes.end(), 0xEE) - bytes.begin());
  };
  EXPECT_EQ(read(31), -1);
  EXPECT_EQ(read(64), 32);
  EXPECT_EQ(std::memcmp(bytes.data(), "prefix", 6), 0);
  EXPECT_EQ(read(128), 96);
  EXPECT_EQ(QXSP_GetHeaderData(player, nullptr, 96), 0);

  QXSP_SHORT_HEADER shortHeader = {};
  std::memcpy(&shortHeader, "QXS\x05", 4);
  shortHeader.dwWidth = shortHeader.dwHeight = 64;
  ASSERT_EQ(QXSP_OpenStream(player, &shortHeader, sizeof shortHeader), 1);
  EXPECT_EQ(read(128), 32);
  EXPECT_EQ(std::memcmp(bytes.data(), "QXS\x05", 4), 0);
}

TEST_F(Players, AFailedOpenLeavesNothingBehind) {
  const auto player = static_cast<uint32_t>(QXSP_CreatePlayer());
  const scripted05::Calls& calls = scripted05::TheCalls();
  const auto opens = [player](auto change) {
    QXSP_FILE_HEADER header = Header();
    change(header);
    const int32_t result = OpenStream(player, header);
    EXPECT_EQ(PushKey(player) == QXSP_WRITE_QUEUED, result == 1);
    QXSP_CloseStream(player);
    return result;
  };
  EXPECT_EQ(opens([](QXSP_FILE_HEADER& header) { header.wFrameRateDen = 0; }), 0);
  EXPECT_EQ(opens([](QXSP_FILE_HEADER& header) { header.wVideoWidth = 10001; }), 0);
  EXPECT_EQ(opens([](QXSP_FILE_HEADER& header) { header.wVideoCodecID = 7; }), 0);
  const QXSP_FILE_HEADER good = Header();
  EXPECT_EQ(QXSP_OpenStream(player, nullptr, 96), 0);
  EXPECT_EQ(QXSP_OpenStream(player, &good, 31), 0);
  EXPECT_EQ(QXSP_OpenStream(player, &good, 95), 0);  // read as a short header, which it is not
  EXPECT_EQ(calls.opens, calls.closes);

  const auto same = [](QXSP_FILE_HEADER&) {};
  scripted05::TheScript().open = [] { return false; };
  EXPECT_EQ(opens(same), 0);
  scripted05::TheScript().open = nullptr;
  scripted05::TheCalls().opens = 0;
  seam.FailThreads(true);
  EXPECT_EQ(opens(same), 0);
  seam.FailThreads(false);
  EXPECT_EQ(opens([](QXSP_FILE_HEADER& header) { header.wVideoWidth = 10000; }), 1);
  for (const uint32_t format : {1u, 2u, 3u})
    display.RefuseFormat(format);
  EXPECT_EQ(opens(same), 0);
  EXPECT_EQ(calls.opens, calls.closes);
}

TEST_F(Players, OpeningAndClosingIsLogged) {
  const auto player = static_cast<uint32_t>(QXSP_CreatePlayer());
  QXSP_SetPlayerName(player, "gate");
  seam.TakeText();
  ASSERT_EQ(OpenStream(player, Header(640, 480)), 1);
  const std::vector<std::string> opened = TakeLogLines(seam);
  EXPECT_THAT(opened, Contains(AllOf(StartsWith("debug: Player.cpp("),
                                     HasSubstr("Player::CreateStream codecid:0 uThreadId:0x"),
                                     HasSubstr(" name:gate\n"))));
  EXPECT_THAT(
      opened,
      Contains(AllOf(StartsWith("info: Player.cpp("),
                     HasSubstr("nPlayerID:0, FileHeader: wDeviceType=0, wVideoCodecID=1, wVideoDataType=0, "
                               "wVideoFormat=0, wVideoWidth=640, wVideoHeight=480, wFrameRateNum=25, "
                               "wFrameRateDen=1, wAudioCodecID=0, wAudioSampleRate=0, wAudioChannels=0, "
                               "wAudioBits=0, dwRecFileTotalFrames=0, wRecFileType=0"))));
  QXSP_CloseStream(player);
  EXPECT_THAT(TakeLogLines(seam), Contains(AllOf(StartsWith("debug: Player.cpp("),
                                                 HasSubstr("Player::ReleaseStream codecid:0 uThreadId:0x"))));
  QXSP_SetPlayerName(player, nullptr);
  QXSP_CloseStream(player);
  EXPECT_THAT(TakeLogLines(seam), Contains(HasSubstr("uThreadId:0x0 name:\n")));
}

TEST_F(Players, ADecoderThatCrashesIsResetAndPlayingGoesOn) {
  const uint32_t player = OpenPlayer();
  bool crash = true;
  scripted05::TheScript().decode = [&crash](scripted05::Decoder& decoder, const QXD05_Input&) {
    if (std::exchange(crash, false)) scripted05::Crash();
    scripted05::MakePicture(decoder, 64, 48, 64, 32, 100);
    return 1;
  };
  EXPECT_EQ(PushKey(player), QXSP_WRITE_QUEUED);
  EXPECT_EQ(PushKey(player), QXSP_WRITE_QUEUED);
  EXPECT_TRUE(WaitForPictures(1));
  EXPECT_EQ(scripted05::TheCalls().opens, 2);
  EXPECT_THAT(TakeLogLines(seam), Contains(HasSubstr("QXD05_DecodeOneFrame crash,decodeid:0\n")));
}

TEST_F(Players, LostSurfacesAndCrashesInTheDisplayCostOnePicture) {
  const uint32_t player = OpenPlayer();
  const std::function<void()> kFaults[] = {
      [] {},
      [this] { display.Fail(DisplayCall::Blt, DisplayPart::Back, DDERR_GENERIC); },
      [this] { display.Lose(DisplayPart::OffScreen); },
      [this] { display.Lose(DisplayPart::Primary); },
      [this] { display.Crash(DisplayCall::Lock, DisplayPart::OffScreen); },
      [this] { display.Crash(DisplayCall::Blt, DisplayPart::Primary); },
      [] { SetBeforeCopy(LockAndCrash); },
      [] { SetBeforeCopy(nullptr); },
  };
  for (const auto& fault : kFaults) {
    fault();
    const int before = Pictures();
    EXPECT_EQ(PushKey(player), QXSP_WRITE_QUEUED);
    EXPECT_EQ(PushKey(player), QXSP_WRITE_QUEUED);
    EXPECT_TRUE(WaitForPictures(before + 1));
  }
  EXPECT_EQ(QXSP_CloseStream(player), 1);
  EXPECT_EQ(display.LockedSurfaces(), 0);
}

TEST_F(Players, ASizeChangeInMidStreamIsFollowed) {
  const uint32_t player = OpenPlayer();
  scripted05::TheScript().decode = [width = 64u](scripted05::Decoder& decoder, const QXD05_Input&) mutable {
    scripted05::MakePicture(decoder, width, 48, width, width / 2, 100);
    width += 32;
    return 1;
  };
  for (int i = 1; i <= 3; ++i) {
    EXPECT_EQ(PushKey(player), QXSP_WRITE_QUEUED);
    EXPECT_TRUE(WaitForPictures(i));
  }
  QXSP_CloseStream(player);
  const auto copies = display.Records(DisplayCall::Blt, DisplayPart::Back);
  ASSERT_EQ(copies.size(), 3u);
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(copies[static_cast<size_t>(i)].source.right, 64 + 32 * i);
}

TEST_F(Players, TheLibraryStartsAndEndsAgain) {
  const uint32_t player = OpenPlayer();
  EXPECT_EQ(PushKey(player), QXSP_WRITE_QUEUED);
  EXPECT_TRUE(WaitForPictures(1));
  QXSP_ReleaseSDK();  // while it plays
  EXPECT_EQ(scripted05::TheCalls().closes, 1);
  EXPECT_EQ(OpenStream(player, Header()), 0);  // no screens
  scripted05::TheScript().nInitResult = 0;
  EXPECT_EQ(QXSP_InitSDK(), 0);
  scripted05::TheScript().nInitResult = 1;
  display.Fail(DisplayCall::CreateDevice, DisplayPart::Driver, DDERR_GENERIC);
  EXPECT_EQ(QXSP_InitSDK(), 0);
  QXSP_ReleaseSDK();
  EXPECT_EQ(QXSP_InitSDK(), 1);
  EXPECT_EQ(QXSP_InitSDK(), 1);  // once more, without a release
  EXPECT_EQ(OpenStream(player, Header()), 1);
  EXPECT_EQ(PushKey(OpenPlayer()), QXSP_WRITE_QUEUED);
  EXPECT_TRUE(WaitForPictures(2));
}

TEST_F(Players, AProcessMayExitWhilePlayersPlay) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        for (int i = 0; i < 4; ++i) {
          const uint32_t player = OpenPlayer();
          for (int frame = 0; frame < 100; ++frame)
            PushKey(player);
        }
        WaitForPictures(1);
        std::exit(0);
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(Players, AbsurdRectanglesAndWindows) {
  const uint32_t player = OpenPlayer();
  const QXSP_RECT kRects[] = {{0, 0, 0, 0},
                              {100, 100, 50, 50},
                              {INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX},
                              {INT32_MAX - 1, 0, INT32_MAX, 1},
                              {-50, -50, 50, 50},
                              {1900, 1060, 4000, 3000}};
  for (const QXSP_RECT& rect : kRects) {
    EXPECT_EQ(QXSP_SetVideoPreview(player, &seam, &rect, 1), 1);
    EXPECT_EQ(QXSP_SetVideoSubPreview(player, &seam, &rect, 1), 1);
    EXPECT_EQ(PushKey(player), QXSP_WRITE_QUEUED);
  }
  EXPECT_EQ(QXSP_SetVideoPreview(player, nullptr, nullptr, 1), 1);
  EXPECT_EQ(QXSP_SetVideoSubPreview(player, nullptr, nullptr, 0), 1);
  EXPECT_EQ(PushKey(player), QXSP_WRITE_QUEUED);
  const QXSP_RECT window = {100, 100, 164, 148};
  const int before = Pictures();
  EXPECT_EQ(QXSP_SetVideoPreview(player, &seam, &window, 1), 1);
  EXPECT_EQ(PushKey(player), QXSP_WRITE_QUEUED);
  EXPECT_TRUE(WaitForPictures(before + 1));
}

TEST_F(Players, TextsAreDrawnOnceIntoEveryPictureAndTakenAwayWithThePlayer) {
  uint32_t player = OpenPlayer();
  int pictures = 0;
  const auto snapshot = [&](bool decode) {
    EXPECT_EQ(decode ? PushKey(player) : QXSP_WriteToStreamOneFrame(player, nullptr, 0), QXSP_WRITE_QUEUED);
    EXPECT_TRUE(WaitForPictures(++pictures));
    std::array<uint8_t, 64 * 48 * 4> pixels = {};
    EXPECT_EQ(QXSP_GetBitmap(player, pixels.data(), sizeof pixels), 1);
    return pixels;
  };
  const auto plain = snapshot(true);
  QXSP_OSD_ITEM items[2] = {};
  items[0].pszText = "A";
  items[0].nAlpha = 100;
  ASSERT_EQ(QXSP_SetOSD(player, items, 1), 1);
  const auto text = snapshot(true);
  EXPECT_NE(text, plain);
  EXPECT_EQ(snapshot(false), text);  // shown again, not drawn into again
  items[1].wType = QXSP_OSD_PICTURE;
  EXPECT_EQ(QXSP_SetOSD(player, items, 2), 0);
  EXPECT_EQ(snapshot(true), plain);
  ASSERT_EQ(QXSP_SetOSD(player, items, 1), 1);
  EXPECT_EQ(QXSP_EnableDebugOSD(player, 1), 1);
  snapshot(true);  // after it was pushed, the first report is made
  const auto statistics = snapshot(true);
  EXPECT_NE(statistics, plain);
  EXPECT_NE(statistics, text);
  EXPECT_EQ(QXSP_EnableDebugOSD(player, 0), 1);
  snapshot(true);
  EXPECT_EQ(snapshot(true), plain);
  ASSERT_EQ(QXSP_EnableDebugOSD(player, 1), 1);
  snapshot(true);
  QXSP_ReleasePlayer(player);
  player = OpenPlayer();
  snapshot(true);
  EXPECT_EQ(snapshot(true), plain);
}
