// One video decoder of libavcodec, set up for cameras: one thread, no delay beyond what the stream's
// reordering needs, 8-bit 4:2:0 out.
#pragma once

#include <cstdint>
#include <memory>

#include "codecs/av/AvOwners.h"
#include "codecs/av/PaddedInput.h"
#include "codecs/av/PicturePool.h"

struct SwsContext;

// One decoded picture. The planes belong to the codec and stay valid until its next call.
struct VideoPlanes {
  uint32_t nWidth = 0;  // pixels
  uint32_t nHeight = 0;
  const uint8_t* pPlane[3] =
      {};                    // luma, Cb, Cr; readable: luma stride x height, chroma stride x height / 2 bytes
  uint32_t nStride[3] = {};  // bytes per row
};

// No lock: one call at a time.
class VideoCodec {
 public:
  enum class Result { kPicture, kNoPicture, kFailed };

  // Null when the codec is missing or memory is exhausted. libavcodec's own decoder, 850 KB before its first
  // frame, is opened by that frame: to many players nothing may come.
  static std::unique_ptr<VideoCodec> Create(AVCodecID codecId);

  // Decodes one access unit. kFailed: it was unusable and completed no picture; later ones may still be
  // decoded.
  Result Decode(const uint8_t* data, uint32_t size, VideoPlanes& planes);
  // The next picture that is held back for reordering. Decoding goes on at the next key frame afterwards.
  Result Drain(VideoPlanes& planes);

 private:
  struct ScalerFree {
    void operator()(SwsContext* scaler) const;
  };

  explicit VideoCodec(const AVCodec* codec) : m_pCodec(codec) {}
  bool Open();
  bool ReceiveNewest();
  bool ReceiveNext();
  Result Deliver(VideoPlanes& planes);
  const AVFrame* Convert();

  const AVCodec* const m_pCodec;
  PicturePool m_Pictures;  // before the context, which refers to it
  AvContext m_pContext;    // null before the first frame
  PaddedInput m_Input;
  AvFrame m_pFrame;  // the picture handed out, in the codec's memory
  AvFrame m_pNext;
  AvFrame m_pConverted;  // the picture handed out when m_pFrame is not plain 4:2:0
  std::unique_ptr<SwsContext, ScalerFree> m_pScaler;
  // Pictures without their references are noise: none is handed out before the first complete one.
  bool m_bWaitForKeyFrame = true;
  bool m_bDraining = false;
};
