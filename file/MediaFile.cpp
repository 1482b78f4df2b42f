#include "file/MediaFile.h"

#include <new>
#include <string_view>

#include "decode/H264Decoder.h"
#include "decode/H265Decoder.h"
#include "file/FileWindow.h"
#include "file/SvxFormat.h"
#include "platform/CrashGuard.h"
#include "video/PixelConversion.h"

namespace {

constexpr uint32_t kBytesPerPixel = 4;
constexpr uint32_t kMp4FrameRateDen = 60;
// A key frame may sit behind the pictures that a decoder holds back for reordering; it is asked for this
// often.
constexpr int kMaxAttempts = 11;

bool IsMp4Name(std::string_view name) {
  constexpr std::string_view kEnding = ".mp4";
  return name.size() > kEnding.size() && name.ends_with(kEnding);
}

}  // namespace

std::unique_ptr<MediaFile> MediaFile::Open(const char* fileName, Info& info) {
  std::unique_ptr<MediaFile> file(new (std::nothrow) MediaFile);
  if (file == nullptr || fileName == nullptr) return nullptr;
  const bool opened =
      IsMp4Name(fileName) ? file->OpenMp4(fileName, info) : file->OpenOwnFormat(fileName, info);
  if (!opened) return nullptr;
  file->m_llPictureBytes = uint64_t{info.dwWidth} * info.dwHeight * kBytesPerPixel;
  return file;
}

MediaFile::~MediaFile() {
  if (m_hDecoder != nullptr) platform::RunGuarded([this] { m_pLibrary->Close(m_hDecoder); });
}

bool MediaFile::OpenMp4(const char* fileName, Info& info) {
  Mp4Library::Description description;
  if (!m_Mp4.Open(fileName, description)) return false;
  info = {.dwTotalFrames = description.nVideoFrames,
          .dwWidth = description.nWidth,
          .dwHeight = description.nHeight,
          .dwFrameRateNum = description.FramesIn(kMp4FrameRateDen),
          .dwFrameRateDen = kMp4FrameRateDen};
  const bool isH265 = description.videoCode == "hev1" || description.videoCode == "hvc1";
  m_pLibrary = isH265 ? &H265Decoder::Library() : &H264Decoder::Library();
  return OpenDecoder();
}

bool MediaFile::OpenDecoder() {
  if (!platform::RunGuarded([this] { m_hDecoder = m_pLibrary->Open(); })) m_hDecoder = nullptr;
  return m_hDecoder != nullptr;
}

bool MediaFile::OpenOwnFormat(const char* fileName, Info& info) {
  FileWindow window;
  svx::Header header;
  if (!window.Open(fileName, svx::kHeaderBytes)) return false;
  while (!svx::ReadHeader(window.Bytes(), header)) {
    if (window.Bytes().size() >= svx::kHeaderBytes || !window.Refill()) return false;
  }
  info = {.dwTotalFrames = header.nTotalFrames,
          .dwWidth = header.nWidth,
          .dwHeight = header.nHeight,
          .dwFrameRateNum = header.FramesPerSecond(),
          .dwFrameRateDen = 1};
  // Hosts are told here when no decoder is to be had for the file.
  m_pDecoder = Decoder::CreateVideoDecoder(svx::IsOlderCodec(header.nVersion) ? kCodecQdec04 : kCodecH264,
                                           header.nWidth, header.nHeight, 1000 / header.FramesPerSecond());
  return m_pDecoder != nullptr;
}

int32_t MediaFile::FindKeyFrame(uint32_t number) {
  return m_Mp4.IsOpen() ? m_Mp4.KeyFrameFrom(number) : -1;
}

int32_t MediaFile::GetOneFrame(uint32_t number, uint8_t* buffer, uint32_t sizeBytes) {
  if (!m_Mp4.IsOpen() || m_hDecoder == nullptr) return -1;
  QP_FrameRequest request;
  if (!m_Mp4.Request(QP_TRACK_VIDEO, number, request)) return -1;
  while (request.bKeyFrame == 0) {
    if (!m_Mp4.Request(QP_TRACK_VIDEO, ++number, request)) return -1;
  }
  if (request.pData == nullptr || request.dwSize == 0 || sizeBytes < m_llPictureBytes) return -1;

  bool converted = false;
  const bool survived = platform::RunGuarded([&] {
    const QXD05_Picture* picture = nullptr;
    if (!DecodePicture({request.dwSize, request.pData}, picture)) return;
    // The stream may hold larger pictures than the file says.
    if (uint64_t{picture->nWidth} * picture->nHeight > sizeBytes / kBytesPerPixel) return;
    PlanarToRGB32(buffer, static_cast<int32_t>(picture->nWidth * kBytesPerPixel), picture->pLuma,
                  picture->pChroma1, picture->pChroma2, static_cast<int32_t>(picture->nLumaStride),
                  static_cast<int32_t>(picture->nChroma1Stride), static_cast<int32_t>(picture->nWidth),
                  static_cast<int32_t>(picture->nHeight), true);
    converted = true;
  });
  if (!survived) OpenDecoder();  // the crashed one is not touched again
  return survived && converted ? static_cast<int32_t>(number) : -1;
}

bool MediaFile::DecodePicture(const QXD05_Input& input, const QXD05_Picture*& picture) {
  uint32_t heldBack = 0;
  for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
    if (m_pLibrary->Decode(m_hDecoder, &input, &picture, &heldBack) <= 0) return false;
    if (picture != nullptr && picture->bPresent != 0) return true;
    heldBack = 1;
  }
  return false;
}
