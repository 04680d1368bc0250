#include "postflight/installer_args.h"

#include "platform/foundation/application.h"

namespace orvik {

InstallerArgs::~InstallerArgs() {
  for (const NSString* field : {m_fullPathToInstallPkg, m_pathToInstallDest, m_destVolMountPoint,
                                m_currSystemFolderRootDir, m_customerLogging}) {
    CFRelease(field);
  }
}

ObjCBool InstallerArgs::initWithProcessInfo() {
  const NSAutoreleasePool pool;
  const NSUserDefaults* defaults = NSUserDefaults::standardUserDefaults();
  static constexpr struct {
    const char16_t* name;
    void (InstallerArgs::*set)(const NSString*);
    const char16_t* missing;
  } kRequired[] = {
      {u"pathToPkg", &InstallerArgs::setFullPathToInstallPkg, u" Missing argument: pathToPkg"},
      {u"pathToDest", &InstallerArgs::setPathToInstallDest, u" Missing argument: pathToDest"},
      {u"mountPointOfDest", &InstallerArgs::setDestVolMountPoint,
       u" Missing argument: mountPointOfDest"},
      {u"rootOfCurrSystemFolder", &InstallerArgs::setCurrSystemFolderRootDir,
       u" Missing argument: rootOfCurrSystemFolder"},
  };
  for (const auto& argument : kRequired) {
    const NSString* value = defaults->stringForKey(CFSTR(argument.name));
    if (value == nullptr) {
      (this->*argument.set)(CFSTR(u""));
      logSys::notice(CFSTR(argument.missing));
      return NO;
    }
    (this->*argument.set)(value);
  }
  setRunSilent(defaults->boolForKey(CFSTR(u"silent")) == YES ? YES : NO);
  const NSString* logging = defaults->stringForKey(CFSTR(u"customerLogging"));
  const bool is_given = logging != nullptr && logging->compare(CFSTR(u"")) != NSOrderedSame;
  setCustomerLogging(is_given ? logging : nullptr);
  logValues();
  return YES;
}

const NSString* InstallerArgs::getDestVolMountPointAndPathToInstallDest() const {
  if (m_destVolMountPoint == nullptr || m_pathToInstallDest == nullptr) return nullptr;
  if (m_destVolMountPoint->isEqualToString(CFSTR(u"/"))) return m_pathToInstallDest;
  return m_destVolMountPoint->stringByAppendingString(m_pathToInstallDest);
}

void InstallerArgs::logValues() const {
  logSys::notice(CFSTR(u"Options Set:"));
  logSys::notice(m_fullPathToInstallPkg);
  logSys::notice(m_pathToInstallDest);
  logSys::notice(m_destVolMountPoint);
  logSys::notice(m_currSystemFolderRootDir);
  logSys::notice(getDestVolMountPointAndPathToInstallDest());
  if (m_runSilent == YES) logSys::notice(CFSTR(u"running silent"));
}

}  // namespace orvik
