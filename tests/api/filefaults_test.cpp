// Damaged recordings, failing reads, and files that change while they play: each is refused with its line or
// ends with the event, once, and the player plays the next file.
#include <algorithm>
#include <atomic>
#include <filesystem>
#include <functional>
#include <random>
#include <string>

#include "tests/api/HostFixture.h"
#include "tests/support/Recording.h"
#include "tests/support/TempDir.h"

namespace {

// Time passes as fast as the play thread sleeps, and reads fail where told.
class RacingClock : public TestSeam {
 public:
  RacingClock() : TestSeam(kByDerived) { Install(); }
  ~RacingClock() override { Remove(); }
  uint32_t TimeMs() override { return nNowMs; }
  void Sleep(uint32_t milliseconds) override { nNowMs += milliseconds; }
  bool SleepOnCondition(CONDITION_VARIABLE& condition, CRITICAL_SECTION& section, uint32_t ms) override {
    if (ms == INFINITE) return TestSeam::SleepOnCondition(condition, section, ms);
    nNowMs += ms;
    return false;
  }
  intptr_t ReadFile(int descriptor, void* buffer, size_t bytes) override {
    if (nReadsLeft-- > 0) return TestSeam::ReadFile(descriptor, buffer, bytes);
    errno = EIO;
    return -1;
  }
  std::atomic<uint32_t> nNowMs{1'000'000};
  std::atomic<int> nReadsLeft{INT32_MAX};
};

std::atomic<int> g_nEnds{0};

void QXSP_CALLBACK CountEnd(uint32_t /*player*/, uint32_t /*event*/) {
  ++g_nEnds;
  g_nEnds.notify_all();
}

class FileFaults : public HostFixture {
 protected:
  FileFaults() {
    SetNotify(CountEnd);
    scripted05::TheScript().decode = [this](scripted05::Decoder& decoder, const QXD05_Input& input) {
      m_Played += static_cast<char>(input.pData[0]);
      if (m_Played.size() == 5 && atFifthFrame) atFifthFrame();
      scripted05::MakePicture(decoder, 64, 48, 64, 32, input.pData[0]);
      return 1;
    };
  }

  // What became of it: "refused", or the first bytes of the frames until the end. Then plays another one.
  std::string Play(const std::string& file) {
    const std::string played = PlayOne(file);
    clock.nReadsLeft = INT32_MAX;
    atFifthFrame = nullptr;
    EXPECT_EQ(PlayOne(next), "new");
    return played;
  }

  RacingClock clock;
  TempDir dir;
  const std::string damaged = dir / "a.sv5";
  const std::string next = Recording(5).Add(1, "n").Add(0, "e").Add(4, "w").Save(dir / "b.sv5");
  const uint32_t player = static_cast<uint32_t>(QXSP_CreatePlayer());
  std::function<void()> atFifthFrame;  // on the play thread

 private:
  std::string PlayOne(const std::string& file) {
    m_Played.clear();
    g_nEnds = 0;
    (void)clock.TakeText();
    if (QXSP_OpenFile(player, file.c_str()) != 1) {
      const std::string line = "MediaFileStream::OpenFile pFile is NULL,name:" + file;
      EXPECT_THAT(TakeLogLines(clock), testing::Contains(testing::HasSubstr(line)));
      return "refused";
    }
    g_nEnds.wait(0);
    EXPECT_EQ(QXSP_Stop(player), 1);
    EXPECT_EQ(g_nEnds, 1);
    return m_Played;
  }

  std::string m_Played;  // the play thread's while it runs
};

}  // namespace

TEST_F(FileFaults, DamagedRecordingsEndAfterWhatIsGoodOfThem) {
  const std::string good = Recording(5).Add(1, "a").Add(2, "snd").Add(0, "b").Add(3, "-").Add(1, "c").Bytes();
  const size_t takenAt[] = {64 + 13, 64 + 33, 64 + 51};  // lengths with the four bytes behind each frame
  for (size_t length = 0; length <= good.size(); ++length) {
    const auto frames = std::ranges::count_if(takenAt, [length](size_t at) { return at <= length; });
    EXPECT_EQ(Play(Recording::Write(damaged, good.substr(0, length))),
              length < 64 ? "refused" : std::string("abc", static_cast<size_t>(frames)));
  }
  for (uint32_t type = 0; type < 16; ++type) {
    for (const size_t length : {0, 1, 100, 1048575}) {
      const Recording recording = Recording(5).Add(1, "a").Add(type, std::string(length, 'x')).Add(0, "b");
      const bool shown = length != 0 && (type == 0 || type == 1 || type == 4);
      EXPECT_EQ(Play(recording.Save(damaged)), shown ? "axb" : "ab") << type << ", " << length;
    }
  }
  std::string noise, heads;  // the latter are sync words with an invalid head
  for (std::minstd_rand chance(1); noise.size() < 3'000'000;
       heads += Recording(5).Sync() + Recording::Word(15))
    noise += Recording::Word(static_cast<uint32_t>(chance()) * 3);
  for (const std::string& between : {std::string(3'000'000, '\0'), noise, heads})
    EXPECT_EQ(Play(Recording(5).Add(1, "a").AddBytes(between).Add(0, "b").Save(damaged)), "ab");
}

TEST_F(FileFaults, ReadsThatFailAndFilesThatChangeWhileTheyPlay) {
  Recording large(5);  // 30 frames of 100 KB
  for (char letter = 'A'; letter < 'A' + 30; ++letter)
    large.Add(letter == 'A', std::string(100'000, letter));
  const std::string whole = Play(large.Save(damaged));
  ASSERT_EQ(whole.size(), 30u);
  std::string played;
  for (int reads = 0; played != whole; ++reads) {
    ASSERT_LT(reads, 20);
    clock.nReadsLeft = reads;
    played = Play(damaged);
    EXPECT_EQ(played, reads == 0 ? "refused" : whole.substr(0, played.size()));
  }
  atFifthFrame = [this] { std::filesystem::remove(damaged); };
  EXPECT_EQ(Play(damaged), whole);
  for (const size_t length : {0, 1'500'000}) {
    large.Save(damaged);
    atFifthFrame = [this, length] { std::filesystem::resize_file(damaged, length); };
    EXPECT_EQ(Play(damaged), whole.substr(0, length == 0 ? 10 : 14));  // to the end of what was in memory
  }
  large.Save(damaged);
  atFifthFrame = [&] { large.Add(0, "more").Save(damaged); };
  EXPECT_EQ(Play(damaged), whole + "m");
}
