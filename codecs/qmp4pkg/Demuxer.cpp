#include "codecs/qmp4pkg/Demuxer.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>

#include "codecs/av/Silence.h"

namespace {

constexpr int kIoBytes = 32 * 1024;
// A damaged file can send the parser back and forth; what it reads is bounded by so many times the file, and
// a little for the smallest ones.
constexpr int64_t kReadings = 4;
constexpr int64_t kReadAlways = 1024 * 1024;

}  // namespace

std::unique_ptr<Demuxer> Demuxer::Open(const InputFile& file, int64_t end) {
  std::unique_ptr<Demuxer> self(new (std::nothrow) Demuxer(file, end));
  return self != nullptr && self->Create() ? std::move(self) : nullptr;
}

bool Demuxer::Create() {
  m_nBudget = std::min(m_File.Size(), INT64_MAX / kReadings - kReadAlways) * kReadings + kReadAlways;
  auto* buffer = static_cast<uint8_t*>(av_malloc(kIoBytes));
  m_pIo = buffer != nullptr ? avio_alloc_context(buffer, kIoBytes, 0, this, Read, nullptr, Seek) : nullptr;
  if (m_pIo == nullptr) av_free(buffer);
  m_pContext = avformat_alloc_context();
  if (m_pIo == nullptr || m_pContext == nullptr) return false;

  // Unlike a codec's, the context of a format has no field that moves its messages to another log level. Its
  // class can name one: here a number that only writing uses.
  m_Class = *m_pContext->av_class;
  m_Class.log_level_offset_offset = offsetof(AVFormatContext, metadata_header_padding);
  m_pContext->av_class = &m_Class;
  m_pContext->metadata_header_padding = kLogSilence;
  m_pContext->pb = m_pIo;
  m_pContext->flags |= AVFMT_FLAG_NOPARSE | AVFMT_FLAG_NOFILLIN;
  m_pContext->io_open = [](AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) {
    return AVERROR(EACCES);
  };
  AVDictionary* options = nullptr;
  av_dict_set(&options, "ignore_chapters", "1", 0);
  const int result = avformat_open_input(&m_pContext, nullptr, av_find_input_format("mp4"), &options);
  av_dict_free(&options);
  return result >= 0;
}

Demuxer::~Demuxer() {
  avformat_close_input(&m_pContext);
  if (m_pIo != nullptr) av_freep(&m_pIo->buffer);
  avio_context_free(&m_pIo);
}

void Demuxer::ParseFragments() {
  for (unsigned i = 0; i < m_pContext->nb_streams; ++i)
    m_pContext->streams[i]->discard = AVDISCARD_ALL;
  AVPacket* const packet = av_packet_alloc();
  // With every frame discarded the first call reaches the end.
  while (packet != nullptr && av_read_frame(m_pContext, packet) >= 0)
    av_packet_unref(packet);
  AVPacket* freed = packet;
  av_packet_free(&freed);
}

int Demuxer::Read(void* opaque, uint8_t* buffer, int bytes) {
  Demuxer& self = *static_cast<Demuxer*>(opaque);
  const int64_t wanted = std::min<int64_t>({bytes, self.m_nEnd - self.m_nPosition, self.m_nBudget});
  if (wanted <= 0) return AVERROR_EOF;
  size_t got = static_cast<size_t>(wanted);
  if (self.m_bZeros)
    std::memset(buffer, 0, got);
  else
    got = self.m_File.ReadSome(self.m_nPosition, buffer, got);
  if (got == 0) return AVERROR_EOF;
  self.m_nPosition += static_cast<int64_t>(got);
  self.m_nBudget -= static_cast<int64_t>(got);
  return static_cast<int>(got);
}

int64_t Demuxer::Seek(void* opaque, int64_t offset, int whence) {
  Demuxer& self = *static_cast<Demuxer*>(opaque);
  if (whence == AVSEEK_SIZE) return self.m_nEnd;
  if ((whence & ~AVSEEK_FORCE) != SEEK_SET || offset < 0) return AVERROR(EINVAL);
  self.m_nPosition = offset;
  return offset;
}
