#include <charconv>
#include <ostream>

#include "platform/core_foundation/number.h"
#include "prefs/reporting.h"
#include "prefs/transaction.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

std::string Address(const CAtlString& key, const CAtlString& name) {
  return "\"" + Escaped(ToUtf8(name)) + "\" in key \"" + Escaped(ToUtf8(key)) + "\"";
}

std::optional<int> ParseInt(const CAtlString& text) {
  const std::string digits = ToUtf8(text);
  int value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return value;
}

// The value as the store keeps it: a string, or a 32-bit integer; null when it is none.
CAutoCFRelease<CFTypeRef> MakeValue(const CAtlString& text, bool integer) {
  if (!integer) return CAutoCFRelease<CFTypeRef>(text.CreateCFStringRef(kCFAllocatorDefault));
  const std::optional<int> value = ParseInt(text);
  if (!value) return CAutoCFRelease<CFTypeRef>();
  return CAutoCFRelease<CFTypeRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberIntType, &*value));
}

}  // namespace

int Get(const Context& context, const CAtlString& key, const CAtlString& name, bool type_only) {
  const PrefResult<CFTypeRef> found = CopyPreference(context.scope, key, name, context.domain);
  if (!found.ok()) return context.Fail(found.status, Address(key, name), false);
  if (context.json) {
    Json form = ToJson(found.value);
    if (type_only) form = TypeName(found.value);
    *context.out << JsonText(form, true) << '\n';
  } else {
    context.Item(type_only ? TypeName(found.value) : ValueText(found.value));
  }
  return kDone;
}

int Set(const Context& context, const CAtlString& key, const CAtlString& name,
        const CAtlString& value, const SetOptions& options) {
  const CAutoCFRelease<CFTypeRef> stored = MakeValue(value, options.integer);
  if (!stored) {
    return context.Fail(
        kUsage, "\"" + Escaped(ToUtf8(value)) + "\" is no integer from -2147483648 to 2147483647");
  }
  Transaction transaction(context.scope, context.domain);
  if (options.if_absent) transaction.RequireAbsent(key, name);
  if (options.if_equals) {
    // The text given is compared in the type of the present value; the transaction looks again
    // under the lock.
    const PrefResult<CFTypeRef> present = CopyPreference(context.scope, key, name, context.domain);
    const bool is_number = present.ok() && CFGetTypeID(present.value) == CFNumberGetTypeID() &&
                           ParseInt(*options.if_equals);
    transaction.RequireEqual(key, name, MakeValue(*options.if_equals, is_number));
  }
  transaction.Set(key, name, stored);
  const PrefStatus status = transaction.Commit();
  if (!status.ok()) return context.Fail(status, Address(key, name), true);
  context.Confirm("set " + Address(key, name));
  return kDone;
}

int Delete(const Context& context, const CAtlString& key, const CAtlString& name) {
  Transaction transaction(context.scope, context.domain);
  transaction.Delete(key, name, IfMissing::kFail);
  const PrefStatus status = transaction.Commit();
  if (!status.ok()) return context.Fail(status, Address(key, name), false);
  context.Confirm("deleted " + Address(key, name));
  return kDone;
}

int DeleteKey(const Context& context, const CAtlString& key, bool recursive) {
  const std::string what = "key \"" + Escaped(ToUtf8(key)) + "\"";
  const PrefResult<CFDictionaryRef> found = CopyPreferenceKey(context.scope, key, context.domain);
  if (!found.ok()) return context.Fail(found.status, what, false);
  if (!recursive && CFDictionaryGetCount(found.value) > 0) {
    return context.Fail(kUsage, what + " is not empty; --recursive deletes it with all below it");
  }
  Transaction transaction(context.scope, context.domain);
  transaction.DeleteKey(key, IfMissing::kFail);
  const PrefStatus status = transaction.Commit();
  if (!status.ok()) return context.Fail(status, what, false);
  context.Confirm("deleted " + what);
  return kDone;
}

}  // namespace orvik::prefstool
