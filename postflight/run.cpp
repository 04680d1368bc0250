#include "postflight/run.h"

#include <stdlib.h>
#include <syslog.h>

#include <cstring>
#include <new>

#include "host/system_log.h"

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
    if (IsStrict() && CheckRecorded(record)) {
      status = kAllRecorded;
    }
  } else {
    logSys::notice(CFSTR(u"Error: Can't continue postflight"));
  }
  arguments->release();
  return status;
}

}  // namespace

int RunPostflight() {
  try {
    return Run();
  } catch (const std::bad_alloc&) {
    host::SystemLog(LOG_NOTICE, "Error: not enough memory");
    return kExitStatus;
  }
}

}  // namespace orvik
