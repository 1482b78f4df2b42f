#include "player/Player.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "player/LiveFrame.h"
#include "src/kitc/Log.h"

namespace {

constexpr char kSource[] = "Player.cpp";
constexpr uint32_t kLiveAudioFrameCapacity = 8192;  // bytes of one PCM frame
constexpr uint32_t kFileAudioFrameCapacity = 1024;
constexpr uint32_t kAudioBufferMs = 400;
constexpr uint32_t kAudioLatencyMs = 200;
constexpr int32_t kMaxSpeedExponent = 30;  // 2^30 is the largest that fits

// "decodeid:%d OpenFile m_pFrameBuffer size:%d malloc failed error:%d,name:%s", its Chinese words in GBK.
constexpr char kFileBufferFailed[] =
    "decodeid:%d OpenFile m_pFrameBuffer\xB4\xF3\xD0\xA1:%d malloc\xCA\xA7\xB0\xDC error:%d,name:%s\n";

StreamFormat FormatOf(const MediaInfo& info) {
  return {.nVideoCodec = info.nVideoCodecID,
          .nAudioCodec = info.nAudioFrames != 0 ? info.nAudioCodecID : static_cast<uint32_t>(kCodecNone),
          .nWidth = info.nWidth,
          .nHeight = info.nHeight,
          .nFrameRateNum = info.nFrameRateNum,
          .nFrameRateDen = info.nFrameRateDen,
          .nAudioChannels = info.nAudioChannels,
          .nAudioSampleRate = info.nAudioSampleRate,
          .nAudioBits = info.nAudioBits};
}

}  // namespace

Player::Player() {
  Reset();
}

Player::~Player() {
  Reset();
}

void Player::SetPlayerID(uint32_t nPlayerID) {
  m_Label.SetPlayerID(nPlayerID);
  m_Video.SetViewerPlayerID(nPlayerID);
}

void Player::Reset() {
  ScopedLock hold(m_PlayerLock);
  if (m_bStream) {
    CloseStream();
  } else {
    CloseSource();
  }
  m_Video.ReleaseImageProc();
  m_PlayThreads.ResetStatistics();
  m_Label.ClearName();
  m_dwUserData = 0;
  EnableDebugOSD(false);
  {
    ScopedLock holdStatistics(m_StatisticsLock);
    m_Statistics = OsdStatistics();
  }
  m_Video.SetPictureSize(0, 0);
  m_TimeStampGen.Reset();
  m_FrameControl.ResetToDefault();
}

bool Player::CreateStream(const void* header, uint32_t sizeBytes) {
  const AudioPath::Preview preview = m_Audio.GetPreview();
  ScopedLock hold(m_PlayerLock);
  CloseStream();
  bool opened = false;
  try {
    opened = OpenStream(header, sizeBytes);
  } catch (const std::bad_alloc&) {
    // As any other refusal.
  }
  if (!opened) {
    CloseSource();
    return false;
  }
  kitc_log(kLogDebug, kSource, __LINE__, "Player::CreateStream codecid:%d uThreadId:0x%x name:%s\n",
           m_Label.PlayerID(), m_PlayThreads.ThreadId(), m_Label.Name().c_str());
  if (preview.bEnabled) m_Audio.SetPreview(preview.hWnd, true);
  LogOpened();
  return true;
}

bool Player::OpenStream(const void* header, uint32_t sizeBytes) {
  StreamFormat format;
  if (!ReadHeader(header, sizeBytes, format) || !format.IsPlayable()) return false;
  if (!m_Video.InitViewer(format.nWidth, format.nHeight)) return false;
  if (!OpenVideoDecoder(format) || !OpenAudio(format, kLiveAudioFrameCapacity)) return false;
  m_FrameBufferPool.ResetForLive();
  m_Video.SetPictureSize(format.nWidth, format.nHeight);
  m_TimeStampGen.SetFrameRate(format.nFrameRateNum, format.nFrameRateDen);
  m_FrameControl.ResetClock(true);
  m_bStream = true;
  m_bWaitFirstKeyFrame = true;
  return m_PlayThreads.Start(PlayThreads::Source::kStream);
}

bool Player::ReadHeader(const void* header, uint32_t sizeBytes, StreamFormat& format) {
  if (header == nullptr || sizeBytes < kShortHeaderBytes) return false;
  ScopedLock hold(m_HeaderLock);
  m_bExtHeader = IsExtendedHeader(header, sizeBytes);
  if (m_bExtHeader) {
    std::memcpy(m_FileHeader.data(), header, kFileHeaderBytes);
    format = ReadFileHeader(m_FileHeader);
  } else {
    std::memcpy(m_ShortHeader.data(), header, kShortHeaderBytes);
    format = ReadShortHeader(m_ShortHeader);
  }
  return true;
}

bool Player::OpenVideoDecoder(const StreamFormat& format) {
  std::shared_ptr<Decoder> decoder =
      Decoder::CreateVideoDecoder(format.nVideoCodec, format.nWidth, format.nHeight, format.FramePeriodMs());
  if (decoder == nullptr) return false;
  m_Video.SetDecoder(std::move(decoder));
  return true;
}

// After OpenVideoDecoder, whose delay counts. True also without sound.
bool Player::OpenAudio(const StreamFormat& format, uint32_t pcmFrameCapacity) {
  SetAVOffset(0);
  if (format.nAudioCodec == kCodecNone) return true;
  std::shared_ptr<Decoder> decoder = Decoder::CreateAudioDecoder(
      format.nAudioCodec, pcmFrameCapacity, format.nAudioChannels, format.nAudioSampleRate);
  if (decoder == nullptr) return false;
  m_Audio.Open(std::move(decoder), AudioFormat{format.nAudioChannels, format.nAudioSampleRate,
                                               format.nAudioBits, kAudioBufferMs, kAudioLatencyMs});
  SetAVOffset(m_Audio.DelayMs() - m_Video.DelayMs());
  return true;
}

void Player::SetAVOffset(int32_t milliseconds) {
  m_FrameControl.SetAVOffset(milliseconds);
  m_FrameBufferPool.SetAVOffset(milliseconds);
}

void Player::DropDecoders() {
  m_Video.SetDecoder(nullptr);
  m_Audio.DropDecoder();
}

bool Player::OpenFile(const char* fileName) {
  ScopedLock hold(m_PlayerLock);
  CloseSource();
  bool opened = false;
  try {
    opened = OpenFileSource(fileName);
  } catch (const std::bad_alloc&) {
    // As any other refusal.
  }
  if (!opened) CloseSource();
  return opened;
}

// Every refusal but the last has its line in the log.
bool Player::OpenFileSource(const char* fileName) {
  const char* const name = fileName != nullptr ? fileName : "";
  const uint32_t nPlayerID = m_Label.PlayerID();
  if (!m_File.AllocateBuffer()) {
    kitc_log(kLogError, kSource, __LINE__, kFileBufferFailed, nPlayerID, 0, static_cast<int>(GetLastError()),
             name);
    return false;
  }
  const std::shared_ptr<MediaFileStream> reader = MediaFileStream::OpenFile(fileName);
  if (reader == nullptr) {
    kitc_log(kLogError, kSource, __LINE__,
             "decodeid:%d OpenFile MediaFileStream::OpenFile pFile is NULL,name:%s\n", nPlayerID, name);
    return false;
  }
  {
    ScopedLock holdHeader(m_HeaderLock);
    m_bExtHeader = false;
    (void)reader->GetHeader(m_ShortHeader.data(), kShortHeaderBytes);
  }
  const StreamFormat format = FormatOf(reader->Info());
  if (!OpenVideoDecoder(format)) {
    kitc_log(kLogError, kSource, __LINE__,
             "decodeid:%d OpenFile Decoder::CreateVideoDecoder failed,CodecID:%d,name:%s\n", nPlayerID,
             format.nVideoCodec, name);
    return false;
  }
  if (!format.IsPlayable() || !m_Video.InitViewer(format.nWidth, format.nHeight)) {
    kitc_log(kLogError, kSource, __LINE__, "decodeid:%d OpenFile m_VideoViewer.Init failed,name:%s\n",
             nPlayerID, name);
    return false;
  }
  if (!OpenAudio(format, kFileAudioFrameCapacity)) {
    kitc_log(kLogError, kSource, __LINE__,
             "decodeid:%d OpenFile Decoder::CreateAudioDecoder failed,CodecID:%d,name:%s\n", nPlayerID,
             format.nAudioCodec, name);
    return false;
  }
  reader->SetAVOffset(m_FrameControl.AVOffset());
  m_File.Open(reader);
  m_Video.SetPictureSize(format.nWidth, format.nHeight);
  m_FrameControl.ResetClock(false);
  m_bStream = false;
  if (!m_PlayThreads.Start(PlayThreads::Source::kFile)) {
    kitc_log(kLogError, kSource, __LINE__, "decodeid:%d OpenFile m_PlayThread.Run failed,name:%s\n",
             nPlayerID, name);
    return false;
  }
  return true;
}

bool Player::GotoKeyFrame(uint32_t target, bool pause) {
  if (pause) Pause();
  const std::shared_ptr<MediaFileStream> file = File();
  if (file == nullptr || !file->GotoKeyFrame(target)) return false;
  m_Audio.DropSound();
  if (pause) m_FrameControl.SetOneShot();
  return true;
}

void Player::ReleaseStream() {
  ScopedLock hold(m_PlayerLock);
  CloseStream();
}

bool Player::Stop() {
  ScopedLock hold(m_PlayerLock);
  CloseSource();
  return true;
}

void Player::CloseStream() {
  kitc_log(kLogDebug, kSource, __LINE__, "Player::ReleaseStream codecid:%d uThreadId:0x%x name:%s\n",
           m_Label.PlayerID(), m_PlayThreads.ThreadId(), m_Label.Name().c_str());
  CloseSource();
  m_Video.ReleaseImageProc();
}

// The threads end before anything that they use goes.
void Player::CloseSource() {
  m_PlayThreads.Stop();
  m_File.Close();
  m_Video.ForgetPicture();
  m_FrameBufferPool.CloseAndClear();
  m_Video.ResetView();
  m_Audio.ReleaseViewer();
  DropDecoders();
}

void Player::LogOpened() {
  FileHeader header;
  {
    ScopedLock hold(m_HeaderLock);
    header = m_FileHeader;
  }
  const auto field = [&header](FileHeaderOffset offset) { return FileHeaderField(header, offset); };
  kitc_log(kLogInfo, kSource, __LINE__,
           "nPlayerID:%d, FileHeader: wDeviceType=%d, wVideoCodecID=%d, wVideoDataType=%d, wVideoFormat=%d, "
           "wVideoWidth=%d, wVideoHeight=%d, wFrameRateNum=%d, wFrameRateDen=%d, wAudioCodecID=%d, "
           "wAudioSampleRate=%d, wAudioChannels=%d, wAudioBits=%d, dwRecFileTotalFrames=%d, wRecFileType=%d",
           m_Label.PlayerID(), field(kDeviceType), field(kVideoCodecID), field(kVideoDataType),
           field(kVideoFormat), field(kVideoWidth), field(kVideoHeight), field(kFrameRateNum),
           field(kFrameRateDen), field(kAudioCodecID), field(kAudioSampleRate), field(kAudioChannels),
           field(kAudioBits), field(kRecFileTotalFrames), field(kRecFileType));
}

bool Player::GetHeaderData(void* buffer, uint32_t sizeBytes) {
  if (buffer == nullptr || sizeBytes < kShortHeaderBytes) return false;
  ScopedLock hold(m_HeaderLock);
  if (m_bExtHeader) {
    std::memcpy(buffer, m_FileHeader.data(),
                sizeBytes >= kFileHeaderBytes ? kFileHeaderBytes : kShortHeaderBytes);
  } else {
    std::memcpy(buffer, m_ShortHeader.data(), kShortHeaderBytes);
  }
  return true;
}

int32_t Player::WriteFrame(const uint8_t* data, uint32_t size, int64_t timestamp) {
  ScopedLock hold(m_PlayerLock);
  LiveFrame live;
  if (data == nullptr || size == 0) {
    live.ftFrameType = QFT_Video;  // a frame without data shows the last picture again
  } else {
    live = ClassifyLiveFrame(m_Video.CodecType(), data, size);
  }
  if (live.bIllegal) {
    kitc_log(kLogError, kSource, __LINE__,
             "decodeid:%d SVXFileStream::_NalDecode dwType:%d illegal,name:%s\n", m_Label.PlayerID(),
             data[4] & 0x0F, m_Label.Name().c_str());
    return kInputIllegalFrame;
  }
  if (m_bWaitFirstKeyFrame && !live.bKeyFrame) {
    if (live.ftFrameType == QFT_Video) {
      kitc_log(kLogError, kSource, __LINE__,
               "decodeid:%d WaitKeyFrame dwSize:%d bKeyFrame:%d,can not push frame pool,name:%s\n",
               m_Label.PlayerID(), size, 0, m_Label.Name().c_str());
    }
    return kInputWaitsForFirstKeyFrame;
  }
  m_bWaitFirstKeyFrame = false;

  FrameRecord frame;
  frame.pFrame = live.pPayload;
  frame.dwFrameSize = live.nPayloadSize;
  frame.ftFrameType = live.ftFrameType;
  frame.bKeyFrame = live.bKeyFrame;
  frame.bDisplay = true;
  const bool isVideo = live.ftFrameType == QFT_Video;
  if (timestamp >= 0) {
    frame.llTimeStamp = timestamp;
  } else {
    frame.llTimeStamp = isVideo ? m_TimeStampGen.NextVideoTimeStamp() : m_TimeStampGen.LastTimeStamp();
  }
  const PushResult result = m_FrameBufferPool.PushBackFrame(m_Label.PlayerID(), frame);
  if (m_bDebugOSD.load(std::memory_order_relaxed)) CollectStatistics(isVideo, live.bKeyFrame, size);
  return result;
}

void Player::EnableDebugOSD(bool enable) {
  ScopedLock hold(m_StatisticsLock);
  m_Statistics.ClearReport();
  m_bDebugOSD = enable;
  (void)m_Video.SetOSD(nullptr, 0);
}

void Player::CollectStatistics(bool isVideo, bool isKeyFrame, uint32_t bytes) {
  ScopedLock hold(m_StatisticsLock);
  if (m_bDebugOSD && m_Statistics.Count(isVideo, isKeyFrame, bytes, GetTickCount())) ShowStatistics();
}

void Player::ShowStatistics() {
  constexpr int32_t kFirstLineY = 10;
  constexpr int32_t kLineHeight = 20;
  CodecNames names;
  {
    ScopedLock hold(m_HeaderLock);
    names = m_bExtHeader ? NamesOfCodecs(m_FileHeader) : NamesOfCodecs(m_ShortHeader);
  }
  uint32_t width = 0;
  uint32_t height = 0;
  m_Video.GetDecodedSize(width, height);
  const StatisticsText text = m_Statistics.Text(names.pszVideo, names.pszAudio, width, height);
  OsdItem items[StatisticsText::kLines] = {};
  for (int line = 0; line < StatisticsText::kLines; ++line) {
    items[line].pszText = text.szLine[line];
    items[line].nX = 10;
    items[line].nY = kFirstLineY + line * kLineHeight;
    items[line].abColour[0] = 0xFF;  // opaque red
  }
  (void)m_Video.SetOSD(items, StatisticsText::kLines);
}

void Player::Pause() {
  m_FrameControl.SetPause(true);
  m_Audio.StopSound();
}

void Player::StepForward() {
  Pause();
  m_FrameControl.SetOneShot();
}

bool Player::SetPlaySpeed(int32_t exponent, bool keyFramesOnly) {
  m_File.SetKeyFramesOnly(keyFramesOnly);  // before the clock, which wakes the play thread
  const int32_t limited = std::clamp(exponent, -kMaxSpeedExponent, kMaxSpeedExponent);
  const int32_t factor = 1 << std::abs(limited);
  m_File.SetNormalSpeed(limited == 0);
  m_FrameControl.SetSpeed(limited > 0 ? factor : 1, limited > 0 ? 1 : factor);
  m_Audio.StopSound();
  return true;
}
