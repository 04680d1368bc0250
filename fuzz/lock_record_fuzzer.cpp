// Any property list as the record of the advisory lock: its holder follows from the rules, taking
// and releasing leave the promised record, and other entries stay.
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "fuzz/entries.h"
#include "fuzz/require.h"
#include "fuzz/scratch_folder.h"
#include "platform/core_foundation/string.h"
#include "prefs/shared_lock.h"

using orvik::SharedLockRecord;
using orvik::fuzz::Entries;
using orvik::fuzz::Require;
using orvik::plist::Type;
using orvik::plist::Value;

namespace {

const orvik::CAtlString kDomain(u"com.example.Fuzz");

struct Home : orvik::fuzz::ScratchFolder {
  Home() {
    std::filesystem::create_directories(preferences);
    orvik::ExchangeSharedLockWait([] { ++Waits(); });
    Require(orvik::LockGlobalSharedPList(kDomain));
    name = orvik::CopySharedLockRecord(kDomain).process;
    Require(!name.IsEmpty());
  }
  static int& Waits() {
    static int waits = 0;
    return waits;
  }
  const std::filesystem::path preferences = home() / "Library/Preferences";
  const std::filesystem::path file = preferences / "com.example.Fuzz.lock.plist";
  orvik::CAtlString name;  // the name of this process
};

Value Entry(const Value& record, const char16_t* name) {
  const Value* const found = record ? record.Find(name) : nullptr;
  return found == nullptr ? Value() : *found;
}

int AsInt(const Value& value, int otherwise) {
  switch (value.type()) {
    case Type::kString:
      return orvik::Owned<orvik::NSString>(orvik::NSString::NewFromText(value.text()))->intValue();
    case Type::kInteger:
      return static_cast<int>(std::clamp<std::int64_t>(
          value.integer().is_unsigned ? INT64_MAX : static_cast<std::int64_t>(value.integer().bits),
          INT_MIN, INT_MAX));
    case Type::kReal:
      return std::isnan(value.real())
                 ? 0
                 : static_cast<int>(std::clamp<double>(value.real(), INT_MIN, INT_MAX));
    default:
      return otherwise;
  }
}

// Whether a record names this process; nothing when it names another process, running or not.
std::optional<bool> NamesThisProcess(const Value& record, const orvik::CAtlString& name) {
  if (AsInt(Entry(record, u"lock"), 0) == 0) return false;
  const int pid = AsInt(Entry(record, u"pid"), -1);
  if (pid != getpid()) return pid <= 0 ? std::optional(false) : std::nullopt;
  return Entry(record, u"process") == Value(name);
}

// All entries but the three of the lock.
Value WithoutRecord(Value entries) {
  for (const char16_t* name : {u"lock", u"process", u"pid"}) entries.Remove(name);
  return entries;
}

void CheckFile(const Home& home, const Value& before, bool held) {
  const Value now = Entries(orvik::fuzz::ReadFile(home.file));
  Require(static_cast<bool>(now));
  Require(AsInt(Entry(now, u"lock"), -7) == (held ? 1 : 0));
  Require(AsInt(Entry(now, u"pid"), -7) == (held ? getpid() : -7));
  Require(Entry(now, u"process") == (held ? Value(home.name) : Value(u"")));
  Require(WithoutRecord(now) == (before ? WithoutRecord(before) : Value::Dictionary()));
}

void Replace(std::string& text, std::string_view mark, const std::string& by) {
  for (std::size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at)) {
    text.replace(at, mark.size(), by);
    at += by.size();
  }
}

}  // namespace

// "@PID" and "@NAME" in the input stand for the id and the name of this process.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Home home;
  orvik::fuzz::RemoveAllIn(home.preferences);
  std::string bytes = orvik::fuzz::Bytes(data, size);
  Replace(bytes, "@PID", std::to_string(getpid()));
  Replace(bytes, "@NAME", std::string(home.name.View().begin(), home.name.View().end()));
  orvik::fuzz::WriteFile(home.file, bytes);
  const Value before = Entries(bytes);

  const bool held = orvik::IsGlobalSharedPListLocked(kDomain);
  if (const auto expected = NamesThisProcess(before, home.name)) Require(held == *expected);
  const SharedLockRecord record = orvik::CopySharedLockRecord(kDomain);
  Require((record.state == SharedLockRecord::State::kHeld) == held);
  Require((record.state == SharedLockRecord::State::kFree) == (record.lock == 0));
  if (held) Require(!orvik::ReleaseStaleSharedLock(kDomain));
  Require(orvik::fuzz::ReadFile(home.file) == bytes);

  Home::Waits() = 0;
  Require(orvik::LockGlobalSharedPList(kDomain) == !held);
  // Fewer waits if the files themselves take some of the ten seconds.
  Require(Home::Waits() <= (held ? 10 : 0));
  if (!held) {
    Require(orvik::IsGlobalSharedPListLocked(kDomain));
    CheckFile(home, before, true);
  }
  orvik::UnlockGlobalSharedPList(kDomain);
  Require(!orvik::IsGlobalSharedPListLocked(kDomain));
  CheckFile(home, before, false);
  return 0;
}
