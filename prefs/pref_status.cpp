#include "prefs/pref_status.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <ostream>
#include <tuple>
#include <utility>

#include "platform/core_foundation/errno_status.h"

namespace orvik {

PrefStatus PrefStatusFromErrno(int error, std::string path, PrefError otherwise) {
  if (error == 0) return PrefStatus::Ok();
  static constexpr std::tuple<int, PrefError, bool> kMeanings[] = {
      // Error number, meaning, and whether reading can also give that meaning.
      {EFBIG, PrefError::kTooLarge, true},      {ENOTDIR, PrefError::kInTheWay, true},
      {ELOOP, PrefError::kInTheWay, true},      {ENOSPC, PrefError::kDiskFull, false},
      {EDQUOT, PrefError::kDiskFull, false},    {EROFS, PrefError::kReadOnly, false},
      {EACCES, PrefError::kNotPermitted, false}};
  PrefError meaning = otherwise;
  for (const auto& [number, known, is_of_reading] : kMeanings) {
    if (number == error && (is_of_reading || otherwise != PrefError::kUnreadable)) meaning = known;
  }
  if (error == EPERM) meaning = path.empty() ? PrefError::kNotPermitted : PrefError::kForeignLink;
  return {.error = meaning,
          .system_status = host::StatusFromErrno(error),
          .path = std::move(path),
          .error_number = error};
}

namespace {

// In lower case; "unknown error" for a status without a known error number, "" for 0.
const char* StatusText(OSStatus status) {
  static constexpr std::pair<OSStatus, const char*> kTexts[] = {
      {noErr, ""},
      {unimpErr, "not supported by the volume"},
      {dskFulErr, "no room on the volume"},
      {ioErr, "input or output error"},
      {bdNamErr, "bad or too long name"},
      {tmfoErr, "too many open files"},
      {fnfErr, "no such file or folder"},
      {vLckdErr, "volume is read-only"},
      {fBsyErr, "file is in use or a mount point, or folder is not empty"},
      {dupFNErr, "name is taken"},
      {paramErr, "bad parameter"},
      {rfNumErr, "no such open file"},
      {memFullErr, "no memory"},
      {dirNFErr, "no such folder"},
      {notAFileErr, "not a file"},
      {diffVolErr, "on another volume"},
      {fileBoundsErr, "file too large"},
      {errFSForkNotFound, "no such fork"},
      {coreFoundationUnknownErr, "unknown reason"},
      {afpAccessDenied, "no permission"},
  };
  for (const auto& [known, text] : kTexts) {
    if (known == status) return text;
  }
  return "unknown error";
}

constexpr std::pair<PrefError, const char*> kReasons[] = {
    {PrefError::kNone, ""},
    {PrefError::kNotFound, "not found"},
    {PrefError::kNotAKey, "the key path leads through a value, not a key"},
    {PrefError::kConditionNotMet, "the present value is not the expected one"},
    {PrefError::kLockNotObtained, "another process holds the lock"},
    {PrefError::kRefusedDomain, "the domain cannot name a preference file"},
    {PrefError::kUnknownScope, "unknown scope"},
    {PrefError::kDamaged, "the file is not a property list"},
    {PrefError::kRootNotDictionary, "the file is a property list without entries"},
    {PrefError::kUnreadable, "the file cannot be read: "},
    {PrefError::kNotSerializable, "the value cannot be kept in a property list"},
    {PrefError::kNotPermitted, "no right to write the file or its folder"},
    {PrefError::kReadOnly, "the volume is read-only"},
    {PrefError::kDiskFull, "no room on the volume"},
    {PrefError::kNotSaved, "the file cannot be saved: "},
    {PrefError::kIsAKey, "a key has this name"},
    {PrefError::kIsAValue, "a value has this name"},
    {PrefError::kEmptyPath, "the key path is empty"},
    {PrefError::kTooLarge,
     "the file is too large (a property list has at most 512 MiB, written out)"},
    {PrefError::kForeignLink, "a link of another user is in the way"},
    {PrefError::kInTheWay, "something is in the way of the file or its folder"},
    {PrefError::kLockRefused, "the lock's file is not a regular lock file of a trusted user"},
    {PrefError::kKeyNotEmpty, "the key is not empty"},
    {PrefError::kWrongType, "the value has another type"},
    {PrefError::kNothingSaved, "nothing of the file can be saved"},
};

std::string Reason(const PrefStatus& status) {
  const auto* const found =
      std::find_if(std::begin(kReasons), std::end(kReasons),
                   [&](const auto& row) { return row.first == status.error; });
  std::string reason = found == std::end(kReasons) ? "unknown" : found->second;
  // A pipe, a socket or a device at the path of the file.
  const bool is_special = status.error == PrefError::kUnreadable && status.error_number == EINVAL;
  if (is_special) return reason + "not a regular file";
  return reason.ends_with(": ") ? reason + StatusText(status.system_status) : reason;
}

}  // namespace

std::string Describe(const PrefStatus& status) {
  return Reason(status) + (status.path.empty() ? "" : ": \"" + status.path + "\"");
}

[[gnu::visibility("default")]] std::ostream& operator<<(std::ostream& out,
                                                        const PrefStatus& status) {
  return out << (status.ok() ? "ok" : Describe(status));
}

}  // namespace orvik
