// The commands of orvikprefs. Each prints what it has to say and gives the exit status.
#pragma once

#include <optional>
#include <string>

#include "tools/orvikprefs/context.h"

namespace orvik::prefstool {

enum class Format { kXml, kJson };

// One value or key.
int Get(const Context& context, const CAtlString& key, const CAtlString& name, bool type_only);

struct SetOptions {
  bool integer = false;
  bool if_absent = false;
  std::optional<CAtlString> if_equals;
};
int Set(const Context& context, const CAtlString& key, const CAtlString& name,
        const CAtlString& value, const SetOptions& options);
int Delete(const Context& context, const CAtlString& key, const CAtlString& name);
int DeleteKey(const Context& context, const CAtlString& key, bool recursive);

// What lies below a key; the whole domain for an empty one.
int List(const Context& context, const CAtlString& key);
int Tree(const Context& context, const CAtlString& key);
int Find(const Context& context, const CAtlString& text, bool ignore_case);

// Whole domains as files. "-" stands for standard input or output.
int Export(const Context& context, Format format, const std::string& file);
struct ImportOptions {
  bool replace = false;  // instead of merging
  bool dry_run = false;
};
int Import(const Context& context, const std::string& file, const ImportOptions& options);
int Diff(const Context& context, const std::string& file, bool status_tells);

// Prints each change of a key until interrupted, or until count changes were printed (0: no end).
int Watch(const Context& context, const CAtlString& key, int count);

enum class LockAction { kShow, kRelease, kForce };
int Lock(const Context& context, LockAction action);

// The files behind the store.
int Where(const Context& context);
int Check(const Context& context);
int Repair(const Context& context);

}  // namespace orvik::prefstool
