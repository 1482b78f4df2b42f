#include "video/ImageProc.h"

#include <mutex>
#include <shared_mutex>
#include <utility>

#include "platform/CrashGuard.h"
#include "platform/Kernel.h"
#include "src/kitc/Log.h"

namespace {

constexpr char kSource[] = "Player.cpp";

// What the processing does is the library's; hosts have always used these.
constexpr QXI_Parameters kParameters = {.nRadius = 8, .fStrength = 1.3F};
constexpr uint32_t kVersion = 1;

struct Library {
  HMODULE hModule = nullptr;
  decltype(&::QXI_InitSDK) InitSDK = nullptr;
  decltype(&::QXI_ReleaseSDK) ReleaseSDK = nullptr;
  decltype(&::QXI_Create) Create = nullptr;
  decltype(&::QXI_Release) Release = nullptr;
  decltype(&::QXI_Do) Do = nullptr;

  bool IsComplete() const {
    return InitSDK != nullptr && ReleaseSDK != nullptr && Create != nullptr && Release != nullptr &&
           Do != nullptr;
  }
};

// Held while the library is loaded and unloaded; shared while its functions are called.
std::shared_mutex g_LibraryMutex;
Library g_Library;      // guarded by g_LibraryMutex
uint32_t g_nLoads = 0;  // guarded by g_LibraryMutex

template <typename Function>
void Find(HMODULE module, const char* name, Function*& function) {
  function = reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

// With g_LibraryMutex held alone.
void Unload() {
  const Library library = std::exchange(g_Library, Library());
  if (library.ReleaseSDK != nullptr) platform::RunGuarded([&] { library.ReleaseSDK(); });
  if (library.hModule != nullptr) FreeLibrary(library.hModule);
}

}  // namespace

bool ImageProc::InitSDK() {
  const std::unique_lock hold(g_LibraryMutex);
  Unload();
  ++g_nLoads;
  Library& library = g_Library;
  library.hModule = LoadLibraryA("QImageP.dll");
  if (library.hModule == nullptr) return false;
  Find(library.hModule, "QXI_InitSDK", library.InitSDK);
  Find(library.hModule, "QXI_ReleaseSDK", library.ReleaseSDK);
  Find(library.hModule, "QXI_Create", library.Create);
  Find(library.hModule, "QXI_Release", library.Release);
  Find(library.hModule, "QXI_Do", library.Do);
  int32_t result = -1;
  if (library.IsComplete()) platform::RunGuarded([&] { result = library.InitSDK(kVersion); });
  if (result < 0) Unload();
  return result >= 0;
}

void ImageProc::ReleaseSDK() {
  const std::unique_lock hold(g_LibraryMutex);
  Unload();
}

bool ImageProc::SetImageProc(bool enable) {
  if (!enable) {
    bEnabled = false;
    return true;
  }
  const std::shared_lock hold(g_LibraryMutex);
  if (g_Library.Create == nullptr) return false;
  if (m_nLoad != g_nLoads) hProc = nullptr;  // went with the library that made it
  if (hProc == nullptr && !platform::RunGuarded([this] { hProc = g_Library.Create(); })) hProc = nullptr;
  m_nLoad = g_nLoads;
  bEnabled = hProc != nullptr;
  return bEnabled;
}

bool ImageProc::Process(DecodedPicture& picture, uint32_t nPlayerID) {
  if (!bEnabled || picture.nPixelFormat != QPF_YV12) return false;
  const std::shared_lock hold(g_LibraryMutex);
  if (hProc == nullptr || g_Library.Do == nullptr || m_nLoad != g_nLoads) return false;
  QXI_Picture input = {.nWidth = picture.nWidth, .nHeight = picture.nHeight, .nStride = {}, .pPlane = {}};
  for (int plane = 0; plane < 3; ++plane) {
    input.nStride[plane] = picture.nStride[plane];
    input.pPlane[plane] = picture.pPlane[plane];
  }
  const QXI_Picture* output = nullptr;
  int32_t result = -1;
  if (!platform::RunGuarded([&] { result = g_Library.Do(hProc, &output, &input, &kParameters); })) {
    // What a crash left behind is not touched again.
    hProc = nullptr;
    bEnabled = false;
    kitc_log(kLogError, kSource, __LINE__, "QXI_Do crash,decodeid:%d\n", static_cast<int>(nPlayerID));
    return false;
  }
  if (result != 0 || output == nullptr) return false;
  const uint8_t* const* planes = output->pPlane;
  if (planes[0] == nullptr || planes[1] == nullptr || planes[2] == nullptr) return false;
  for (int plane = 0; plane < 3; ++plane) {
    picture.nStride[plane] = output->nStride[plane];
    picture.pPlane[plane] = const_cast<uint8_t*>(planes[plane]);
  }
  return true;
}

void ImageProc::Release() {
  bEnabled = false;
  const QXI_Handle handle = std::exchange(hProc, nullptr);
  if (handle == nullptr) return;
  const std::shared_lock hold(g_LibraryMutex);
  if (m_nLoad == g_nLoads && g_Library.Release != nullptr)
    platform::RunGuarded([&] { g_Library.Release(handle); });
}
