// The arguments that the package installer hands to the tool.
#pragma once

#include "platform/core_foundation/object.h"
#include "platform/core_foundation/string.h"
#include "postflight/log_sys.h"

namespace orvik {

// The arguments are pairs of a dash-prefixed name and a value in the argument domain of the
// standard user defaults. Returned strings belong to the object or to the autorelease pool; setters
// store copies, and a null string means none.
class InstallerArgs : public NSObject {
 public:
  InstallerArgs() = default;
  ~InstallerArgs() override;

  // Reads and logs all arguments. NO when a required one is missing, after its message was logged;
  // then its field is "" and the following ones were not read.
  ObjCBool initWithProcessInfo();

  const NSString* getFullPathToInstallPkg() const { return m_fullPathToInstallPkg; }
  const NSString* getPathToInstallDest() const { return m_pathToInstallDest; }
  const NSString* getDestVolMountPoint() const { return m_destVolMountPoint; }
  const NSString* getCurrSystemFolderRootDir() const { return m_currSystemFolderRootDir; }
  const NSString* getCustomerLogging() const { return m_customerLogging; }
  ObjCBool getRunSilent() const { return m_runSilent; }

  void setFullPathToInstallPkg(const NSString* path) { StoreCopy(m_fullPathToInstallPkg, path); }
  void setPathToInstallDest(const NSString* path) { StoreCopy(m_pathToInstallDest, path); }
  void setDestVolMountPoint(const NSString* path) { StoreCopy(m_destVolMountPoint, path); }
  void setCurrSystemFolderRootDir(const NSString* path) {
    StoreCopy(m_currSystemFolderRootDir, path);
  }
  void setCustomerLogging(const NSString* value) { StoreCopy(m_customerLogging, value); }
  void setRunSilent(ObjCBool silent) { m_runSilent = silent; }

  // Getters return the field, which belongs to the object; null until it is set. Setters store a
  // copy and autorelease the old value, so that the result of a getter stays valid for the caller's
  // pool.

  // The destination on its volume: the mount point directly followed by the install destination, or
  // the destination alone for the mount point "/". Null if one of the two is null.
  const NSString* getDestVolMountPointAndPathToInstallDest() const;

  // Writes "Options Set:" and the arguments that are set to the log, each on its own line, in the
  // order of the fields; then the joined destination, and "running silent" for a silent run.
  void logValues() const;

 private:
  const NSString* m_fullPathToInstallPkg = nullptr;     // "pathToPkg"
  const NSString* m_pathToInstallDest = nullptr;        // "pathToDest"
  const NSString* m_destVolMountPoint = nullptr;        // "mountPointOfDest"
  const NSString* m_currSystemFolderRootDir = nullptr;  // "rootOfCurrSystemFolder"
  ObjCBool m_runSilent = NO;                            // "silent"
  const NSString* m_customerLogging = nullptr;          // "customerLogging"
};

}  // namespace orvik
