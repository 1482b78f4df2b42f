// A host's whole life with the library while memory is refused, request after request: every call answers as
// documented, nothing is lost, and the next attempt works.
#include <chrono>
#include <semaphore>
#include <string>

#include "src/kit_mem/Poison.h"
#include "src/kit_mem/kit_mem.h"
#include "tests/api/HostFixture.h"
#include "tests/api/RefusedMemory.h"
#include "tests/support/Recording.h"
#include "tests/support/TempDir.h"

namespace {

using Which = RefusedMemory::Which;

// What calls answered that may answer either way.
struct Answers {
  bool bStarted, bOpened, bSound, bTexts, bFile, bFileOpened;
  int32_t nPlayer;
  int nQueued = 0;

  bool AllWell() const {
    return bStarted && bOpened && bSound && bTexts && bFile && bFileOpened && nPlayer == 0 && nQueued > 0;
  }
};

class MemoryFaults : public HostFixture, public testing::WithParamInterface<Which> {
 protected:
  static constexpr int kFrames = 10;  // more than one piece of the queue holds

  MemoryFaults() {
    scripted05::TheScript().decode = [this](scripted05::Decoder& decoder, const QXD05_Input&) {
      scripted05::MakePicture(decoder, 64, 48, 64, 32, 100);
      m_Decoded.release();
      return 1;
    };
    QXSP_ReleaseSDK();
    setenv("QXSDKP_SOUND", "null", 1);
  }

  Answers Live() {
    Answers answers;
    answers.bStarted = QXSP_InitSDK() == 1;
    QXSP_ConfigLog(QXSP_LOG_NONE, nullptr, QXSP_LOG_NONE);
    answers.nPlayer = QXSP_CreatePlayer();
    const auto player = static_cast<uint32_t>(answers.nPlayer);
    QXSP_SetPlayerName(player, m_szName.c_str());
    OpenAndPush(player, answers);
    QXSP_MEDIA_FILE_INFO info;
    void* const file = QXSP_MediaFileOpen(m_szFile.c_str(), &info);
    answers.bFile = file != nullptr;
    QXSP_MediaFileClose(file);
    answers.bFileOpened = QXSP_OpenFile(player, m_szFile.c_str()) == 1;
    EXPECT_EQ(QXSP_ReleasePlayer(player), answers.nPlayer == 0 ? 1 : 0);
    QXSP_ReleaseSDK();
    return answers;
  }

  void OpenAndPush(uint32_t player, Answers& answers) {
    answers.bOpened = OpenStream(player, HeaderWithSound()) == 1;
    QXSP_SetFrameControlMode(player, QXSP_MODE_AT_ONCE);
    const QXSP_RECT window = {100, 100, 164, 148};
    QXSP_SetVideoPreview(player, this, &window, 1);
    answers.bSound = QXSP_SetAudioPreview(player, this, 1) == 1;
    QXSP_OSD_ITEM item = {};
    item.pszText = m_szName.c_str();
    answers.bTexts = QXSP_SetOSD(player, &item, 1) == 1;
    for (int i = 0; i < kFrames; ++i)
      Push(player, answers);
    QXSP_CloseStream(player);
  }

  void Push(uint32_t player, Answers& answers) {
    RefusedMemory::TakeRefusedHere();
    const int32_t result = QXSP_WriteToStreamOneFrame(player, m_KeyFrame.data(), kKeyFrameBytes);
    const bool refused = RefusedMemory::TakeRefusedHere();
    if (!answers.bOpened) {
      const bool noStream = result == QXSP_WRITE_WAIT_FIRST_KEYFRAME || result == QXSP_WRITE_WAIT_KEYFRAME;
      EXPECT_TRUE(noStream || answers.nPlayer != 0) << result;
      return;
    }
    // 0 also when the queue cannot grow.
    EXPECT_TRUE(result == QXSP_WRITE_QUEUED || (refused && result == QXSP_WRITE_NO_MEMORY)) << result;
    if (result == QXSP_WRITE_NO_MEMORY) ++m_nNoMemory;
    if (result == QXSP_WRITE_QUEUED && !refused) {
      ++answers.nQueued;
      ASSERT_TRUE(m_Decoded.try_acquire_for(std::chrono::seconds(30))) << "a queued frame is never decoded";
      QXSP_WriteToStreamOneFrame(player, m_KeyFrame.data() + 8, 320);  // sound
    }
  }

  static std::pair<uint64_t, uint64_t> Held() {
    mck_statistics statistics;
    mck_get_statistics(&statistics);
    return {statistics.library.ullBlocks, statistics.library.ullUsed};
  }

  // A large block each: its copy is a request to the platform of its own.
  static constexpr uint32_t kKeyFrameBytes = 40'000;
  const std::string m_KeyFrame = std::string("\0\0\0\1\x67", 5) + std::string(kKeyFrameBytes - 5, 'k');
  const std::string m_szName = std::string(300, 'n');
  const TempDir m_Dir;
  const std::string m_szFile = Recording(5).Add(1, m_KeyFrame).Add(0, "frame").Save(m_Dir / "a.sv5");
  RefusedMemory memory;
  std::counting_semaphore<> m_Decoded{0};
  int m_nNoMemory = 0;
};

INSTANTIATE_TEST_SUITE_P(Requests, MemoryFaults,
                         testing::Values(Which::kPlatform, Which::kAllocated, Which::kOne));

}  // namespace

TEST_P(MemoryFaults, AreAnsweredAndTheNextAttemptWorks) {
  ASSERT_TRUE(Live().AllWell());
  const auto held = Held();
  bool refused = true;
  int64_t granted = 0;
  for (; refused && !HasFailure(); ++granted) {
    SCOPED_TRACE(granted);
    RefusedMemory::Begin(GetParam(), granted);
    const Answers answers = Live();
    refused = RefusedMemory::End();
    EXPECT_TRUE(refused || answers.AllWell());
    EXPECT_EQ(Held(), held) << "a block is lost";
    const int before = Pictures();
    EXPECT_TRUE(Live().AllWell());
    EXPECT_GT(Pictures(), before);
    EXPECT_EQ(Held(), held);
  }
  EXPECT_GT(m_nNoMemory, 0);
  EXPECT_GT(granted, kFrames) << "fewer requests than a stream's frames alone make";
}

#ifdef QX_POISONING
class QueuedFrameDeathTest : public HostFixture {};

TEST_F(QueuedFrameDeathTest, ACodecLibraryThatReadsBeyondItsFrameOrLateIsSeen) {
  const auto play = [this](auto decode) {
    scripted05::TheScript().decode = decode;
    const uint32_t player = this->OpenPlayer();
    for (int i = 0; i < 3; ++i)
      PushKey(player);
    WaitForPictures(3);
  };
  using Picture = scripted05::Decoder;
  const auto beyond = [](Picture& decoder, const QXD05_Input& input) {
    scripted05::MakePicture(decoder, 64, 48, 64, 32, input.pData[input.dwLength]);
    return 1;
  };
  const auto late = [earlier = static_cast<const uint8_t*>(nullptr)](Picture& decoder,
                                                                     const QXD05_Input& input) mutable {
    scripted05::MakePicture(decoder, 64, 48, 64, 32, earlier != nullptr ? *earlier : uint8_t{0});
    earlier = input.pData;
    return 1;
  };
  EXPECT_DEATH(play(beyond), "AddressSanitizer: use-after-poison");
  EXPECT_DEATH(play(late), "AddressSanitizer: ");
}
#endif
