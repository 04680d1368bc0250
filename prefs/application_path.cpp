#include <stdlib.h>

#include "platform/carbon/errno_status.h"
#include "platform/carbon/folders.h"
#include "prefs/key_path.h"
#include "prefs/preferences.h"
#include "strings/utf8_strings.h"

namespace orvik {

namespace {

CAtlString ApplicationSupportFolder() {
  FSRef folder;
  UInt8 path[2047];
  if (FSFindFolder(kUserDomain, kApplicationSupportFolderType, true, &folder) != noErr ||
      FSRefMakePath(&folder, path, sizeof path) != noErr) {
    return {};
  }
  return MakeWideStringFromUTF8String(reinterpret_cast<const char*>(path));
}

struct SubFolder {
  const char16_t* application;
  const char16_t* folder;
};

constexpr SubFolder kSubFolders[] = {
    {u"vistago", u"/Vistgo"},
    {u"Shared", u"/Shared"},
    {u"ORVIK Tavlo Software", u"/ORVIK Tavlo Software"},
    {u"ORVIK Conceptra", u"/ORVIK Conceptra"},
    {u"ORVIK Pagewell", u"/Pagewell Software"},
};

}  // namespace

CAtlString GetPreferenceApplicationPath(CAtlString application) {
  CAtlString path = ApplicationSupportFolder();
  if (path.IsEmpty()) {
    const char* home = secure_getenv("HOME");
    path =
        MakeWideStringFromUTF8String(home == nullptr ? "" : home) + u"/Library/Application Support";
  }
  path += u"/" + GetCompanyName();
  for (const SubFolder& sub_folder : kSubFolders) {
    if (application.EqualFolded(sub_folder.application)) {
      return path + sub_folder.folder + u"/";
    }
  }
  return path + u"/" + application + u"/";
}

}  // namespace orvik
