// Replacements for functions of the C library in this program.
//
// On systems with large files, the headers map the names to the symbols for large files.
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>

#include "tests/faults/crash_states.h"
#include "tests/faults/fault_layer.h"

namespace {

using namespace orvik::test;

template <typename Function>
Function* Next(const char* symbol) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, symbol));
}

bool Fails(Call call) {
  const int error = Judge(call).error;
  if (error != 0) errno = error;
  return error != 0;
}

template <typename... Arguments>
int Pass(Call call, const char* symbol, Arguments... arguments) {
  if (ArmedPlan() != nullptr && Fails(call)) return -1;
  return Next<int(Arguments...)>(symbol)(arguments...);
}

bool IsOn(Volume volume) {
  return ArmedPlan() != nullptr && ArmedPlan()->volume == volume;
}
bool IsPlain() {
  return IsOn(Volume::kPlain) || IsOn(Volume::kBare);
}

template <typename... Arguments>
int PassFlush(const char* symbol, int file, void (CallRecorder::*flushed)(Arguments...),
              Arguments... what) {
  if (ArmedPlan() == nullptr) return Next<int(int)>(symbol)(file);
  if (Fails(Call::kFlush)) return -1;
  Record([&](CallRecorder& recorder) { (recorder.*flushed)(what...); });
  return 0;
}

// Whether the mode of the file denies its owner the permission.
bool IsForbidden(int folder, const char* path, mode_t right) {
  struct stat record;
  return fstatat(folder, path, &record, 0) == 0 && S_ISREG(record.st_mode) &&
         (record.st_mode & right) == 0;
}

bool InOneFolder(int from, std::string_view from_name, int to, std::string_view to_name) {
  const auto folder = [](std::string_view name) { return name.substr(0, name.rfind('/') + 1); };
  return from == to && folder(from_name) == folder(to_name);
}

// The errno with which the open must fail; 0 if it may proceed.
int Refusal(int folder, const char* path, int flags) {
  if (ArmedPlan() == nullptr) return 0;
  if ((flags & O_TMPFILE) == O_TMPFILE && (IsOn(Volume::kNamed) || IsPlain())) {
    return EOPNOTSUPP;
  }
  const bool reads = (flags & O_PATH) == 0 && (flags & O_ACCMODE) != O_WRONLY;
  if (reads && IsForbidden(folder, path, S_IRUSR)) return EACCES;
  const bool makes = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  return Judge(makes ? Call::kMake : Call::kOpen).error;
}

// Reports a successful changing call to the recorder and returns its result.
template <typename Result>
Result Noted(Result result) {
  if (result >= 0) Record([](CallRecorder& recorder) { recorder.Changed(); });
  return result;
}

int PassOpen(int folder, const char* path, int flags, va_list arguments) {
  const bool is_unnamed = (flags & O_TMPFILE) == O_TMPFILE;
  const mode_t mode = (flags & O_CREAT) != 0 || is_unnamed ? va_arg(arguments, mode_t) : 0;
  if (const int error = Refusal(folder, path, flags)) return errno = error, -1;
  const int file = Next<int(int, const char*, int, ...)>("openat64")(folder, path, flags, mode);
  return (flags & (O_CREAT | O_TRUNC)) != 0 && !is_unnamed ? Noted(file) : file;
}

template <typename... Arguments>
ssize_t PassWrite(const char* symbol, int file, const void* bytes, size_t count,
                  Arguments... offset) {
  const auto next = Next<ssize_t(int, const void*, size_t, Arguments...)>(symbol);
  if (ArmedPlan() == nullptr || file <= STDERR_FILENO) return next(file, bytes, count, offset...);
  const Verdict verdict = Judge(Call::kWrite);
  if (verdict.error != 0) return errno = verdict.error, -1;
  if (!verdict.is_short) return Noted(next(file, bytes, count, offset...));
  const ssize_t done = next(file, bytes, (count + 1) / 2, offset...);
  if (ArmedPlan()->fault == Fault::kKill) kill(getpid(), SIGKILL);
  return done;
}

template <Call call = Call::kRead, typename... Arguments>
ssize_t PassRead(const char* symbol, int file, void* bytes, size_t count, Arguments... offset) {
  const Verdict verdict = Judge(call);
  if (verdict.error != 0) return errno = verdict.error, -1;
  const ssize_t done =
      Next<ssize_t(int, void*, size_t, Arguments...)>(symbol)(file, bytes, count, offset...);
  const ssize_t rest = verdict.is_short && done > 0 ? done / 2 : 0;
  const bool is_at_position = sizeof...(offset) == 0;
  return rest != 0 && is_at_position && lseek(file, -rest, SEEK_CUR) < 0 ? done : done - rest;
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const int file = PassOpen(AT_FDCWD, path, flags, arguments);
  va_end(arguments);
  return file;
}
int openat(int folder, const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const int file = PassOpen(folder, path, flags, arguments);
  va_end(arguments);
  return file;
}

int faccessat(int folder, const char* path, int rights, int flags) noexcept {
  if (ArmedPlan() != nullptr && (rights & W_OK) != 0 && IsForbidden(folder, path, S_IWUSR)) {
    return errno = EACCES, -1;
  }
  return Next<int(int, const char*, int, int)>("faccessat")(folder, path, rights, flags);
}

FILE* fopen(const char* path, const char* mode) {
  if (ArmedPlan() != nullptr && Fails(Call::kOpen)) return nullptr;
  return Next<FILE*(const char*, const char*)>("fopen64")(path, mode);
}

// close always closes the descriptor, even if it returns an error.
int close(int file) {
  const int result = Next<int(int)>("close")(file);
  return ArmedPlan() != nullptr && result == 0 && Fails(Call::kClose) ? -1 : result;
}

ssize_t read(int file, void* bytes, size_t count) {
  return PassRead("read", file, bytes, count);
}
ssize_t pread(int file, void* bytes, size_t count, off64_t offset) {
  return PassRead("pread64", file, bytes, count, offset);
}
ssize_t getdents64(int folder, void* entries, size_t count) noexcept {
  return PassRead<Call::kList>("getdents64", folder, entries, count);
}
ssize_t write(int file, const void* bytes, size_t count) {
  return PassWrite("write", file, bytes, count);
}
ssize_t pwrite(int file, const void* bytes, size_t count, off64_t at) {
  return PassWrite("pwrite64", file, bytes, count, at);
}

ssize_t copy_file_range(int from, off64_t* from_at, int to, off64_t* to_at, size_t count,
                        unsigned flags) {
  if (ArmedPlan() != nullptr && Fails(Call::kWrite)) return -1;
  return Noted(Next<ssize_t(int, off64_t*, int, off64_t*, size_t, unsigned)>("copy_file_range")(
      from, from_at, to, to_at, count, flags));
}

int ftruncate(int file, off64_t size) noexcept {
  return Noted(Pass(Call::kMake, "ftruncate64", file, size));
}
int fallocate(int file, int mode, off64_t at, off64_t size) {
  return Noted(Pass(Call::kMake, "fallocate64", file, mode, at, size));
}

// Does not flush, because that takes long and no test can see it.
int fsync(int file) {
  return PassFlush("fsync", file, &CallRecorder::Flushed, file);
}
int syncfs(int file) noexcept {
  return PassFlush("syncfs", file, &CallRecorder::FlushedAll);
}

int flock(int file, int operation) noexcept {
  if (IsOn(Volume::kBare)) return errno = ENOLCK, -1;
  return Pass(Call::kLock, "flock", file, operation);
}
int fcntl(int file, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  if (command == F_OFD_SETLK && IsOn(Volume::kBare)) return errno = ENOLCK, -1;
  if (command == F_OFD_SETLK && ArmedPlan() != nullptr && Fails(Call::kLock)) return -1;
  return Next<int(int, int, ...)>("fcntl64")(file, command, argument);
}
// System calls without a function in the C library.
long syscall(long number, ...) noexcept {
  va_list arguments;
  va_start(arguments, number);
  long values[6];
  for (long& value : values) value = va_arg(arguments, long);
  va_end(arguments);
  if (number == SYS_openat2 && ArmedPlan() != nullptr && Fails(Call::kOpen)) return -1;
  return Next<long(long, ...)>("syscall")(number, values[0], values[1], values[2], values[3],
                                          values[4], values[5]);
}

int renameat(int from, const char* from_name, int to, const char* to_name) noexcept {
  return Noted(Pass(Call::kRename, "renameat", from, from_name, to, to_name));
}
int renameat2(int from, const char* from_name, int to, const char* to_name,
              unsigned flags) noexcept {
  if (IsOn(Volume::kOther) && !InOneFolder(from, from_name, to, to_name)) {
    return errno = EXDEV, -1;
  }
  if (IsPlain() && flags != 0) return errno = EINVAL, -1;
  return Noted(Pass(Call::kRename, "renameat2", from, from_name, to, to_name, flags));
}
int linkat(int from, const char* from_name, int to, const char* to_name, int flags) noexcept {
  if (IsOn(Volume::kBare)) return errno = EPERM, -1;
  return Noted(Pass(Call::kMake, "linkat", from, from_name, to, to_name, flags));
}
int symlinkat(const char* text, int folder, const char* name) noexcept {
  if (IsOn(Volume::kBare)) return errno = EPERM, -1;
  return Noted(Pass(Call::kMake, "symlinkat", text, folder, name));
}
int mkdirat(int folder, const char* name, mode_t mode) noexcept {
  return Noted(Pass(Call::kMake, "mkdirat", folder, name, mode));
}
int unlink(const char* path) noexcept {
  return Noted(Pass(Call::kRemove, "unlink", path));
}
int unlinkat(int folder, const char* name, int flags) noexcept {
  return Noted(Pass(Call::kRemove, "unlinkat", folder, name, flags));
}
int fsetxattr(int file, const char* name, const void* value, size_t size, int flags) noexcept {
  return Pass(Call::kMake, "fsetxattr", file, name, value, size, flags);
}
int fchmod(int file, mode_t mode) noexcept {
  return Noted(Pass(Call::kAttribute, "fchmod", file, mode));
}
int fchown(int file, uid_t owner, gid_t group) noexcept {
  return Pass(Call::kAttribute, "fchown", file, owner, group);
}
int futimens(int file, const timespec times[2]) noexcept {
  constexpr bool kLongTimes = sizeof(time_t) == sizeof(long);
  return Pass(Call::kAttribute, kLongTimes ? "futimens" : "__futimens64", file, times);
}

// The loader keeps this memory. The leak checker knows it by its caller, which is FaultMalloc here.
const char* __lsan_default_suppressions() {
  return "leak:_dl_map_object_deps\n";
}

void* malloc(size_t size) noexcept {
  static void* (*next)(size_t);
  if (next == nullptr) next = Next<void*(size_t)>("malloc");
  return AllocationFails() ? errno = ENOMEM, nullptr : next(size);
}
void* realloc(void* block, size_t size) noexcept {
  static void* (*next)(void*, size_t);
  if (next == nullptr) next = Next<void*(void*, size_t)>("realloc");
  return AllocationFails() ? errno = ENOMEM, nullptr : next(block, size);
}

// libstdc++ and other libraries call these functions by their other names.
int Open32(const char*, int, ...) __asm__("open") __attribute__((alias("open64"), copy(open)));
int OpenAt32(int, const char*, int, ...) __asm__("openat")
    __attribute__((alias("openat64"), copy(openat)));
FILE* Fopen32(const char*, const char*) __asm__("fopen")
    __attribute__((alias("fopen64"), copy(fopen)));
// With 64-bit times on a 32-bit system, fcntl has another name.
int Fcntl32(int, int, ...) __asm__("fcntl");
int Fcntl32(int file, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  return fcntl(file, command, argument);
}

}  // extern "C"

// The symbols of the operators contain the type of sizes.
constexpr bool kLongSizes = std::is_same_v<std::size_t, unsigned long>;

// Passes on to the operators of the sanitizer or the library, so that their checks still work. The
// library's operator calls malloc, which does not count as a second allocation.
template <typename... Tag>
void* PassNew(void* (*next)(std::size_t, Tag...), std::size_t size, Tag... tag) {
  if (AllocationFails()) {
    if constexpr (sizeof...(Tag) > 0) return nullptr;
    throw std::bad_alloc();
  }
  const Paused paused;
  return next(size, tag...);
}

using Quiet = const std::nothrow_t&;
void* operator new(std::size_t size) {
  static auto* const next = Next<void*(std::size_t)>(kLongSizes ? "_Znwm" : "_Znwj");
  return PassNew<>(next, size);
}
void* operator new[](std::size_t size) {
  static auto* const next = Next<void*(std::size_t)>(kLongSizes ? "_Znam" : "_Znaj");
  return PassNew<>(next, size);
}
void* operator new(std::size_t size, Quiet tag) noexcept {
  static auto* const next =
      Next<void*(std::size_t, Quiet)>(kLongSizes ? "_ZnwmRKSt9nothrow_t" : "_ZnwjRKSt9nothrow_t");
  return PassNew<Quiet>(next, size, tag);
}
void* operator new[](std::size_t size, Quiet tag) noexcept {
  static auto* const next =
      Next<void*(std::size_t, Quiet)>(kLongSizes ? "_ZnamRKSt9nothrow_t" : "_ZnajRKSt9nothrow_t");
  return PassNew<Quiet>(next, size, tag);
}
