// The silent device.
#include "platform/posix/NullSound.h"

#include <new>

namespace platform {
namespace {

class NullOutput final : public SoundOutput {
 public:
  explicit NullOutput(const SoundLoop& loop) : m_Loop(loop) {}

  HRESULT Start(uint32_t position) override {
    Seek(position);
    return DS_OK;
  }
  void Stop() override {}
  Cursors Position() override {
    const uint64_t frames =
        FramesIn(SoundTicks() - m_llStart, m_Loop.Format().samplesPerSec) % m_Loop.Frames();
    const auto bytes = static_cast<uint32_t>(frames * m_Loop.Format().FrameBytes());
    const uint32_t toEnd = m_Loop.Bytes() - m_nStart;
    const uint32_t position = bytes < toEnd ? m_nStart + bytes : bytes - toEnd;
    return {position, position};
  }
  void Seek(uint32_t position) override {
    m_nStart = position;
    m_llStart = SoundTicks();
  }

 private:
  const SoundLoop& m_Loop;
  uint32_t m_nStart = 0;  // position at m_llStart
  int64_t m_llStart = 0;  // 100 ns
};

}  // namespace

std::unique_ptr<SoundOutput> NullSound::CreateOutput(const SoundLoop& loop) {
  return std::unique_ptr<SoundOutput>(new (std::nothrow) NullOutput(loop));
}

}  // namespace platform
