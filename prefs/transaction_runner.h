// Carries out the steps of a transaction on an opened domain, in memory.
#pragma once

#include "prefs/file_domain_store.h"
#include "prefs/key_walk.h"
#include "prefs/transaction.h"

namespace orvik {

class [[gnu::visibility("hidden")]] TransactionRunner {
 public:
  explicit TransactionRunner(FileDomainStore & store) : store_(store) {}

  // Up to the first step that fails; the status names it.
  PrefStatus Run(const std::vector<Transaction::Step>& steps);

 private:
  using Step = Transaction::Step;
  using Kind = Transaction::Kind;
  using Found = FoundValue;

  PrefStatus CarryOut(const Step& step);
  // The entry of a name below a path.
  Found Find(const KeyPath& path, const CAtlString& name);
  // The dictionary at a path; the whole domain for an empty one.
  Found FindDictionary(const KeyPath& path);

  PrefStatus Set(const Step& step);
  PrefStatus Put(const KeyPath& path, const CAtlString& name, CFTypeRef value);
  PrefStatus Delete(const Step& step);
  PrefStatus MakeKey(const KeyPath& path);
  PrefStatus ReplaceKey(const KeyPath& path, CFTypeRef entries);
  PrefStatus Merge(const Step& step);
  PrefStatus CopyOrRename(const Step& step);
  PrefStatus RequireKey(const KeyPath& path, bool empty);

  FileDomainStore& store_;
};

}  // namespace orvik
