// Shared libraries that are loaded by name at run time.
#include <dlfcn.h>

#include <string>

#include "platform/Kernel.h"
#include "platform/posix/KernelSeam.h"

namespace {

// "QImageP.dll" is libqimagep.so here.
std::string NativeName(std::string_view name) {
  constexpr std::string_view kEnding = ".dll";
  if (name.ends_with(kEnding)) name.remove_suffix(kEnding.size());
  std::string native = "lib";
  for (const char c : name)
    native += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return native + ".so";
}

}  // namespace

namespace platform {

void* KernelSeam::LoadLibrary(const char* name) {
  return dlopen(NativeName(name).c_str(), RTLD_NOW | RTLD_LOCAL);
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
