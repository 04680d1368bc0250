#include <cstdio>
#include <cstring>
#include <memory>
#include <ostream>

#include "platform/core_foundation/data.h"
#include "platform/core_foundation/property_list.h"
#include "host/replace_file.h"
#include "prefs/reporting.h"
#include "prefs/transaction.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

using Dictionary = CAutoCFRelease<CFDictionaryRef>;

// The whole of a file, or of standard input for "-". False when it cannot be read.
bool ReadWhole(const std::string& file, std::string& bytes) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> opened(
      file == "-" ? nullptr : std::fopen(file.c_str(), "rb"),
      [](std::FILE* stream) { return std::fclose(stream); });
  std::FILE* stream = file == "-" ? stdin : opened.get();
  if (stream == nullptr) return false;
  char buffer[65536];
  while (const size_t count = std::fread(buffer, 1, sizeof buffer, stream)) {
    bytes.append(buffer, count);
  }
  return std::ferror(stream) == 0;
}

// The dictionary that a file of either form holds. What is no property list must be JSON.
Dictionary ReadDictionary(const Context& context, const std::string& file, int& status) {
  std::string bytes;
  if (!ReadWhole(file, bytes)) {
    status = context.Fail(kNotFound, "\"" + Escaped(file) + "\" cannot be read");
    return Dictionary();
  }
  const CAutoCFRelease<CFDataRef> data(CFDataCreate(kCFAllocatorDefault,
                                                    reinterpret_cast<const UInt8*>(bytes.data()),
                                                    static_cast<CFIndex>(bytes.size())));
  std::string error;
  CAutoCFRelease<CFPropertyListRef> root;
  // An object of JSON could pass for the old text form of a property list; JSON is tried first.
  const Json json = ParseJson(bytes, error);
  if (json.is_object()) {
    error.clear();
    root = FromJson(json, error);
  } else {
    root.Attach(CFPropertyListCreateFromXMLData(kCFAllocatorDefault, data, kCFPropertyListImmutable,
                                                nullptr));
    if (!root) error = "neither a property list nor a JSON object";
  }
  if (root && !IsDictionary(root)) {
    root.Free();
    error = "its root is no dictionary";
  }
  if (!root) status = context.Fail(kDamagedFile, "\"" + Escaped(file) + "\": " + error);
  return Dictionary(static_cast<CFDictionaryRef>(root.Detach()));
}

// The present domain; an empty holder with kDone when there is no file yet.
Dictionary ReadDomain(const Context& context, int& status) {
  PrefResult<CFDictionaryRef> domain = CopyDomain(context.scope, context.domain);
  if (!domain.ok() && domain.status.error != PrefError::kNotFound) {
    status =
        context.Fail(domain.status, "domain \"" + Escaped(ToUtf8(context.domain)) + "\"", false);
  }
  return std::move(domain.value);
}

// The first with the entries of the second put in; dictionaries that both have are merged alike.
Dictionary Merged(CFDictionaryRef base, CFDictionaryRef added) {
  if (base == nullptr) return Dictionary::Retaining(added);
  CAutoCFRelease<CFMutableDictionaryRef> merged(
      CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, base));
  for (const Entry& entry : SortedEntries(added)) {
    const CFPropertyListRef present = CFDictionaryGetValue(base, entry.name);
    if (IsDictionary(present) && IsDictionary(entry.value)) {
      const Dictionary below =
          Merged(static_cast<CFDictionaryRef>(present), static_cast<CFDictionaryRef>(entry.value));
      CFDictionarySetValue(merged, entry.name, below);
    } else {
      CFDictionarySetValue(merged, entry.name, entry.value);
    }
  }
  return Dictionary(merged.Detach());
}

// Saves the merged entries, each on condition that what it was merged with still stands there.
PrefStatus CommitMerge(const Context& context, CFDictionaryRef present, CFDictionaryRef added) {
  Transaction transaction(context.scope, context.domain);
  const Dictionary target = Merged(present, added);
  for (const Entry& entry : SortedEntries(added)) {
    const CFPropertyListRef before =
        present != nullptr ? CFDictionaryGetValue(present, entry.name) : nullptr;
    const CAtlString name(entry.name);
    if (before != nullptr) {
      transaction.RequireEqual(CAtlString(), name, before);
    } else {
      transaction.RequireAbsent(CAtlString(), name);
    }
    transaction.Set(CAtlString(), name, CFDictionaryGetValue(target, entry.name));
  }
  return transaction.Commit();
}

}  // namespace

int Export(const Context& context, Format format, const std::string& file) {
  const PrefResult<CFDictionaryRef> domain = CopyDomain(context.scope, context.domain);
  if (!domain.ok()) {
    return context.Fail(domain.status, "domain \"" + Escaped(ToUtf8(context.domain)) + "\"", false);
  }
  std::string bytes;
  if (format == Format::kJson) {
    bytes = JsonText(ToJson(domain.value.Get()), true) + "\n";
  } else {
    const CAutoCFRelease<CFDataRef> xml(
        CFPropertyListCreateXMLData(kCFAllocatorDefault, domain.value.Get()));
    if (!xml) return context.Fail(kNotSaved, "the domain cannot be written as XML");
    bytes.assign(reinterpret_cast<const char*>(CFDataGetBytePtr(xml)),
                 static_cast<size_t>(CFDataGetLength(xml)));
  }
  if (file == "-") {
    context.out->write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return kDone;
  }
  const int error = host::ReplaceFile(file, bytes).error;
  if (error != 0)
    return context.Fail(kNotSaved, "\"" + Escaped(file) + "\": " + std::strerror(error));
  context.Confirm("exported to \"" + Escaped(file) + "\"");
  return kDone;
}

int Import(const Context& context, const std::string& file, const ImportOptions& options) {
  int status = kDone;
  const Dictionary added = ReadDictionary(context, file, status);
  if (!added) return status;
  // Another program may change an entry between reading and saving; then it is merged anew.
  constexpr int kTries = 5;
  PrefStatus saved;
  for (int i = 0; i < kTries; ++i) {
    const Dictionary present = ReadDomain(context, status);
    if (status != kDone) return status;
    if (options.dry_run) {
      const Dictionary target =
          options.replace ? Dictionary::Retaining(added) : Merged(present, added);
      PrintDifferences(context, Differences(present, target));
      return kDone;
    }
    if (options.replace) {
      Transaction transaction(context.scope, context.domain);
      transaction.ReplaceDomain(added);
      saved = transaction.Commit();
      break;
    }
    saved = CommitMerge(context, present, added);
    if (saved.error != PrefError::kConditionNotMet) break;
  }
  if (!saved.ok()) return context.Fail(saved, "\"" + Escaped(file) + "\" is not imported", true);
  context.Confirm("imported \"" + Escaped(file) + "\"");
  return kDone;
}

int Diff(const Context& context, const std::string& file, bool status_tells) {
  int status = kDone;
  const Dictionary other = ReadDictionary(context, file, status);
  if (!other) return status;
  const Dictionary present = ReadDomain(context, status);
  if (status != kDone) return status;
  const std::vector<Difference> differences = Differences(present, other);
  PrintDifferences(context, differences);
  return status_tells && !differences.empty() ? kConditionNotMet : kDone;
}

}  // namespace orvik::prefstool
