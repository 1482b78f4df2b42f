#include "tests/api/HostFixture.h"

#include <chrono>

namespace {

std::mutex g_Mutex;
std::condition_variable g_Shown;
int g_nPictures = 0;

void QXSP_CALLBACK CountPicture(uint32_t /*player*/, void* /*window*/, void* /*display*/, void* /*surface*/,
                                QXSP_RECT* /*target*/, QXSP_RECT* /*image*/) {
  const std::lock_guard lock(g_Mutex);
  ++g_nPictures;
  g_Shown.notify_all();
}

int32_t Push(uint32_t player, uint8_t unitType) {
  const uint8_t frame[] = {0, 0, 0, 1, unitType, 0};
  return QXSP_WriteToStreamOneFrame(player, frame, sizeof frame);
}

}  // namespace

HostFixture::HostFixture() {
  scripted05::Reset();
  g_nPictures = 0;
  EXPECT_EQ(QXSP_InitSDK(), 1);
  QXSP_SetCallBack(nullptr, nullptr, nullptr, CountPicture);
}

HostFixture::~HostFixture() {
  for (uint32_t player = 0; player < QXSP_MAX_PLAYERS; ++player)
    QXSP_ReleasePlayer(player);
  QXSP_SetCallBack(nullptr, nullptr, nullptr, nullptr);
  QXSP_ReleaseSDK();
  EXPECT_EQ(display.LiveObjects(), 0);
  const scripted05::Calls& calls = scripted05::TheCalls();
  EXPECT_EQ(calls.opens, calls.closes);
  EXPECT_EQ(calls.opensEx, calls.closesEx);
}

QXSP_FILE_HEADER HostFixture::Header(uint16_t width, uint16_t height) {
  QXSP_FILE_HEADER header = {};
  std::memcpy(reinterpret_cast<uint8_t*>(&header) + 32, "QFH", 3);
  header.wVideoCodecID = QXSP_VIDEO_H264;
  header.wVideoWidth = width;
  header.wVideoHeight = height;
  header.wFrameRateNum = 25;
  header.wFrameRateDen = 1;
  return header;
}

QXSP_FILE_HEADER HostFixture::HeaderWithSound() {
  QXSP_FILE_HEADER header = Header();
  header.wVideoDataType = QXSP_DATA_VIDEO_AND_AUDIO;
  header.wAudioCodecID = QXSP_AUDIO_PCM;
  header.wAudioSampleRate = 8000;
  header.wAudioChannels = 1;
  header.wAudioBits = 8;
  return header;
}

uint32_t HostFixture::OpenPlayer(const QXSP_FILE_HEADER& header) {
  const auto player = static_cast<uint32_t>(QXSP_CreatePlayer());
  EXPECT_EQ(OpenStream(player, header), 1);
  EXPECT_EQ(QXSP_SetFrameControlMode(player, QXSP_MODE_AT_ONCE), 1);
  const QXSP_RECT window = {100, 100, 164, 148};
  EXPECT_EQ(QXSP_SetVideoPreview(player, &g_Mutex, &window, 1), 1);
  return player;
}

int32_t HostFixture::OpenStream(uint32_t player, const QXSP_FILE_HEADER& header) {
  return QXSP_OpenStream(player, &header, sizeof header);
}

int32_t HostFixture::PushKey(uint32_t player) {
  return Push(player, 0x67);
}

int32_t HostFixture::PushDelta(uint32_t player) {
  return Push(player, 0x41);
}

void HostFixture::SetBeforeCopy(QXSP_DRAW_CALLBACK callback) {
  QXSP_SetCallBack(nullptr, nullptr, callback, CountPicture);
}

void HostFixture::SetNotify(QXSP_NOTIFY_CALLBACK callback) {
  QXSP_SetCallBack(nullptr, callback, nullptr, CountPicture);
}

bool HostFixture::WaitForPictures(int count) {
  std::unique_lock lock(g_Mutex);
  return g_Shown.wait_for(lock, std::chrono::seconds(30), [count] { return g_nPictures >= count; });
}

int HostFixture::Pictures() {
  const std::lock_guard lock(g_Mutex);
  return g_nPictures;
}
