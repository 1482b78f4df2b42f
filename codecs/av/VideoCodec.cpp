#include "codecs/av/VideoCodec.h"

extern "C" {
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <new>
#include <utility>

#include "codecs/av/PixelFormat.h"
#include "codecs/av/Silence.h"

namespace {

size_t PlaneBytes(const AVFrame& frame, int plane) {
  const size_t bytes = static_cast<size_t>(frame.linesize[plane]) * static_cast<size_t>(frame.height);
  return plane == 0 ? bytes : bytes / 2;
}

// True when the bytes that a reader of whole rows touches lie inside the codec's memory. Cropping at the left
// moves the plane's start and with it the end of its last row, possibly past the end of the allocation.
bool RowsAreReadable(AVFrame& frame) {
  for (int plane = 0; plane < 3; ++plane) {
    if (frame.linesize[plane] <= 0) return false;
    const AVBufferRef* memory = av_frame_get_plane_buffer(&frame, plane);
    if (memory == nullptr) return false;
    const size_t offset = static_cast<size_t>(frame.data[plane] - memory->data);
    if (offset > memory->size || PlaneBytes(frame, plane) > memory->size - offset) return false;
  }
  return true;
}

// Key frames of H.264 and H.265 come with their parameter sets in front.
bool BeginsWithParameterSet(AVCodecID codec, const uint8_t* data, uint32_t size) {
  const uint8_t* const end = data + size;
  const uint8_t* const one = std::find_if(data, end, [](uint8_t byte) { return byte != 0; });
  if (one - data < 2 || end - one < 2 || *one != 1) return false;
  const uint8_t unit = one[1];
  if (codec == AV_CODEC_ID_H264) return (unit & 0x1F) == 7;
  const int type = unit >> 1 & 0x3F;
  return codec == AV_CODEC_ID_HEVC && (type == 32 || type == 33);
}

}  // namespace

void VideoCodec::ScalerFree::operator()(SwsContext* scaler) const {
  sws_freeContext(scaler);
}

std::unique_ptr<VideoCodec> VideoCodec::Create(AVCodecID codecId) {
  const AVCodec* codec = avcodec_find_decoder(codecId);
  if (codec == nullptr) return nullptr;
  std::unique_ptr<VideoCodec> self(new (std::nothrow) VideoCodec(codec));
  if (self == nullptr) return nullptr;
  self->m_pFrame.reset(av_frame_alloc());
  self->m_pNext.reset(av_frame_alloc());
  self->m_pConverted.reset(av_frame_alloc());
  if (!self->m_Input.Create() || !self->m_pFrame || !self->m_pNext || !self->m_pConverted) return nullptr;
  return self;
}

// False when memory is exhausted; the next frame tries again.
bool VideoCodec::Open() {
  if (m_pContext) return true;
  AvContext opening(avcodec_alloc_context3(m_pCodec));
  if (!opening) return false;
  AVCodecContext& context = *opening;
  context.thread_count = 1;
  context.flags |= AV_CODEC_FLAG_LOW_DELAY;
  context.log_level_offset = kLogSilence;
  m_Pictures.Attach(context);
  if (avcodec_open2(&context, m_pCodec, nullptr) < 0) return false;
  m_pContext = std::move(opening);
  return true;
}

VideoCodec::Result VideoCodec::Decode(const uint8_t* data, uint32_t size, VideoPlanes& planes) {
  if (m_bDraining) {
    avcodec_flush_buffers(m_pContext.get());
    m_bDraining = false;
    m_bWaitForKeyFrame = true;
  }
  if (!Open() || !m_Input.Fill(data, size)) return Result::kFailed;
  bool accepted = avcodec_send_packet(m_pContext.get(), m_Input.Packet()) >= 0;
  if (!accepted && BeginsWithParameterSet(m_pContext->codec_id, data, size)) {
    // A film that was moved back may repeat a picture that the decoder still has, which H.265 forbids:
    // nothing of before is needed from here on.
    avcodec_flush_buffers(m_pContext.get());
    accepted = avcodec_send_packet(m_pContext.get(), m_Input.Packet()) >= 0;
  }
  // A damaged frame may be reported as an error and still give a picture: concealed damage shows more than a
  // frozen view.
  if (ReceiveNewest()) return Deliver(planes);
  return accepted ? Result::kNoPicture : Result::kFailed;
}

VideoCodec::Result VideoCodec::Drain(VideoPlanes& planes) {
  if (!m_pContext) return Result::kNoPicture;
  if (!m_bDraining) {
    avcodec_send_packet(m_pContext.get(), nullptr);
    m_bDraining = true;
  }
  return ReceiveNext() ? Deliver(planes) : Result::kNoPicture;
}

bool VideoCodec::ReceiveNewest() {
  bool received = false;
  while (ReceiveNext())
    received = true;
  return received;
}

// The next picture that may be shown, to m_pFrame, which otherwise stays as it is.
bool VideoCodec::ReceiveNext() {
  while (avcodec_receive_frame(m_pContext.get(), m_pNext.get()) >= 0) {
    // libavcodec's H.264 decoder itself waits for a picture that can be decoded; the others start with
    // anything.
    if (m_pNext->key_frame != 0 || m_pContext->codec_id == AV_CODEC_ID_H264) m_bWaitForKeyFrame = false;
    if (m_bWaitForKeyFrame) continue;
    av_frame_unref(m_pFrame.get());
    av_frame_move_ref(m_pFrame.get(), m_pNext.get());
    return true;
  }
  return false;
}

VideoCodec::Result VideoCodec::Deliver(VideoPlanes& planes) {
  const bool plain = WithoutRange(static_cast<AVPixelFormat>(m_pFrame->format)) == AV_PIX_FMT_YUV420P &&
                     RowsAreReadable(*m_pFrame);
  const AVFrame* frame = plain ? m_pFrame.get() : Convert();
  if (frame == nullptr) return Result::kFailed;
  planes.nWidth = static_cast<uint32_t>(frame->width);
  planes.nHeight = static_cast<uint32_t>(frame->height);
  for (int plane = 0; plane < 3; ++plane) {
    planes.pPlane[plane] = frame->data[plane];
    planes.nStride[plane] = static_cast<uint32_t>(frame->linesize[plane]);
  }
  return Result::kPicture;
}

// m_pFrame as 8-bit 4:2:0 in m_pConverted; null when that is impossible.
const AVFrame* VideoCodec::Convert() {
  const AVFrame& source = *m_pFrame;
  AVFrame& target = *m_pConverted;
  if (target.width != source.width || target.height != source.height) {
    av_frame_unref(&target);
    target.format = AV_PIX_FMT_YUV420P;
    target.width = source.width;
    target.height = source.height;
    if (av_frame_get_buffer(&target, 0) < 0) {
      av_frame_unref(&target);
      return nullptr;
    }
  }
  const AVPixelFormat format = WithoutRange(static_cast<AVPixelFormat>(source.format));
  if (sws_isSupportedInput(format) <= 0) return nullptr;  // else the scaler writes to the standard error
  m_pScaler.reset(sws_getCachedContext(m_pScaler.release(), source.width, source.height, format, target.width,
                                       target.height, AV_PIX_FMT_YUV420P, SWS_BILINEAR, nullptr, nullptr,
                                       nullptr));
  if (!m_pScaler) return nullptr;
  sws_scale(m_pScaler.get(), source.data, source.linesize, 0, source.height, target.data, target.linesize);
  return &target;
}
