// The entries of one preferences file with the changes that wait to be saved into it.
#pragma once

#include <string>

#include "platform/core_foundation/base.h"
#include "platform/core_foundation/owned.h"
#include "platform/core_foundation/property_list_file.h"
#include "platform/foundation/ns_dictionary.h"

namespace orvik {

class PreferenceDomain {
 public:
  explicit PreferenceDomain(std::string file);

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

  // Puts the changes into what the locked file of this domain holds now: 0 or an error number,
  // after which they are kept. EINVAL: the entries are no property list. Nothing is written when
  // every entry has its value already.
  int Save(PropertyListFile& file);

 private:
  using Dictionary = Owned<NSDictionary>;

  bool IsAsSeen() const;
  void Take(const PropertyListFile& file);
  bool ApplyChanges();

  std::string file_;

  Dictionary saved_;  // never null; empty unless the file holds entries
  host::FileIdentity seen_;
  bool is_loaded_ = false;
  bool has_entries_ = false;
  // Whether another file of the same identity can be ruled out.
  bool is_distinct_ = false;
  std::size_t bytes_hash_ = 0;

  Dictionary changes_;
  Dictionary removals_;  // its keys
};

}  // namespace orvik
