// An anonymous file, mapped here and handed to the X server.
#include "platform/posix/X11SharedMemory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <xcb/shm.h>

#include <cerrno>
#include <new>

#include "platform/posix/SigpipeBlock.h"
#include "platform/posix/X11Reply.h"

namespace platform {
namespace {

// Maps a new file of this size. Its pages are taken from the system here, because one that is missing later
// would end the process. Null, with the file closed, when that fails.
void* MapNewFile(size_t byteCount, int& file) {
  file = memfd_create("qxsdkp-screen", MFD_CLOEXEC);
  if (file < 0) return nullptr;
  int error = 0;
  do {
    error = posix_fallocate(file, 0, static_cast<off_t>(byteCount));
  } while (error == EINTR);
  if (error == 0) {
    void* const mapped = mmap(nullptr, byteCount, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (mapped != MAP_FAILED) return mapped;
  }
  close(file);
  return nullptr;
}

}  // namespace

std::unique_ptr<SurfaceMemory> X11SharedMemory::Create(X11Connection& connection, size_t byteCount) {
  const SigpipeBlock noSignal;
  int file;
  void* const mapped = MapNewFile(byteCount, file);
  if (mapped == nullptr) return nullptr;

  xcb_connection_t* const xcb = connection.Xcb();
  const uint32_t segment = xcb_generate_id(xcb);
  constexpr uint8_t kServerReadsOnly = 1;
  const auto attach = xcb_shm_attach_fd_checked(xcb, segment, file, kServerReadsOnly);  // closes the file
  const bool refused = OwnReply(xcb_request_check(xcb, attach)) != nullptr;
  std::unique_ptr<SurfaceMemory> memory;
  if (!refused && connection.IsAlive()) {
    memory.reset(new (std::nothrow) X11SharedMemory(connection, mapped, byteCount, segment));
  }
  if (memory == nullptr) munmap(mapped, byteCount);
  return memory;
}

X11SharedMemory::X11SharedMemory(X11Connection& connection, void* mapped, size_t byteCount, uint32_t segment)
    : m_pConnection(Share(&connection)), m_nMappedBytes(byteCount) {
  m_pBytes = static_cast<uint8_t*>(mapped);
  m_nServerSegment = segment;
}

X11SharedMemory::~X11SharedMemory() {
  const SigpipeBlock noSignal;
  xcb_connection_t* const xcb = m_pConnection->Xcb();
  xcb_shm_detach(xcb, m_nServerSegment);
  xcb_flush(xcb);
  munmap(m_pBytes, m_nMappedBytes);
}

}  // namespace platform
