#include "postflight/install_information.h"

#include <stdlib.h>
#include <syslog.h>

#include <chrono>
#include <cstring>
#include <new>
#include <string>

#include "host/replace_file.h"
#include "host/system.h"
#include "host/trust.h"
#include "platform/foundation/application.h"
#include "prefs/preferences.h"
#include "prefs/reporting.h"
#include "prefs/shared_lock.h"
#include "prefs/transaction.h"
#include "strings/auto_release.h"
#include "strings/utf8_strings.h"

namespace orvik {

namespace {

const char16_t kDomain[] = u"com.orviktech.Registry";
const char16_t kInstallInformation[] =
    u"Software/ORVIK Technologies/Pagewell Software/Install Information";
const char16_t kExePath[] = u"PagewellExePath";

bool CompanionReceiptExists() {
  const CAtlString receipt(u"/Library/Receipts/Pollix Components.pkg");
  const CAutoCFRelease<CFStringRef> path(receipt.CreateCFStringRef(kCFAllocatorDefault));
  return NSFileManager::defaultManager()->fileExistsAtPath(path) == YES;
}

// The folder of the application; ends in "/".
CAtlString Destination(const InstallerArgs& arguments) {
  CAtlString destination(arguments.getDestVolMountPointAndPathToInstallDest());
  if (destination.IsEmpty() || destination.GetAt(destination.GetLength() - 1) != u'/') {
    destination += u'/';
  }
  return destination;
}

long Write(const InstallValue& value) {
  if (const auto* text = std::get_if<CAtlString>(&value.value)) {
    return WritePreferenceString(kSharedScope, value.key_path, value.name, *text, kDomain);
  }
  return WritePreferenceInt(kSharedScope, value.key_path, value.name, std::get<int>(value.value),
                            kDomain);
}

// The present reason of a write that failed with kPreferenceLockNotObtained.
std::string LockReason() {
  const SharedLockRecord lock = CopySharedLockRecord(kDomain);
  std::string text = Describe(PrefStatus{PrefError::kLockNotObtained});
  if (lock.state != SharedLockRecord::State::kHeld) return text;
  const std::string holder = MakeUTF8StringFromUnicodeString(lock.process).GetString();
  return text + ": process " + std::to_string(lock.pid) + " (\"" + holder + "\")";
}

// The status of an attempt to take the lock now.
PrefStatus LockStatus() {
  Transaction nothing(kSharedScope, kDomain);
  nothing.WaitAtMost(std::chrono::milliseconds(0));
  return nothing.Commit();
}

// Why the file does not contain a value; null when it does. The writers report only a held lock,
// not other failures; so a missing or different value is explained by the present obstacle to a
// write.
const NSString* ReasonMissing(const InstallValue& value) {
  const PrefValue found = ReadPreference(kSharedScope, value.key_path, value.name, kDomain);
  const auto wanted = std::visit([](const auto& kept) { return plist::Value(kept); }, value.value);
  PrefStatus status = found.status;
  if (status.ok() && found.value == wanted) return nullptr;
  if (status.ok() || status.error == PrefError::kNotFound) {
    if (value.written == static_cast<long>(kPreferenceLockNotObtained)) {
      return NSString::stringWithUTF8String(LockReason().c_str());
    }
    // The result of the write has no reason: find it from the file and the lock.
    const std::string file = PreferenceFilePath(kSharedScope, kDomain);
    if (const int error = host::ReplaceAccess(file); error != 0) {
      status = PrefStatusFromErrno(error, file, PrefError::kNotSaved);
    } else if (const PrefStatus lock = LockStatus(); !lock.ok()) {
      status = lock;
    }
  }
  if (status.ok()) return CFSTR(u"another value is there");
  return NSString::stringWithUTF8String(Describe(status).c_str());
}

constexpr int kExitStatus = 1;
constexpr int kAllRecorded = 0;

bool IsStrict() {
  const char* strict = secure_getenv("ORVIK_STRICT");
  return strict != nullptr && std::strcmp(strict, "1") == 0;
}

int Run() {
  NSApplicationLoad();
  const NSAutoreleasePool pool;
  InstallerArgs* arguments = new InstallerArgs;
  int status = kExitStatus;
  if (arguments->initWithProcessInfo() == YES) {
    const InstallRecord record = RecordInstallInformation(*arguments);
    NSApp()->activateIgnoringOtherApps(YES);
    if (IsStrict() && CheckRecorded(record)) status = kAllRecorded;
  } else {
    logSys::notice(CFSTR(u"Error: Can't continue postflight"));
  }
  arguments->release();
  return status;
}

}  // namespace

InstallRecord RecordInstallInformation(const InstallerArgs& arguments) {
  const CAtlString destination = Destination(arguments);
  const NSString* logging = arguments.getCustomerLogging();
  struct {
    InstallValue value;
    bool (*applies)() = nullptr;
  } rows[] = {
      {{kInstallInformation, u"Additional Tools", destination + u"Additional Tools"}},
      {{kInstallInformation, kExePath, destination}},
      {{kInstallInformation, u"Pagewell Version", u"10.7.154.0"}},
      {{u"Software/ORVIK Technologies/Glyphra", u"GlyphraPath",
        u"/Library/Application Support/ORVIK Technologies/Glyphra"}},
      {{u"Software/ORVIK Technologies/Pagewell Software", u"UELogging",
        logging == nullptr ? 0 : logging->intValue()}},
      {{u"Software/ORVIK Technologies Inc./ORVIK Pagewell/Install Information", kExePath,
        destination},
       CompanionReceiptExists},
      {{u"Software/ORVIK Technologies/ORVIK Tavlo Software/Install Information", kExePath,
        destination}},
  };
  // The folder is flushed once, and all writes together wait for the lock only as long as one
  // would.
  host::FolderFlushDelay until_all_is_recorded;
  const SharedLockTimeLimit for_all_of_them;
  const plist::KeptAsideFiles kept_aside;
  InstallRecord record;
  for (auto& row : rows) {
    if (row.applies == nullptr || row.applies()) {
      row.value.written = Write(row.value);
      record.values.push_back(row.value);
    }
  }
  record.flush_error = until_all_is_recorded.Finish();
  record.kept_aside = kept_aside.files();
  for (const plist::KeptAsideFiles::Kept& file : record.kept_aside) {
    host::SystemLog(LOG_NOTICE, "Damaged: \"" + file.path +
                                    "\" could not be read as a property list and is kept as \"" +
                                    file.kept_path +
                                    "\"; the new file holds only this run's values");
  }
  return record;
}

bool CheckRecorded(const InstallRecord& record) {
  bool all = record.kept_aside.empty();
  if (record.flush_error != 0) {
    all = false;
    const std::string reason = std::strerror(record.flush_error);
    Notice({u"Not on disk: scope shared, domain ", kDomain, u": ",
            NSString::stringWithUTF8String(reason.c_str())});
  }
  for (const InstallValue& value : record.values) {
    if (const NSString* reason = ReasonMissing(value)) {
      all = false;
      Notice({u"Not recorded: scope shared, key path ", value.key_path, u", name ", value.name,
              u", domain ", kDomain, u": ", reason});
    }
  }
  return all;
}

int RunPostflight() {
  try {
    return Run();
  } catch (const std::bad_alloc&) {
    host::SystemLog(LOG_NOTICE, "Error: not enough memory");
    return kExitStatus;
  }
}

}  // namespace orvik
