// The C library's entry points of this program.
//
// Each is defined under a name of its own with the library's symbol, so that no header's
// declaration (which may mean another symbol) is in the way.
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/syscall.h>
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

using orvik::test::ArmedPlan;
using orvik::test::Call;
using orvik::test::CallRecorder;
using orvik::test::Fault;
using orvik::test::Judge;
using orvik::test::Record;
using orvik::test::Verdict;
using orvik::test::Volume;

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

// Whether the owner of the file lacks the right.
bool IsForbidden(int folder, const char* path, mode_t right) {
  struct stat record;
  return fstatat(folder, path, &record, 0) == 0 && S_ISREG(record.st_mode) &&
         (record.st_mode & right) == 0;
}

bool InOneFolder(int from, std::string_view from_name, int to, std::string_view to_name) {
  const auto folder = [](std::string_view name) { return name.substr(0, name.rfind('/') + 1); };
  return from == to && folder(from_name) == folder(to_name);
}

// 0 when the open may go on.
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

mode_t ModeArgument(int flags, va_list arguments) {
  return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE ? va_arg(arguments, mode_t) : 0;
}

// The result of a call that changes something; told to the recorder when it succeeded.
template <typename Result>
Result Noted(Result result) {
  if (result >= 0) Record([](CallRecorder& recorder) { recorder.Changed(); });
  return result;
}

int NotedOpen(int file, int flags) {
  const bool is_unnamed = (flags & O_TMPFILE) == O_TMPFILE;
  return (flags & (O_CREAT | O_TRUNC)) != 0 && !is_unnamed ? Noted(file) : file;
}

template <typename... Arguments>
ssize_t PassWrite(const char* symbol, int file, const void* bytes, size_t count,
                  Arguments... offset) {
  const auto next = Next<ssize_t(int, const void*, size_t, Arguments...)>(symbol);
  if (ArmedPlan() == nullptr || file <= STDERR_FILENO) return next(file, bytes, count, offset...);
  const Verdict verdict = Judge(Call::kWrite);
  if (verdict.error != 0) {
    errno = verdict.error;
    return -1;
  }
  if (!verdict.short_write) {
    return Noted(next(file, bytes, count, offset...));
  }
  const ssize_t done = next(file, bytes, (count + 1) / 2, offset...);
  if (ArmedPlan()->fault == Fault::kKill) kill(getpid(), SIGKILL);
  return done;
}

template <Call call = Call::kRead, typename... Arguments>
ssize_t PassRead(const char* symbol, int file, void* bytes, size_t count, Arguments... offset) {
  if (ArmedPlan() != nullptr && Fails(call)) return -1;
  return Next<ssize_t(int, void*, size_t, Arguments...)>(symbol)(file, bytes, count, offset...);
}

// ---- Buffered files, whose calls inside the C library no program sees ----

int FileOf(void* cookie) {
  return static_cast<int>(reinterpret_cast<intptr_t>(cookie));
}

ssize_t CookieRead(void* cookie, char* bytes, size_t count) {
  return read(FileOf(cookie), bytes, count);
}

ssize_t CookieWrite(void* cookie, const char* bytes, size_t count) {
  size_t done = 0;
  while (done < count) {
    const ssize_t written = write(FileOf(cookie), bytes + done, count - done);
    if (written < 0) break;
    done += static_cast<size_t>(written);
  }
  return static_cast<ssize_t>(done);
}

int CookieSeek(void* cookie, off64_t* position, int whence) {
  *position = lseek64(FileOf(cookie), *position, whence);
  return *position < 0 ? -1 : 0;
}

int CookieClose(void* cookie) {
  return close(FileOf(cookie));
}

FILE* OpenForWriting(const char* path, std::string_view mode) {
  const auto has = [mode](char letter) { return mode.find(letter) != std::string_view::npos; };
  const int flags = (has('+') ? O_RDWR : O_WRONLY) | O_CREAT | (has('a') ? O_APPEND : O_TRUNC) |
                    (has('x') ? O_EXCL : 0);
  const int file = open(path, flags, 0666);
  if (file < 0) return nullptr;
  FILE* const stream = fopencookie(reinterpret_cast<void*>(static_cast<intptr_t>(file)),
                                   mode.data(), {CookieRead, CookieWrite, CookieSeek, CookieClose});
  if (stream == nullptr) close(file);
  return stream;
}

}  // namespace

extern "C" {

int FaultOpen(const char* path, int flags, ...) __asm__("open64");
int FaultOpenAt(int folder, const char* path, int flags, ...) __asm__("openat64");
int FaultAccess(int folder, const char* path, int rights, int flags) __asm__("faccessat");
FILE* FaultFopen(const char* path, const char* mode) __asm__("fopen64");
int FaultClose(int file) __asm__("close");
ssize_t FaultRead(int file, void* bytes, size_t count) __asm__("read");
ssize_t FaultPread(int file, void* bytes, size_t count, off64_t offset) __asm__("pread64");
ssize_t FaultGetEntries(int folder, void* entries, size_t count) __asm__("getdents64");
ssize_t FaultWrite(int file, const void* bytes, size_t count) __asm__("write");
ssize_t FaultPwrite(int file, const void* bytes, size_t count, off64_t at) __asm__("pwrite64");
ssize_t FaultCopyRange(int from, off64_t* from_at, int to, off64_t* to_at, size_t count,
                       unsigned flags) __asm__("copy_file_range");
int FaultTruncate(int file, off64_t size) __asm__("ftruncate64");
int FaultAllocate(int file, int mode, off64_t at, off64_t size) __asm__("fallocate64");
int FaultFsync(int file) __asm__("fsync");
int FaultSyncfs(int file) __asm__("syncfs");
int FaultFlock(int file, int operation) __asm__("flock");
int FaultFcntl(int file, int command, ...) __asm__("fcntl64");
long FaultSyscall(long number, ...) __asm__("syscall");
int FaultRename(const char* from, const char* to) __asm__("rename");
int FaultRenameAt(int from, const char* from_name, int to, const char* to_name) __asm__("renameat");
int FaultRenameAt2(int from, const char* from_name, int to, const char* to_name,
                   unsigned flags) __asm__("renameat2");
int FaultLinkAt(int from, const char* from_name, int to, const char* to_name,
                int flags) __asm__("linkat");
int FaultSymlinkAt(const char* text, int folder, const char* name) __asm__("symlinkat");
int FaultMkdir(const char* path, mode_t mode) __asm__("mkdir");
int FaultMkdirAt(int folder, const char* name, mode_t mode) __asm__("mkdirat");
int FaultUnlink(const char* path) __asm__("unlink");
int FaultUnlinkAt(int folder, const char* name, int flags) __asm__("unlinkat");
int FaultFsetxattr(int file, const char* name, const void* value, size_t size,
                   int flags) __asm__("fsetxattr");
int FaultFchmod(int file, mode_t mode) __asm__("fchmod");
int FaultFchown(int file, uid_t owner, gid_t group) __asm__("fchown");
int FaultFutimens(int file, const timespec times[2]) __asm__("futimens");
void* FaultMalloc(size_t size) __asm__("malloc");
void* FaultRealloc(void* block, size_t size) __asm__("realloc");

int FaultOpen(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeArgument(flags, arguments);
  va_end(arguments);
  if (const int error = Refusal(AT_FDCWD, path, flags)) return errno = error, -1;
  return NotedOpen(Next<int(const char*, int, ...)>("open64")(path, flags, mode), flags);
}

int FaultOpenAt(int folder, const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeArgument(flags, arguments);
  va_end(arguments);
  if (const int error = Refusal(folder, path, flags)) return errno = error, -1;
  return NotedOpen(Next<int(int, const char*, int, ...)>("openat64")(folder, path, flags, mode),
                   flags);
}

int FaultAccess(int folder, const char* path, int rights, int flags) {
  if (ArmedPlan() != nullptr && (rights & W_OK) != 0 && IsForbidden(folder, path, S_IWUSR)) {
    return errno = EACCES, -1;
  }
  return Next<int(int, const char*, int, int)>("faccessat")(folder, path, rights, flags);
}

FILE* FaultFopen(const char* path, const char* mode) {
  if (ArmedPlan() != nullptr && mode[0] != 'r') return OpenForWriting(path, mode);
  if (ArmedPlan() != nullptr && Fails(Call::kOpen)) return nullptr;
  return Next<FILE*(const char*, const char*)>("fopen64")(path, mode);
}

// A descriptor is gone after a close, whatever that answers.
int FaultClose(int file) {
  const int result = Next<int(int)>("close")(file);
  return ArmedPlan() != nullptr && result == 0 && Fails(Call::kClose) ? -1 : result;
}

ssize_t FaultRead(int file, void* bytes, size_t count) {
  return PassRead("read", file, bytes, count);
}
ssize_t FaultPread(int file, void* bytes, size_t count, off64_t offset) {
  return PassRead("pread64", file, bytes, count, offset);
}
ssize_t FaultGetEntries(int folder, void* entries, size_t count) {
  return PassRead<Call::kList>("getdents64", folder, entries, count);
}
ssize_t FaultWrite(int file, const void* bytes, size_t count) {
  return PassWrite("write", file, bytes, count);
}
ssize_t FaultPwrite(int file, const void* bytes, size_t count, off64_t at) {
  return PassWrite("pwrite64", file, bytes, count, at);
}

ssize_t FaultCopyRange(int from, off64_t* from_at, int to, off64_t* to_at, size_t count,
                       unsigned flags) {
  if (ArmedPlan() != nullptr && Fails(Call::kWrite)) return -1;
  return Noted(Next<ssize_t(int, off64_t*, int, off64_t*, size_t, unsigned)>("copy_file_range")(
      from, from_at, to, to_at, count, flags));
}

int FaultTruncate(int file, off64_t size) {
  return Noted(Pass(Call::kMake, "ftruncate64", file, size));
}
int FaultAllocate(int file, int mode, off64_t at, off64_t size) {
  return Noted(Pass(Call::kMake, "fallocate64", file, mode, at, size));
}

// What is flushed is of no interest to a test, and takes long.
int FaultFsync(int file) {
  if (ArmedPlan() == nullptr) return Next<int(int)>("fsync")(file);
  if (Fails(Call::kFlush)) return -1;
  Record([file](CallRecorder& recorder) { recorder.Flushed(file); });
  return 0;
}
int FaultSyncfs(int file) {
  if (ArmedPlan() == nullptr) return Next<int(int)>("syncfs")(file);
  if (Fails(Call::kFlush)) return -1;
  Record([](CallRecorder& recorder) { recorder.FlushedAll(); });
  return 0;
}

int FaultFlock(int file, int operation) {
  if (IsOn(Volume::kBare)) return errno = ENOLCK, -1;
  return Pass(Call::kLock, "flock", file, operation);
}
int FaultFcntl(int file, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  if (command == F_OFD_SETLK && IsOn(Volume::kBare)) return errno = ENOLCK, -1;
  if (command == F_OFD_SETLK && ArmedPlan() != nullptr && Fails(Call::kLock)) return -1;
  return Next<int(int, int, ...)>("fcntl64")(file, command, argument);
}
// What has no function of its own in the C library.
long FaultSyscall(long number, ...) {
  va_list arguments;
  va_start(arguments, number);
  long values[6];
  for (long& value : values) value = va_arg(arguments, long);
  va_end(arguments);
  if (number == SYS_openat2 && ArmedPlan() != nullptr && Fails(Call::kOpen)) return -1;
  return Next<long(long, ...)>("syscall")(number, values[0], values[1], values[2], values[3],
                                          values[4], values[5]);
}

int FaultRename(const char* from, const char* to) {
  return Noted(Pass(Call::kRename, "rename", from, to));
}
int FaultRenameAt(int from, const char* from_name, int to, const char* to_name) {
  return Noted(Pass(Call::kRename, "renameat", from, from_name, to, to_name));
}
int FaultRenameAt2(int from, const char* from_name, int to, const char* to_name, unsigned flags) {
  if (IsOn(Volume::kOther) && !InOneFolder(from, from_name, to, to_name)) {
    return errno = EXDEV, -1;
  }
  if (IsPlain() && flags != 0) return errno = EINVAL, -1;
  return Noted(Pass(Call::kRename, "renameat2", from, from_name, to, to_name, flags));
}
int FaultLinkAt(int from, const char* from_name, int to, const char* to_name, int flags) {
  if (IsOn(Volume::kBare)) return errno = EPERM, -1;
  return Noted(Pass(Call::kMake, "linkat", from, from_name, to, to_name, flags));
}
int FaultSymlinkAt(const char* text, int folder, const char* name) {
  if (IsOn(Volume::kBare)) return errno = EPERM, -1;
  return Noted(Pass(Call::kMake, "symlinkat", text, folder, name));
}
int FaultMkdir(const char* path, mode_t mode) {
  return Noted(Pass(Call::kMake, "mkdir", path, mode));
}
int FaultMkdirAt(int folder, const char* name, mode_t mode) {
  return Noted(Pass(Call::kMake, "mkdirat", folder, name, mode));
}
int FaultUnlink(const char* path) {
  return Noted(Pass(Call::kRemove, "unlink", path));
}
int FaultUnlinkAt(int folder, const char* name, int flags) {
  return Noted(Pass(Call::kRemove, "unlinkat", folder, name, flags));
}
int FaultFsetxattr(int file, const char* name, const void* value, size_t size, int flags) {
  return Pass(Call::kMake, "fsetxattr", file, name, value, size, flags);
}
int FaultFchmod(int file, mode_t mode) {
  return Noted(Pass(Call::kAttribute, "fchmod", file, mode));
}
int FaultFchown(int file, uid_t owner, gid_t group) {
  return Pass(Call::kAttribute, "fchown", file, owner, group);
}
int FaultFutimens(int file, const timespec times[2]) {
  return Pass(Call::kAttribute, "futimens", file, times);
}

// Memory that the loader keeps. The leak checker knows it by its caller, which here is FaultMalloc.
const char* __lsan_default_suppressions() {
  return "leak:_dl_map_object_deps\n";
}

void* FaultMalloc(size_t size) {
  static void* (*next)(size_t);
  if (next == nullptr) next = Next<void*(size_t)>("malloc");
  if (orvik::test::AllocationFails()) return errno = ENOMEM, nullptr;
  return next(size);
}
void* FaultRealloc(void* block, size_t size) {
  static void* (*next)(void*, size_t);
  if (next == nullptr) next = Next<void*(void*, size_t)>("realloc");
  if (orvik::test::AllocationFails()) return errno = ENOMEM, nullptr;
  return next(block, size);
}

// libstdc++ and others call these by their other names.
int FaultOpen32(const char*, int, ...) __asm__("open") __attribute__((alias("open64")));
int FaultOpenAt32(int, const char*, int, ...) __asm__("openat") __attribute__((alias("openat64")));
int FaultFcntl32(int, int, ...) __asm__("fcntl") __attribute__((alias("fcntl64")));
FILE* FaultFopen32(const char*, const char*) __asm__("fopen") __attribute__((alias("fopen64")));

}  // extern "C"

// The operators' symbols name the type of sizes.
constexpr bool kLongSizes = std::is_same_v<std::size_t, unsigned long>;

// The sanitizer's or the library's own operators do the work, so that what checks them still does.
// The library's calls malloc, which is no second allocation.
void* operator new(std::size_t size) {
  static auto* const next = Next<void*(std::size_t)>(kLongSizes ? "_Znwm" : "_Znwj");
  if (orvik::test::AllocationFails()) throw std::bad_alloc();
  const orvik::test::Paused paused;
  return next(size);
}
void* operator new[](std::size_t size) {
  static auto* const next = Next<void*(std::size_t)>(kLongSizes ? "_Znam" : "_Znaj");
  if (orvik::test::AllocationFails()) throw std::bad_alloc();
  const orvik::test::Paused paused;
  return next(size);
}
void* operator new(std::size_t size, const std::nothrow_t& tag) noexcept {
  static auto* const next = Next<void*(std::size_t, const std::nothrow_t&)>(
      kLongSizes ? "_ZnwmRKSt9nothrow_t" : "_ZnwjRKSt9nothrow_t");
  if (orvik::test::AllocationFails()) return nullptr;
  const orvik::test::Paused paused;
  return next(size, tag);
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  static auto* const next = Next<void*(std::size_t, const std::nothrow_t&)>(
      kLongSizes ? "_ZnamRKSt9nothrow_t" : "_ZnajRKSt9nothrow_t");
  if (orvik::test::AllocationFails()) return nullptr;
  const orvik::test::Paused paused;
  return next(size, tag);
}
