// One property-list file of top-level entries: located, read, written as a whole.
#pragma once

#include <string>

#include "platform/core_foundation/data.h"
#include "platform/core_foundation/property_list.h"
#include "platform/core_foundation/url.h"
#include "host/keep_beside.h"
#include "prefs/auto_release.h"
#include "prefs/pref_status.h"
#include "prefs/scope.h"

namespace orvik {

class PreferenceFile {
 public:
  // Takes over the reference; null stands for a file that cannot be located and is never there.
  explicit PreferenceFile(CAutoCFRelease<CFURLRef> url) : url_(std::move(url)) {}
  // The file behind a usable domain of a known scope.
  explicit PreferenceFile(const EffectiveDomain& domain);

  enum class Contents {
    kMissing,
    kUnreadable,
    kDamaged,        // not a property list
    kNotDictionary,  // a property list of another kind
    kEntries,
  };

  // Reads and parses the file.
  Contents Load(CFPropertyListMutabilityOptions mutability);
  // What the last Load found; its root is null unless it is a property list.
  Contents contents() const { return contents_; }
  CFPropertyListRef root() const { return root_; }
  // The contents as a result: kEntries is ok.
  PrefStatus status() const;

  // Keeps a file that is no property list of entries beside its place (host/keep_beside.h), so that
  // it can be replaced. What could not be read for want of rights is moved there.
  PrefStatus KeepAside(host::KeptFile* kept) const;

  // Writes the property list as the whole file, making the folder that holds it. The system status
  // is coreFoundationUnknownErr when the folder cannot be made or the value cannot be serialised.
  // `kept` is what KeepAside told, if it was called: a file that is kept and could not be read is
  // replaced whatever its rights, by one of mode 0666 less the umask.
  PrefStatus Save(CFPropertyListRef root, const host::KeptFile& kept = {}) const;

  // Makes the folder that holds the file, with its parents.
  bool MakeFolder() const;

  std::string path() const;         // UTF-8; "" when it cannot be located
  std::string folder_path() const;  // up to the last "/"

  // The bytes that the last Load read; null when it could read none.
  CFDataRef bytes() const { return bytes_; }

 private:
  CAtlString Path() const;

  CAutoCFRelease<CFURLRef> url_;
  CAutoCFRelease<CFDataRef> bytes_;
  CAutoCFRelease<CFPropertyListRef> root_;
  Contents contents_ = Contents::kMissing;
  OSStatus read_status_ = 0;
};

// The URL of the file of the shared scope for a domain, owned by the caller.
CFURLRef LibPref_CopySharedCFURLRef(CFStringRef domain);

}  // namespace orvik
