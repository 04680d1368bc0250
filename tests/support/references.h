// References of the file manager, for tests.
#pragma once

#include "platform/carbon/catalog_info.h"
#include "platform/core_foundation/errno_status.h"
#include "tests/support/test_environment.h"

namespace orvik::test {

inline const UInt8* Bytes(const std::string& path) {
  return reinterpret_cast<const UInt8*>(path.c_str());
}

// A reference to the entry at the path; does not follow a link.
inline FSRef RefOf(const fs::path& path) {
  FSRef ref;
  FSPathMakeRefWithOptions(Bytes(path.string()), kFSPathMakeRefDoNotFollowLeafSymlink, &ref,
                           nullptr);
  return ref;
}

// The path of the object; "" when it is gone.
inline std::string PathOf(const FSRef& ref) {
  std::string path(20000, '\0');
  const OSStatus status = FSRefMakePath(&ref, reinterpret_cast<UInt8*>(path.data()), 20000);
  return status == noErr ? path.c_str() : "";
}

inline FSCatalogInfo InfoOf(const fs::path& path) {
  FSCatalogInfo info;
  const FSRef ref = RefOf(path);
  FSGetCatalogInfo(&ref,
                   kFSCatInfoVolume | kFSCatInfoCreateDate | kFSCatInfoContentMod |
                       kFSCatInfoAccessDate | kFSCatInfoPermissions | kFSCatInfoDataSizes,
                   &info, nullptr, nullptr, nullptr);
  return info;
}

}  // namespace orvik::test
