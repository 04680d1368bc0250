#include "postflight/run.h"

#include <cstdlib>
#include <cstring>

#include "platform/core_foundation/string.h"
#include "platform/foundation/application.h"
#include "platform/foundation/autorelease_pool.h"
#include "postflight/install_information.h"
#include "postflight/installer_args.h"
#include "postflight/log_sys.h"

namespace orvik {

namespace {

constexpr int kExitStatus = 1;
constexpr int kAllRecorded = 0;

bool IsStrict() {
  const char* strict = std::getenv("ORVIK_STRICT");
  return strict != nullptr && std::strcmp(strict, "1") == 0;
}

}  // namespace

int RunPostflight() {
  NSApplicationLoad();
  const NSAutoreleasePool pool;
  InstallerArgs* arguments = new InstallerArgs;
  int status = kExitStatus;
  if (arguments->initWithProcessInfo() == YES) {
    const std::vector<InstallValue> values = RecordInstallInformation(*arguments);
    NSApp()->activateIgnoringOtherApps(YES);
    if (IsStrict() && CheckRecorded(values)) {
      status = kAllRecorded;
    }
  } else {
    logSys::notice(CFSTR(u"Error: Can't continue postflight"));
  }
  arguments->release();
  return status;
}

}  // namespace orvik
