// The preference store: the plain operations, and a transaction, which reports whether it was saved.
#include <cstdio>

#include <orvik/prefs/preferences.h>
#include <orvik/prefs/transaction.h>
#include <orvik/strings/utf8_strings.h>

using namespace orvik;

int main() {
  constexpr int kShared = 0;
  const CAtlString domain(u"com.example.Settings"), key(u"Software/Example/Window");

  // Answers 0 when the lock was had, whether or not the file could be saved.
  if (WritePreferenceString(kShared, key, u"Title", u"Hello", domain) != 0) return 1;

  Transaction transaction(kShared, domain);
  transaction.RequireEqual(
      key, u"Title",
      CAutoCFRelease<CFTypeRef>(CAtlString(u"Hello").CreateCFStringRef(kCFAllocatorDefault)));
  transaction.SetInt(key, u"Width", 640);
  transaction.SetInt(key, u"Height", 480);
  const PrefStatus saved = transaction.Commit();
  if (!saved.ok()) {
    std::printf("not saved: %s\n", Describe(saved).c_str());
    return 1;
  }

  unsigned long error = 0;
  const int width = GetPreferenceInt(kShared, key, u"Width", 0, &error, domain);
  const CAtlString title = GetPreferenceString(kShared, key, u"Title", u"", &error, domain);
  std::printf("%s, %d wide\n", MakeUTF8StringFromUnicodeString(title).GetString(), width);
  return width == 640 && error == 0 ? 0 : 1;
}
