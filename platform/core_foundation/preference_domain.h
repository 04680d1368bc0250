// The entries of one preferences file with the changes that wait to be saved into it.
#pragma once

#include <string>

#include "plist/file.h"
#include "plist/value.h"

namespace orvik {

class PreferenceDomain {
 public:
  explicit PreferenceDomain(std::string file);

  // Reads the file when it is not the one that was read before.
  void Refresh();

  // Null when there is none; valid until the next call.
  const plist::Value* Find(const plist::Text& key) const;
  // Remembers a change; false for a value that no property list can hold below a key. No value
  // removes the entry.
  bool Set(const plist::Text& key, const plist::Value& value);
  bool has_changes() const { return changes_.count() + removals_.count() > 0; }
  void DropChanges();

  // Puts the changes into what the locked file of this domain holds now: 0 or an error number,
  // after which they are kept. EINVAL: the entries are no property list. Nothing is written when
  // every entry has its value already.
  int Save(plist::File& file);

 private:
  bool IsAsSeen() const;
  void Take(const plist::File& file);
  bool ApplyChanges(plist::Value& entries) const;

  std::string file_;

  // Dictionaries. The first is empty unless the file holds entries; of the last the keys count.
  plist::Value saved_ = plist::Value::Dictionary();
  host::FileIdentity seen_;
  bool is_loaded_ = false;
  bool has_entries_ = false;
  // Whether another file of the same identity can be ruled out.
  bool is_distinct_ = false;
  std::size_t bytes_hash_ = 0;

  plist::Value changes_ = plist::Value::Dictionary();
  plist::Value removals_ = plist::Value::Dictionary();
};

}  // namespace orvik
