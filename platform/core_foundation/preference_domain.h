// The entries of one preferences file with the changes that wait to be saved into it.
#pragma once

#include <string>

#include "host/file_identity.h"
#include "host/keep_beside.h"
#include "host/replace_file.h"
#include "platform/core_foundation/base.h"
#include "platform/core_foundation/owned.h"
#include "platform/foundation/dictionary.h"

namespace orvik {

class PreferenceDomain {
 public:
  PreferenceDomain(std::string file, host::Flush flush);

  // Reads the file when it is not the one that was read before.
  void Refresh();

  // Not retained; null when there is none.
  const NSObject* Value(const NSString* key) const;
  // A new dictionary of all entries, owned by the caller.
  NSDictionary* CopyEntries() const;

  // Remembers a change: 0, or paramErr for a value that is no property list. The value is copied;
  // null removes the entry.
  OSStatus Set(const NSString* key, const NSObject* value);
  bool has_changes() const { return changes_->count() + removals_->count() > 0; }
  void DropChanges();

  // Puts the changes into what the file holds now: 0 or a status, after which they are kept. To be
  // called with the folder of the file locked.
  OSStatus Save();

 private:
  using Dictionary = Owned<NSDictionary>;

  enum class Contents { kMissing, kEntries, kDamaged, kUnreadable };

  bool IsAsSeen() const;
  void Load();
  void Parse(std::string bytes);
  int KeepDamagedFile(host::KeptFile* kept) const;

  std::string file_;
  host::Flush flush_;

  Contents contents_ = Contents::kMissing;
  int read_error_ = 0;
  Dictionary saved_;  // never null; empty unless contents_ is kEntries
  host::FileIdentity seen_;
  bool is_loaded_ = false;
  // Whether another file of the same identity can be ruled out.
  bool is_distinct_ = false;
  std::size_t bytes_hash_ = 0;

  Dictionary changes_;
  Dictionary removals_;  // its keys
};

}  // namespace orvik
