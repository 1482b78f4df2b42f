// Shared libraries that are loaded by name at run time.
#include <dlfcn.h>

#include <algorithm>
#include <string_view>

#include "platform/Kernel.h"
#include "platform/posix/KernelSeam.h"

namespace {

// "QImageP.dll" is libqimagep.so here. Empty when the name does not fit.
struct NativeName {
  explicit NativeName(std::string_view name) {
    constexpr std::string_view kEnding = ".dll";
    if (name.ends_with(kEnding)) name.remove_suffix(kEnding.size());
    const auto toLower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    if (name.size() > sizeof szText - sizeof "lib.so") return;
    char* end = std::copy_n("lib", 3, szText);
    end = std::ranges::transform(name, end, toLower).out;
    std::copy_n(".so", sizeof ".so", end);
  }

  char szText[64] = {};
};

}  // namespace

namespace platform {

void* KernelSeam::LoadLibrary(const char* name) {
  const NativeName native(name);
  return native.szText[0] != '\0' ? dlopen(native.szText, RTLD_NOW | RTLD_LOCAL) : nullptr;
}

void (*KernelSeam::FindFunction(void* module, const char* name))() {
  return reinterpret_cast<void (*)()>(dlsym(module, name));
}

bool KernelSeam::FreeLibrary(void* module) {
  return dlclose(module) == 0;
}

}  // namespace platform

HMODULE LoadLibraryA(const char* name) {
  return platform::CurrentKernelSeam().LoadLibrary(name);
}

FARPROC GetProcAddress(HMODULE module, const char* name) {
  return platform::CurrentKernelSeam().FindFunction(module, name);
}

BOOL FreeLibrary(HMODULE module) {
  return platform::CurrentKernelSeam().FreeLibrary(module) ? TRUE : FALSE;
}
