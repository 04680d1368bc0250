// Any property list as the record of the advisory lock: who holds it is what the rules say, taking
// and releasing leave the record that they promise, and other entries stay.
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
#include "platform/core_foundation/scalars.h"
#include "platform/core_foundation/string.h"
#include "prefs/shared_lock.h"

using orvik::NSObject;
using orvik::SharedLockRecord;
using orvik::fuzz::Dictionary;
using orvik::fuzz::Entries;
using orvik::fuzz::OwnedObject;
using orvik::fuzz::Require;

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
  orvik::CAtlString name;  // of this process
};

const NSObject* Entry(const OwnedObject& root, const char16_t* name) {
  return Dictionary(root)->objectForKey(orvik::CFSTR(name));
}

int AsInt(const NSObject* value, int otherwise) {
  if (const auto* text = dynamic_cast<const orvik::NSString*>(value)) return text->intValue();
  const auto* number = dynamic_cast<const orvik::NSNumber*>(value);
  const orvik::plist::Value own = number == nullptr ? orvik::plist::Value() : number->value();
  switch (own.type()) {
    case orvik::plist::Type::kInteger:
      return static_cast<int>(std::clamp<std::int64_t>(
          own.integer().is_unsigned ? INT64_MAX : static_cast<std::int64_t>(own.integer().bits),
          INT_MIN, INT_MAX));
    case orvik::plist::Type::kReal:
      return std::isnan(own.real())
                 ? 0
                 : static_cast<int>(std::clamp<double>(own.real(), INT_MIN, INT_MAX));
    default:
      return otherwise;
  }
}

// Whether a record names this process; nothing when it names another one, which may run or not.
std::optional<bool> NamesThisProcess(const OwnedObject& record, const orvik::CAtlString& name) {
  if (!record || AsInt(Entry(record, u"lock"), 0) == 0) return false;
  const int pid = AsInt(Entry(record, u"pid"), -1);
  if (pid != getpid()) return pid <= 0 ? std::optional(false) : std::nullopt;
  const auto* process = dynamic_cast<const orvik::NSString*>(Entry(record, u"process"));
  return process != nullptr && orvik::CAtlString(process).View() == name.View();
}

// The record's entries beside the three of the lock.
void TakeOutRecord(const OwnedObject& root) {
  for (const char16_t* name : {u"lock", u"process", u"pid"}) {
    Dictionary(root)->removeObjectForKey(orvik::CFSTR(name));
  }
}

void CheckFile(const Home& home, const OwnedObject& before, bool held) {
  const OwnedObject now = Entries(orvik::fuzz::ReadFile(home.file));
  Require(now != nullptr);
  Require(AsInt(Entry(now, u"lock"), -7) == (held ? 1 : 0));
  Require(AsInt(Entry(now, u"pid"), -7) == (held ? getpid() : -7));
  const auto* process = dynamic_cast<const orvik::NSString*>(Entry(now, u"process"));
  Require(process != nullptr);
  Require(orvik::CAtlString(process).View() == (held ? home.name.View() : u""));
  TakeOutRecord(now);
  Require(before ? orvik::CFEqual(now.get(), before.get()) : Dictionary(now)->count() == 0);
}

void Replace(std::string& text, std::string_view mark, const std::string& by) {
  for (std::size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at)) {
    text.replace(at, mark.size(), by);
    at += by.size();
  }
}

}  // namespace

// In the input "@PID" and "@NAME" are replaced by those of this process.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Home home;
  orvik::fuzz::RemoveAllIn(home.preferences);
  std::string bytes = orvik::fuzz::Bytes(data, size);
  Replace(bytes, "@PID", std::to_string(getpid()));
  Replace(bytes, "@NAME", std::string(home.name.View().begin(), home.name.View().end()));
  orvik::fuzz::WriteFile(home.file, bytes);
  const OwnedObject before = Entries(bytes);

  const bool held = orvik::IsGlobalSharedPListLocked(kDomain);
  if (const auto expected = NamesThisProcess(before, home.name)) Require(held == *expected);
  const SharedLockRecord record = orvik::CopySharedLockRecord(kDomain);
  Require((record.state == SharedLockRecord::State::kHeld) == held);
  Require((record.state == SharedLockRecord::State::kFree) == (record.lock == 0));
  if (held) Require(!orvik::ReleaseStaleSharedLock(kDomain));
  Require(orvik::fuzz::ReadFile(home.file) == bytes);

  Home::Waits() = 0;
  Require(orvik::LockGlobalSharedPList(kDomain) == !held);
  Require(Home::Waits() == (held ? 10 : 0));
  if (before) TakeOutRecord(before);
  if (!held) {
    Require(orvik::IsGlobalSharedPListLocked(kDomain));
    CheckFile(home, before, true);
  }
  orvik::UnlockGlobalSharedPList(kDomain);
  Require(!orvik::IsGlobalSharedPListLocked(kDomain));
  CheckFile(home, before, false);
  return 0;
}
