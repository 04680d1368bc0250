#include "prefs/preference_file.h"

#include <cerrno>

#include "files/directory_manipulator.h"
#include "files/directory_path.h"
#include "files/file_path.h"
#include "platform/core_foundation/preferences.h"
#include "platform/carbon/errno_status.h"
#include "host/file_access.h"
#include "host/replace_file.h"
#include "prefs/platform_values.h"
#include "prefs/preferences.h"

namespace orvik {

namespace {

CAutoCFRelease<CFURLRef> FileUrl(const std::string& path) {
  if (path.empty()) {
    return {};
  }
  return CAutoCFRelease<CFURLRef>(CFURLCreateFromFileSystemRepresentation(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(path.data()),
      static_cast<CFIndex>(path.size()), false));
}

CAutoCFRelease<CFURLRef> Locate(const EffectiveDomain& domain) {
  const CAutoCFRelease<CFStringRef> name = PlatformString(domain.domain);
  switch (domain.scope) {
    case kSharedScope:
      return CAutoCFRelease<CFURLRef>(LibPref_CopySharedCFURLRef(name));
    case kUserScope:
      return FileUrl(host::PreferencesFile(name, kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
    default:
      return FileUrl(host::PreferencesFile(name, kCFPreferencesAnyUser, kCFPreferencesCurrentHost));
  }
}

// The bytes of a file, with the status of the read.
CAutoCFRelease<CFDataRef> ReadBytes(CFURLRef url, OSStatus* status) {
  CFDataRef bytes = nullptr;
  SInt32 code = 0;
  const bool read = CFURLCreateDataAndPropertiesFromResource(kCFAllocatorDefault, url, &bytes,
                                                             nullptr, nullptr, &code);
  *status = code;
  return CAutoCFRelease<CFDataRef>(read ? bytes : nullptr);
}

PrefError WhyFolderCannotBeMade(const std::string& file) {
  const int error = file.empty() ? EINVAL : host::ReplaceAccess(file);
  return error == 0 ? PrefError::kNotSaved : PrefStatusFromSave(host::StatusFromErrno(error)).error;
}

}  // namespace

PreferenceFile::PreferenceFile(const EffectiveDomain& domain) : url_(Locate(domain)) {}

PreferenceFile::Contents PreferenceFile::Load(CFPropertyListMutabilityOptions mutability) {
  root_.Free();
  bytes_.Free();
  if (!url_) {
    return contents_ = Contents::kMissing;
  }
  bytes_ = ReadBytes(url_, &read_status_);
  if (!bytes_) {
    return contents_ = read_status_ == fnfErr ? Contents::kMissing : Contents::kUnreadable;
  }
  root_.Attach(CFPropertyListCreateFromXMLData(kCFAllocatorDefault, bytes_, mutability, nullptr));
  if (!root_) {
    return contents_ = Contents::kDamaged;
  }
  return contents_ = IsADictionaryType(root_) ? Contents::kEntries : Contents::kNotDictionary;
}

PrefStatus PreferenceFile::status() const {
  switch (contents_) {
    case Contents::kMissing:
      return {PrefError::kNotFound};
    case Contents::kUnreadable:
      return {PrefError::kUnreadable, read_status_};
    case Contents::kDamaged:
      return {PrefError::kDamaged};
    case Contents::kNotDictionary:
      return {PrefError::kRootNotDictionary};
    case Contents::kEntries:
      break;
  }
  return PrefStatus::Ok();
}

PrefStatus PreferenceFile::KeepAside(host::KeptFile* kept) const {
  if (bytes_) {
    *kept = host::KeepBeside(path(), bytes_.Get()->View(), host::Flush::kToDisk);
    return PrefStatusFromSave(host::StatusFromErrno(kept->error));
  }
  // Only a refused read stands for a whole file behind it; after any other failure the file may
  // be readable again, so it stays where it is.
  if (PrefStatusFromSave(read_status_).error == PrefError::kNotPermitted) {
    *kept = host::KeepUnreadBeside(path());
    if (kept->error == 0) {
      return PrefStatus::Ok();
    }
  }
  return {PrefError::kUnreadable, read_status_};
}

PrefStatus PreferenceFile::Save(CFPropertyListRef root, const host::KeptFile& kept) const {
  if (!MakeFolder()) {
    return {WhyFolderCannotBeMade(path()), coreFoundationUnknownErr};
  }
  const CAutoCFRelease<CFDataRef> bytes(CFPropertyListCreateXMLData(kCFAllocatorDefault, root));
  if (!bytes) {
    return {PrefError::kNotSerializable, coreFoundationUnknownErr};
  }
  if (contents_ == Contents::kUnreadable && !kept.path.empty()) {
    const int error = host::SupersedeFile(path(), bytes.Get()->View()).error;
    return PrefStatusFromSave(host::StatusFromErrno(error));
  }
  SInt32 code = coreFoundationUnknownErr;
  CFURLWriteDataAndPropertiesToResource(url_, bytes, nullptr, &code);
  return PrefStatusFromSave(code);
}

bool PreferenceFile::MakeFolder() const {
  if (!url_) {
    return false;
  }
  const COrvikDirectoryPath folder = COrvikFilePath(Path()).GetDirectoryPath();
  return folder.DirectoryExists() || CDirectoryManipulator::CreateDirectory(folder);
}

CAtlString PreferenceFile::Path() const {
  if (!url_) {
    return {};
  }
  const CAutoCFRelease<CFStringRef> path(CFURLCopyFileSystemPath(url_, kCFURLPOSIXPathStyle));
  return CAtlString(path.Get());
}

std::string PreferenceFile::path() const {
  UInt8 bytes[4096];
  if (!url_ || !CFURLGetFileSystemRepresentation(url_, true, bytes, sizeof bytes)) {
    return {};
  }
  return reinterpret_cast<const char*>(bytes);
}

std::string PreferenceFile::folder_path() const {
  const std::string file = path();
  return file.substr(0, file.rfind('/') + 1);
}

}  // namespace orvik
