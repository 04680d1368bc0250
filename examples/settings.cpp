// Settings of a program that several processes change: each process sees the changes of the others.
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>

#include <orvik/prefs/preference_watch.h>
#include <orvik/prefs/typed_preferences.h>

using namespace orvik;

namespace {

constexpr char16_t kDomain[] = u"com.example.settings";
constexpr char16_t kKey[] = u"Software/Example/Window";

class Settings {
 public:
  Settings() { Load(); }

  // For any event loop, which calls Changed when the descriptor is readable.
  int descriptor() const { return watch_.descriptor(); }
  std::int64_t width() const { return width_; }
  bool dark() const { return dark_; }

  // True if a value below the key has changed.
  bool Changed() {
    if (watch_.TakeChanges().empty()) return false;
    Load();
    return true;
  }

  // True when the values are on disk.
  bool Save(std::int64_t width, bool dark) {
    PrefStatus status = store_.Set(kKey, u"Width", width);
    if (status.ok()) status = store_.Set(kKey, u"Dark", dark);
    if (!status.ok()) std::fprintf(stderr, "not saved: %s\n", Describe(status).c_str());
    return status.ok();
  }

 private:
  void Load() {
    width_ = store_.Integer(kKey, u"Width").value_or(800);
    dark_ = store_.Boolean(kKey, u"Dark").value_or(false);
  }

  // The watch comes first, so that every change after reading the values is reported.
  PreferenceWatch watch_{kUserScope, kKey, kDomain};
  TypedPreferences store_{kDomain, kUserScope};
  std::int64_t width_ = 0;
  bool dark_ = false;
};

}  // namespace

int main() {
  Settings settings;
  const std::int64_t before = settings.width();
  const pid_t other = fork();
  if (other == 0) _exit(Settings().Save(before + 1, true) ? 0 : 1);

  pollfd loop{settings.descriptor(), POLLIN, 0};
  while (!(settings.width() == before + 1 && settings.dark()) && poll(&loop, 1, 10'000) > 0) {
    settings.Changed();
  }
  int status = 0;
  waitpid(other, &status, 0);
  std::printf("width %lld, then %lld\n", static_cast<long long>(before),
              static_cast<long long>(settings.width()));
  return status == 0 && settings.width() == before + 1 && settings.dark() ? 0 : 1;
}
