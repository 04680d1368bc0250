#include "text/unicode_library.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>

// Exists in programs that link ICU (linked_icu.cpp).
extern "C" [[gnu::weak]] void* orvik_linked_icu(const char* name);

namespace orvik {

namespace {

[[noreturn]] void Fail(const char* name) {
  for (const char* const part : {"ICU: ", name, " cannot be loaded. Install the library of ICU ",
                                 U_ICU_VERSION_SHORT, ".\n"}) {
    if (write(STDERR_FILENO, part, std::strlen(part)) < 0) break;
  }
  _exit(127);
}

}  // namespace

// The loader counts the references to a library and looks up its functions under its own lock. The
// references are never released, so the pointers to functions stay valid.
void* FindIcuFunction(IcuLibrary library, const char* name) {
  const char* const file = library == IcuLibrary::kCommon ? "libicuuc.so." U_ICU_VERSION_SHORT
                                                          : "libicui18n.so." U_ICU_VERSION_SHORT;
  if (orvik_linked_icu != nullptr) {
    void* const linked = orvik_linked_icu(name);
    if (linked == nullptr) Fail(name);
    return linked;
  }
  errno = 0;
  void* const handle = dlopen(file, RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr && errno == ENOMEM) throw std::bad_alloc();
  if (handle == nullptr) Fail(file);
  void* const function = dlsym(handle, name);
  if (function == nullptr) Fail(name);
  return function;
}

}  // namespace orvik
