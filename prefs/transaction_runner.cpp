#include "prefs/transaction_runner.h"

#include <utility>

#include "platform/core_foundation/property_list.h"
#include "platform/core_foundation/property_list_equality.h"
#include "prefs/dictionary_type.h"
#include "prefs/platform_values.h"

namespace orvik {

namespace {

using Value = CAutoCFRelease<CFTypeRef>;

PrefStatus HoldsIf(bool condition, PrefError otherwise = PrefError::kConditionNotMet) {
  return condition ? PrefStatus::Ok() : PrefStatus{otherwise};
}

// A value that later changes may go into without touching the caller's.
Value OwnForm(CFTypeRef value) {
  return Value(value == nullptr ? nullptr
                                : CFPropertyListCreateDeepCopy(kCFAllocatorDefault, value,
                                                               kCFPropertyListMutableContainers));
}

CAutoCFRelease<CFMutableDictionaryRef> OwnDictionary(Value value) {
  return CAutoCFRelease<CFMutableDictionaryRef>(AsMutable(value.Detach()));
}

// Whether what is present (null for nothing) may be replaced by the value.
PrefError MayReplace(CFTypeRef present, CFTypeRef value, ReplaceKeys replace) {
  if (present == nullptr || replace == ReplaceKeys::kYes ||
      IsADictionaryType(present) == IsADictionaryType(value)) {
    return PrefError::kNone;
  }
  return IsADictionaryType(present) ? PrefError::kIsAKey : PrefError::kIsAValue;
}

PrefStatus InTheWay(PrefError error, const KeyPath& path, const CAtlString& name) {
  PrefStatus status{error};
  status.path = WayOf(path);
  AddToWay(status.path, name);
  return status;
}

// Puts the added entries, which become the base's own, into the base. *changed becomes true when
// that changes anything. A failure has the way from the base to what may not be replaced.
PrefStatus MergeInto(CFMutableDictionaryRef base, CFDictionaryRef added, ReplaceKeys replace,
                     bool* changed) {
  const auto count = static_cast<std::size_t>(CFDictionaryGetCount(added));
  std::vector<const void*> names(count), values(count);
  CFDictionaryGetKeysAndValues(added, names.data(), values.data());
  for (std::size_t i = 0; i < count; ++i) {
    const CFTypeRef present = CFDictionaryGetValue(base, names[i]);
    PrefStatus status{MayReplace(present, values[i], replace)};
    if (status.ok() && IsADictionaryType(present) && IsADictionaryType(values[i])) {
      status =
          MergeInto(AsMutable(present), static_cast<CFDictionaryRef>(values[i]), replace, changed);
    } else if (status.ok() && !IsSameValue(present, values[i])) {
      CFDictionarySetValue(base, names[i], values[i]);
      *changed = true;
    }
    if (!status.ok()) {
      std::string way;
      AddToWay(way, CAtlString(static_cast<CFStringRef>(names[i])));
      AddToWay(way, status.path);
      status.path = std::move(way);
      return status;
    }
  }
  return PrefStatus::Ok();
}

}  // namespace

PrefStatus TransactionRunner::Run(const std::vector<Step>& steps) {
  int index = 0;
  for (const Step& step : steps) {
    if (PrefStatus status = CarryOut(step); !status.ok()) {
      status.step = index;
      return status;
    }
    ++index;
  }
  return PrefStatus::Ok();
}

PrefStatus TransactionRunner::CarryOut(const Step& step) {
  switch (step.kind) {
    case Kind::kSet:
      return Set(step);
    case Kind::kDelete:
      return Delete(step);
    case Kind::kMakeKey:
      return MakeKey(step.key_path);
    case Kind::kReplaceKey:
      return ReplaceKey(step.key_path, step.value);
    case Kind::kClearKey:
      return FindDictionary(step.key_path).status.error == PrefError::kNotFound
                 ? PrefStatus::Ok()
                 : ReplaceKey(step.key_path, NewDictionary());
    case Kind::kMerge:
      return Merge(step);
    case Kind::kCopy:
    case Kind::kRename:
      return CopyOrRename(step);
    case Kind::kRequireEqual: {
      const Found found = Find(step.key_path, step.name);
      return HoldsIf(found.value && step.value && CFEqual(found.value, step.value));
    }
    case Kind::kRequireAbsent:
      return HoldsIf(Find(step.key_path, step.name).status.error == PrefError::kNotFound);
    case Kind::kRequireNotKey:
      return IsADictionaryType(Find(step.key_path, step.name).value)
                 ? InTheWay(PrefError::kIsAKey, step.key_path, step.name)
                 : PrefStatus::Ok();
    case Kind::kRequireKey:
      return RequireKey(step.key_path, false);
    case Kind::kRequireEmptyKey:
      return RequireKey(step.key_path, true);
    case Kind::kRequireKeyEqual: {
      const Found found = FindDictionary(step.key_path);
      return HoldsIf(found.status.error != PrefError::kNotAKey &&
                     IsSameValue(found.value, step.value));
    }
    case Kind::kRequireThat:
      return HoldsIf(step.condition(Find(step.key_path, step.name).value));
    case Kind::kRefuseEmptyPath:
      return {PrefError::kEmptyPath};
  }
  return PrefStatus::Ok();
}

TransactionRunner::Found TransactionRunner::Find(const KeyPath& path, const CAtlString& name) {
  return FindValueIn(store_, path, name);
}

TransactionRunner::Found TransactionRunner::FindDictionary(const KeyPath& path) {
  if (!path.empty()) {
    return FindKeyIn(store_, path);
  }
  const CFDictionaryRef all = store_.entries();
  return {{all == nullptr ? PrefError::kNotFound : PrefError::kNone}, Value::Retaining(all)};
}

PrefStatus TransactionRunner::Put(const KeyPath& path, const CAtlString& name, CFTypeRef value) {
  const Value own = !IsTooDeep(path) ? OwnForm(value) : Value();
  if (!own) {
    return NotSerializable(path, &name, value);
  }
  if (IsSameValue(Find(path, name).value, own)) {
    return PrefStatus::Ok();
  }
  return ApplyChange(store_, path, name, own, MissingKeys::kMake);
}

PrefStatus TransactionRunner::Set(const Step& step) {
  const PrefError error =
      step.replace == ReplaceKeys::kNo
          ? MayReplace(Find(step.key_path, step.name).value, step.value, step.replace)
          : PrefError::kNone;
  if (error != PrefError::kNone) {
    return InTheWay(error, step.key_path, step.name);
  }
  return Put(step.key_path, step.name, step.value);
}

PrefStatus TransactionRunner::Delete(const Step& step) {
  const Found present = Find(step.key_path, step.name);
  if (!present.status.ok()) {
    return step.if_missing == IfMissing::kFail ? present.status : PrefStatus::Ok();
  }
  return ApplyChange(store_, step.key_path, step.name, nullptr, MissingKeys::kFail);
}

PrefStatus TransactionRunner::MakeKey(const KeyPath& path) {
  const Found present = FindDictionary(path);
  if (path.empty() || present.status.error != PrefError::kNotFound) {
    return present.status.error == PrefError::kNotAKey ? present.status : PrefStatus::Ok();
  }
  return Put(path.Parent(), path.name(path.count()), NewDictionary());
}

PrefStatus TransactionRunner::ReplaceKey(const KeyPath& path, CFTypeRef entries) {
  if (!IsADictionaryType(entries)) {
    return NotSerializable(path, nullptr, entries);
  }
  const Found present = FindDictionary(path);
  if (present.status.error == PrefError::kNotAKey) {
    return present.status;
  }
  if (!path.empty()) {
    return Put(path.Parent(), path.name(path.count()), entries);
  }
  Value own = OwnForm(entries);
  if (!own) {
    return NotSerializable(path, nullptr, entries);
  }
  if (!IsSameValue(present.value, own)) {
    store_.ReplaceEntries(OwnDictionary(std::move(own)));
  }
  return PrefStatus::Ok();
}

PrefStatus TransactionRunner::Merge(const Step& step) {
  const KeyPath& path = step.key_path;
  const Found present = FindDictionary(path);
  if (present.status.error == PrefError::kNotAKey && step.replace == ReplaceKeys::kYes) {
    // The value may be the key itself; one above it stays.
    return Put(path.Parent(), path.name(path.count()), step.value);
  }
  if (!present.status.ok()) {
    return present.status.error == PrefError::kNotFound ? ReplaceKey(path, step.value)
                                                        : present.status;
  }
  const Value own = OwnForm(step.value);
  if (!IsADictionaryType(own)) {
    return NotSerializable(path, nullptr, step.value);
  }
  bool changed = false;
  PrefStatus merged = MergeInto(AsMutable(present.value), static_cast<CFDictionaryRef>(own.Get()),
                                step.replace, &changed);
  if (!merged.ok() || !changed) {
    std::string way = WayOf(path);
    AddToWay(way, merged.path);
    merged.path = merged.ok() ? std::string() : std::move(way);
    return merged;
  }
  if (!path.empty()) {
    return ApplyChange(store_, path.Parent(), path.name(path.count()), present.value,
                       MissingKeys::kFail);
  }
  store_.ReplaceEntries(OwnDictionary(Value::Retaining(present.value)));
  return PrefStatus::Ok();
}

PrefStatus TransactionRunner::CopyOrRename(const Step& step) {
  const Found source = Find(step.key_path, step.name);
  if (!source.status.ok()) {
    return source.status;
  }
  if (step.kind == Kind::kRename) {
    if (Find(step.to_key, step.to_name).value.Get() == source.value.Get()) {
      return PrefStatus::Ok();
    }
    PrefStatus removed = ApplyChange(store_, step.key_path, step.name, nullptr, MissingKeys::kFail);
    if (!removed.ok()) {
      return removed;
    }
  }
  return Put(step.to_key, step.to_name, source.value);
}

PrefStatus TransactionRunner::RequireKey(const KeyPath& path, bool empty) {
  const Found found = FindDictionary(path);
  if (!found.status.ok() || !empty) {
    return found.status;
  }
  return HoldsIf(CFDictionaryGetCount(static_cast<CFDictionaryRef>(found.value.Get())) == 0,
                 PrefError::kKeyNotEmpty);
}

}  // namespace orvik
