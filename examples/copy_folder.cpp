// Copying a folder with a progress line; Control-C stops it.
//
//   copy_folder SOURCE TARGET
//
// Exit status: 0 everything was copied, 1 an entry was not copied, 2 invalid command line, 3
// stopped. Without arguments it copies a small folder of its own.
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <string>
#include <thread>

#include <orvik/files/directory_manipulator.h>
#include <orvik/files/file_manipulator.h>
#include <orvik/files/path_arguments.h>
#include <orvik/files/progress.h>
#include <orvik/strings/utf8_strings.h>

using namespace orvik;

namespace {

std::string Bytes(const CAtlString& text) {
  return MakeUTF8StringFromUnicodeString(text).GetString();
}

// Shows the progress in one line of the terminal, which is overwritten each time.
ProgressAnswer Show(const ProgressState& state) {
  if (isatty(STDERR_FILENO)) {
    std::fprintf(stderr, "\r%llu of %llu files, %llu of %llu KiB \033[K",
                 static_cast<unsigned long long>(state.entries_done),
                 static_cast<unsigned long long>(state.entries_total),
                 static_cast<unsigned long long>(state.bytes_done / 1024),
                 static_cast<unsigned long long>(state.bytes_total / 1024));
  }
  return ProgressAnswer::kGoOn;
}

// Waits for Control-C on its own thread, where more is allowed than in a signal handler.
class Interruption {
 public:
  explicit Interruption(Progress& progress) {
    sigemptyset(&signals_);
    sigaddset(&signals_, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
    thread_ = std::thread([this, &progress] {
      int signal = 0;
      sigwait(&signals_, &signal);
      if (!is_over_) progress.Stop();
    });
  }
  ~Interruption() {
    is_over_ = true;
    pthread_kill(thread_.native_handle(), SIGINT);
    thread_.join();
  }
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

 private:
  sigset_t signals_;
  std::atomic<bool> is_over_ = false;
  std::thread thread_;
};

int Copy(const COrvikDirectoryPath& source, const COrvikDirectoryPath& target) {
  Progress progress(Show, ProgressTotals::kCount);
  TreeReport report;
  HRESULT result;
  {
    const Interruption interruption(progress);
    result =
        CDirectoryManipulator::RecursivelyCopyDirectory(source, target, FALSE, &report, &progress);
  }
  if (isatty(STDERR_FILENO)) std::fputc('\n', stderr);
  for (const TreeFailure& failure : report.failures) {
    const char* const side = failure.side == TreeSide::kTarget ? "target of " : "";
    std::fprintf(stderr, "%s%s: %s\n", side, Bytes(failure.path.GetFilePathString()).c_str(),
                 Bytes(failure.reason).c_str());
  }
  std::printf("%llu copied, %llu not\n", static_cast<unsigned long long>(report.done),
              static_cast<unsigned long long>(report.failed));
  if (result == E_ABORT) return 3;
  return result == S_OK && report.failed == 0 ? 0 : 1;
}

int ShowOneself() {
  COrvikDirectoryPath source = COrvikDirectoryPath::GetTempDirectoryPath(), target = source;
  source.AddDirectoryToPath(u"orvik-copy-source");
  target.AddDirectoryToPath(u"orvik-copy-target");
  CDirectoryManipulator::CreateDirectory(source);
  for (const char16_t* name : {u"one.txt", u"two.txt", u"three.txt"}) {
    if (CFileManipulator::WriteAsciiStringToFile(source.CreateFilePath(name), "some text\n", 10) !=
        S_OK) {
      return 1;
    }
  }
  const int status = Copy(source, target);
  for (const COrvikDirectoryPath& folder : {source, target}) {
    CDirectoryManipulator::RemoveDirectoryAndContents(folder);
  }
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 1) return ShowOneself();
  if (argc != 3) {
    std::fputs("usage: copy_folder SOURCE TARGET\n", stderr);
    return 2;
  }
  return Copy(COrvikDirectoryPath(PathFromBytes(argv[1])),
              COrvikDirectoryPath(PathFromBytes(argv[2])));
}
