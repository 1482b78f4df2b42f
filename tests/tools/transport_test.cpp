// The keys of a recorded file, on a film that reads ahead by a frame as the player library does.
#include <gmock/gmock.h>

#include <algorithm>

#include "tools/qxplay/Command.h"
#include "tools/qxplay/Transport.h"

namespace {

using testing::ElementsAre;

// Frames 1 to `total`. A pass of its play thread reads a frame unless one is pending, and plays it when it is
// let through. `undecodable` gives no picture.
class Film final : public RecordedFile {
 public:
  Film(std::vector<uint32_t> keys, uint32_t total) : m_Keys(std::move(keys)), m_nTotal(total) {}

  bool Open() override {
    if (missing) return false;
    position = {.interval = position.interval};
    paused = oneShot = ended = keyFramesOnly = false;
    speed = 0;
    m_nRead = m_nPending = 0;
    m_nTarget = 1;
    return true;
  }
  void Play() override { paused = false; }
  void Pause() override { paused = true; }
  void StepForward() override { paused = oneShot = true; }
  void SetSpeed(int exponent, bool keys) override {
    paused = false;
    speed = exponent;
    keyFramesOnly = keys;
  }
  void GoTo(uint32_t frame) override {
    ++jumps;
    paused = oneShot = true;
    m_nTarget = frame;
  }
  uint32_t ReadFrame() const override { return m_nRead; }

  void Pass() {
    while (!ended && m_nPending == 0) {
      const uint32_t next = m_nTarget != 0 ? KeyAtOrBefore(m_nTarget) : m_nRead + 1;
      m_nTarget = 0;
      ended = next > m_nTotal;
      if (!ended) m_nRead = next;
      if (!keyFramesOnly || KeyAtOrBefore(next) == next) m_nPending = m_nRead;
    }
    if (ended || (paused && !oneShot)) return;
    oneShot = false;
    const uint32_t frame = std::exchange(m_nPending, 0), key = KeyAtOrBefore(frame);
    if (frame == undecodable) return;
    if (frame == position.frame + 1 && frame == key && position.frame != 0)
      position.interval = key - position.keyFrame;
    position = {position.pictures + 1, frame, key, position.interval};
  }

  FilePosition position;
  int jumps = 0;
  bool paused = false, oneShot = false, ended = false, keyFramesOnly = false, missing = false;
  int speed = 0;
  uint32_t undecodable = 0;

 private:
  uint32_t KeyAtOrBefore(uint32_t frame) const {
    return *std::prev(std::upper_bound(m_Keys.begin() + 1, m_Keys.end(), frame));
  }
  const std::vector<uint32_t> m_Keys;
  const uint32_t m_nTotal;
  uint32_t m_nRead = 0, m_nPending = 0, m_nTarget = 1;
};

struct Player {
  Player(std::vector<uint32_t> keys, uint32_t total, bool loop = false)
      : film(std::move(keys), total), transport(film, total, 25, loop) {}

  // Lets passes go by until `frame` is shown, or the end is there.
  void PlayTo(uint32_t frame) {
    for (int pass = 0; pass < 2000 && film.position.frame != frame && !transport.Ended(); ++pass)
      Pass();
  }
  void PlayToEnd() { PlayTo(UINT32_MAX); }
  // A key, and what it leads to, told as the frame that is shown then.
  uint32_t Press(int key) {
    transport.Do(*CommandOf(key), now);
    for (int pass = 0; pass < 200 && (transport.IsSeeking() || film.oneShot); ++pass)
      Pass();
    return film.position.frame;
  }
  void Pass() {
    film.Pass();
    now += std::chrono::milliseconds(10);
    transport.Update(film.position, film.ended, now);
  }

  Film film;
  Transport transport;
  Transport::Time now{std::chrono::seconds(1000)};
};

TEST(Transport, BackGoesFurtherBackWithEveryPress) {
  Player player({1, 51, 101, 131, 141}, 500);
  player.PlayTo(170);
  EXPECT_EQ(player.Press(kKeyLeft), 141u);  // more than a second into it
  player.PlayTo(150);
  std::vector<uint32_t> shown;
  for (int press = 0; press < 5; ++press)
    shown.push_back(player.Press(kKeyLeft));
  EXPECT_THAT(shown, ElementsAre(131, 101, 51, 1, 1));
  EXPECT_FALSE(player.film.paused);
}

TEST(Transport, OnLeadsToLaterKeyFramesAndNeverPastTheLast) {
  Player player({1, 11, 21, 400}, 500);
  player.PlayTo(25);
  EXPECT_EQ(player.Press(kKeyRight), 400u);  // guessed by tens at first
  player.PlayTo(493);
  const int jumps = player.film.jumps;
  EXPECT_EQ(player.Press(kKeyRight), 493u);  // none is to be expected in the rest
  EXPECT_EQ(player.film.jumps, jumps);

  Player regular({1, 51, 101, 151}, 200);
  regular.PlayTo(60);
  EXPECT_EQ(regular.Press(kKeyRight), 101u);
  EXPECT_EQ(regular.Press(kKeyRight), 151u);
  EXPECT_EQ(regular.film.jumps, 2);
}

TEST(Transport, APausedJumpShowsItsPictureAndSpeedWaitsForTheEndOfThePause) {
  Player player({1, 51, 101}, 150);
  player.PlayTo(60);
  for (int press = 0; press < 9; ++press)
    player.Press(']');
  EXPECT_EQ(player.film.speed, Transport::kFastest);
  player.PlayTo(90);
  player.Press(' ');
  EXPECT_EQ(player.Press('.'), 91u);
  EXPECT_EQ(player.Press('9'), 101u);
  player.film.undecodable = 51;
  EXPECT_EQ(player.Press('5'), 52u);  // the next picture that there is
  player.Press('[');
  player.Press('k');
  EXPECT_TRUE(player.film.paused && !player.film.keyFramesOnly);
  player.Press(' ');
  EXPECT_EQ(player.film.speed, Transport::kFastest - 1);
  EXPECT_TRUE(!player.film.paused && player.film.keyFramesOnly);
}

TEST(Transport, AfterTheEndAJumpOpensTheFileAgain) {
  Player player({1, 51, 101}, 150);
  player.Press(']');
  player.PlayToEnd();
  EXPECT_TRUE(player.transport.Ended());
  EXPECT_EQ(player.Press(kKeyLeft), 51u);  // 50 frames are a second at this speed
  EXPECT_FALSE(player.transport.Ended());
  EXPECT_TRUE(!player.film.paused && player.film.speed == 1);
  player.PlayToEnd();
  player.Press(' ');
  EXPECT_FALSE(player.transport.Ended());  // plays from the start
  player.PlayTo(150);
  player.film.missing = true;
  player.PlayToEnd();
  player.Press(' ');
  EXPECT_TRUE(player.transport.Failed());
}

TEST(Transport, LoopsButNotOnAFileWithoutPictures) {
  Player player({1, 51}, 60, true);
  player.PlayTo(60);
  player.PlayTo(1);
  EXPECT_FALSE(player.transport.Ended());
  Player empty({1}, 0, true);
  empty.PlayTo(1);
  EXPECT_TRUE(empty.transport.Failed());
}

TEST(Keys, OfATerminal) {
  EXPECT_THAT(KeysOfTerminal(" \x1b[D\x1bOCq"), ElementsAre(' ', kKeyLeft, kKeyRight, 'q'));
  EXPECT_THAT(KeysOfTerminal("\x1b"), ElementsAre(kKeyEscape));
  EXPECT_TRUE(KeysOfTerminal("\x1b[1;5D\x1b[3~\x1b[A").empty());
}

}  // namespace
