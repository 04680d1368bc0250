// Settings of a program that several processes change: each sees what the others saved.
//
// The store replaces a file as a whole, under its name. So the folder is watched, not the file: a
// new file of that name is a change. The descriptor fits into any event loop.
#include <poll.h>
#include <sys/inotify.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include <orvik/prefs/preferences.h>
#include <orvik/prefs/reporting.h>
#include <orvik/prefs/transaction.h>

using namespace orvik;

namespace {

constexpr int kUser = 1;
constexpr char16_t kDomain[] = u"com.example.settings";
constexpr char16_t kKey[] = u"Software/Example/Window";

class Settings {
 public:
  Settings() : file_(PreferenceFilePath(kUser, kDomain)) {
    const std::filesystem::path folder = file_.parent_path();
    std::filesystem::create_directories(folder);
    watch_ = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    inotify_add_watch(watch_, folder.c_str(), IN_MOVED_TO | IN_CLOSE_WRITE | IN_DELETE);
    Load();
  }
  ~Settings() { close(watch_); }
  Settings(const Settings&) = delete;
  Settings& operator=(const Settings&) = delete;

  int descriptor() const { return watch_; }
  int width() const { return width_; }

  // Called when the descriptor can be read. True if the width is another one than before.
  bool Changed() {
    alignas(inotify_event) char events[4096];
    bool ours = false;
    for (ssize_t size; (size = read(watch_, events, sizeof events)) > 0;) {
      for (const char* at = events; at < events + size;) {
        const auto* event = reinterpret_cast<const inotify_event*>(at);
        // When events were lost, anything may have changed.
        ours = ours || (event->mask & IN_Q_OVERFLOW) != 0 ||
               (event->len > 0 && file_.filename() == event->name);
        at += sizeof *event + event->len;
      }
    }
    const int before = width_;
    if (ours) Load();
    return width_ != before;
  }

  // True when the value is on disk.
  bool Save(int width) {
    Transaction transaction(kUser, kDomain);
    transaction.SetInt(kKey, u"Width", width);
    const PrefStatus status = transaction.Commit();
    if (!status.ok()) std::fprintf(stderr, "not saved: %s\n", Describe(status).c_str());
    return status.ok();
  }

 private:
  void Load() {
    unsigned long error = 0;
    width_ = GetPreferenceInt(kUser, kKey, u"Width", 800, &error, kDomain);
  }

  const std::filesystem::path file_;
  int watch_ = -1;
  int width_ = 0;
};

}  // namespace

int main() {
  Settings settings;
  const int before = settings.width();
  const pid_t other = fork();
  if (other == 0) _exit(Settings().Save(before + 1) ? 0 : 1);

  pollfd loop{settings.descriptor(), POLLIN, 0};
  bool changed = false;
  while (!changed && poll(&loop, 1, 10'000) > 0) changed = settings.Changed();
  int status = 0;
  waitpid(other, &status, 0);
  std::printf("width %d, then %d\n", before, settings.width());
  return status == 0 && changed && settings.width() == before + 1 ? 0 : 1;
}
