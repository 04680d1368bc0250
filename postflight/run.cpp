#include "postflight/run.h"

#include "platform/foundation/application.h"
#include "platform/foundation/autorelease_pool.h"
#include "platform/foundation/file_manager.h"
#include "platform/host/replace_file.h"
#include "postflight/installer_args.h"
#include "postflight/log_line.h"
#include "postflight/log_sys.h"
#include "prefs/auto_release.h"
#include "prefs/preferences.h"

namespace orvik {

namespace {

constexpr int kExitStatus = 1;

const char16_t kDomain[] = u"com.orviktech.Registry";
const char16_t kInstallInformation[] =
    u"Software/ORVIK Technologies/Pagewell Software/Install Information";
const char16_t kExePath[] = u"PagewellExePath";

void Record(const char16_t* key_path, const char16_t* name, const CAtlString& value) {
  WritePreferenceString(kSharedScope, key_path, name, value, kDomain);
}

bool CompanionReceiptExists() {
  const CAtlString receipt(u"/Library/Receipts/Pollix Components.pkg");
  const CAutoCFRelease<CFStringRef> path(receipt.CreateCFStringRef(kCFAllocatorDefault));
  return NSFileManager::defaultManager()->fileExistsAtPath(path) == YES;
}

void RecordInstallInformation(const InstallerArgs& arguments) {
  const host::FolderFlushDelay until_all_is_recorded;
  CAtlString destination(arguments.getDestVolMountPointAndPathToInstallDest());
  if (destination.IsEmpty() || destination.GetAt(destination.GetLength() - 1) != u'/') {
    destination += u'/';
  }
  const NSString* logging = arguments.getCustomerLogging();
  Record(kInstallInformation, u"Additional Tools", destination + u"Additional Tools");
  Record(kInstallInformation, kExePath, destination);
  Record(kInstallInformation, u"Pagewell Version", u"10.7.154.0");
  Record(u"Software/ORVIK Technologies/Glyphra", u"GlyphraPath",
         u"/Library/Application Support/ORVIK Technologies/Glyphra");
  WritePreferenceInt(kSharedScope, u"Software/ORVIK Technologies/Pagewell Software", u"UELogging",
                     logging == nullptr ? 0 : logging->intValue(), kDomain);
  if (CompanionReceiptExists()) {
    Record(u"Software/ORVIK Technologies Inc./ORVIK Pagewell/Install Information", kExePath,
           destination);
  }
  Record(u"Software/ORVIK Technologies/ORVIK Tavlo Software/Install Information", kExePath,
         destination);
}

}  // namespace

int RunPostflight() {
  NSApplicationLoad();
  const NSAutoreleasePool pool;
  InstallerArgs* arguments = new InstallerArgs;
  if (arguments->initWithProcessInfo() == YES) {
    RecordInstallInformation(*arguments);
    NSApp()->activateIgnoringOtherApps(YES);
  } else {
    logSys::notice(CFSTR(u"Error: Can't continue postflight"));
  }
  arguments->release();
  return kExitStatus;
}

}  // namespace orvik
