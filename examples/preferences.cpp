// The preference store: values in C++ types, several changes at once, and changes as they happen.
#include <poll.h>

#include <cstdio>

#include <orvik/prefs/preference_watch.h>
#include <orvik/prefs/transaction.h>
#include <orvik/prefs/typed_preferences.h>
#include <orvik/strings/utf8_strings.h>

using namespace orvik;

namespace {

constexpr char16_t kDomain[] = u"com.example.Settings";
constexpr char16_t kWindow[] = u"Software/Example/Window";

int Fail(const PrefStatus& status) {
  std::printf("not saved: %s\n", Describe(status).c_str());
  return 1;
}

}  // namespace

int main() {
  TypedPreferences settings(kDomain);
  // Removes the values of an earlier run.
  if (const PrefStatus status = settings.RemoveKey(kWindow); !status.ok()) return Fail(status);
  if (const PrefStatus status = settings.Set(kWindow, u"Title", u"Hello"); !status.ok()) {
    return Fail(status);
  }
  PreferenceWatch watch(kSharedScope, kWindow, kDomain);

  // All changes or none, under a single lock.
  Transaction transaction(kSharedScope, kDomain);
  transaction.RequireKey(kWindow);
  transaction.Set(kWindow, u"Width", 640);
  transaction.Set(kWindow, u"Height", 480);
  if (const PrefStatus status = transaction.Commit(); !status.ok()) return Fail(status);

  // An event loop waits for this descriptor together with its others.
  pollfd ready = {watch.descriptor(), POLLIN, 0};
  std::vector<PreferenceChange> changes;
  while (changes.empty() && poll(&ready, 1, 10'000) > 0) changes = watch.TakeChanges();
  std::printf("%zu values changed\n", changes.size());

  const CAtlString title(settings.String(kWindow, u"Title").value_or(u"").c_str());
  const int width = static_cast<int>(settings.Integer(kWindow, u"Width").value_or(0));
  std::printf("%s, %d wide\n", MakeUTF8StringFromUnicodeString(title).GetString(), width);
  return width == 640 && changes.size() == 2 ? 0 : 1;
}
