#include "tools/orvikprefs/context.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <ostream>
#include <utility>

#include "host/descriptor.h"
#include "prefs/reporting.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

// The end of the message about a lock that was not obtained. The holder is looked up after the wait
// and may have ended by then.
std::string WhoHoldsTheLock(const Context& context) {
  const LockHolder holder = FindHolder(context);
  if (holder.is_unknown()) return " (the holder is not known: no permission)";
  return holder.is_held() ? ": " + Describe(holder) : " (it is free now)";
}

// The exit status of a failure, for a reader and for a writer, and a remedy. Failures without a row
// are "not saved".
struct FailureRow {
  PrefError error;
  ExitStatus reading, writing;
  const char* advice;
};
constexpr FailureRow kFailures[] = {
    {PrefError::kNotFound, kNotFound, kNotFound, ""},
    {PrefError::kNotAKey, kNotFound, kNotSaved, ""},
    {PrefError::kConditionNotMet, kConditionNotMet, kConditionNotMet, ""},
    {PrefError::kLockNotObtained, kLockNotObtained, kLockNotObtained,
     "try again, or see \"orvikprefs lock\""},
    {PrefError::kRefusedDomain, kUsage, kUsage, "give another --domain"},
    {PrefError::kUnknownScope, kUsage, kUsage, "give another --scope"},
    {PrefError::kDamaged, kDamagedFile, kDamagedFile,
     "orvikprefs repair keeps a copy of it and saves what can be read"},
    {PrefError::kRootNotDictionary, kDamagedFile, kDamagedFile,
     "orvikprefs repair --replace keeps a copy of it and starts an empty domain"},
    {PrefError::kNothingSaved, kNothingSaved, kNothingSaved,
     "orvikprefs repair --replace keeps a copy of it and starts an empty domain"},
    {PrefError::kUnreadable, kDamagedFile, kDamagedFile, ""},
    {PrefError::kNotPermitted, kNotSaved, kNotSaved,
     "run it as a user who may write the folder, or as root"},
    {PrefError::kReadOnly, kNotSaved, kNotSaved, "mount the volume for writing"},
    {PrefError::kDiskFull, kNotSaved, kNotSaved, "make room on the volume"},
    {PrefError::kIsAKey, kConditionNotMet, kConditionNotMet, ""},
    {PrefError::kIsAValue, kConditionNotMet, kConditionNotMet, ""},
    {PrefError::kKeyNotEmpty, kConditionNotMet, kConditionNotMet, ""},
    {PrefError::kTooLarge, kDamagedFile, kNotSaved, ""},
    {PrefError::kForeignLink, kDamagedFile, kNotSaved, "remove the link, or make it root's"},
    {PrefError::kInTheWay, kDamagedFile, kNotSaved, "move it away"},
    {PrefError::kLockRefused, kDamagedFile, kNotSaved, "move it away"},
};

const FailureRow& RowOf(PrefError error) {
  static constexpr FailureRow kOther = {PrefError::kNotSaved, kNotSaved, kNotSaved, ""};
  const auto* const found =
      std::find_if(std::begin(kFailures), std::end(kFailures),
                   [error](const FailureRow& row) { return row.error == error; });
  return found != std::end(kFailures) ? *found : kOther;
}

std::string ScopeText(int scope) {
  for (const ScopeName& row : kNamedScopes) {
    if (row.scope == scope) return std::string(row.name) + " scope";
  }
  return "scope " + std::to_string(scope);
}

}  // namespace

std::string ReasonOf(PrefStatus status) {
  const std::string path = std::exchange(status.path, {});
  return Describe(status) + (path.empty() ? "" : ": " + Quoted(path));
}

Transaction Context::Change() const {
  Transaction change(scope, domain);
  change.WaitAtMost(lock_wait);
  return change;
}

int Context::Fail(ExitStatus status, const std::string& text) const {
  *error << "orvikprefs: " << text << '\n';
  return status;
}

// One line: the object of the command, the reason, advice, and the scope, domain and file
// concerned.
int Context::Fail(const PrefStatus& status, const std::string& what, bool writing,
                  const std::string& advice) const {
  if (status.ok()) return kDone;
  const std::string file = PreferenceFilePath(scope, domain);
  const FailureRow& row = RowOf(status.error);
  ExitStatus exit = writing ? row.writing : row.reading;
  std::error_code unknown;
  std::string text = what + ": " + ReasonOf(status), hint = advice.empty() ? row.advice : advice;
  if (status.error == PrefError::kNotFound && !std::filesystem::exists(file, unknown) && !unknown) {
    hint = "the domain has no file yet";
  } else if (status.error == PrefError::kLockNotObtained) {
    text += WhoHoldsTheLock(*this);
  } else if (status.error == PrefError::kUnreadable && status.error_number == EACCES) {
    exit = kNotPermitted;
    hint = "run it as a user who may read the file";
  }
  if (!hint.empty()) text += "; " + hint;
  text += " (" + ScopeText(scope) + ", domain " + Quoted(domain);
  if (!file.empty() && what != Quoted(file)) text += ", file " + Quoted(file);
  return Fail(exit, text + ")");
}

int Context::End(const PrefStatus& status, const std::string& what, const char* done) const {
  if (status.ok()) Confirm(done + what);
  return Fail(status, what, true);
}

int Context::EndRemoval(const PrefStatus& status, const std::string& what, const char* done) const {
  if (status.error == PrefError::kNotAKey) return Fail(status, what, false);
  return End(status, what, done);
}

int Context::FailFile(const std::string& file, int reason, bool writing) const {
  const ExitStatus status = writing                                 ? kNotSaved
                            : reason == ENOENT || reason == ENOTDIR ? kNotFound
                            : reason == EACCES || reason == EPERM   ? kNotPermitted
                                                                    : kDamagedFile;
  return Fail(status, Quoted(file) + " cannot be " + (writing ? "written" : "read") + ": " +
                          std::strerror(reason));
}

// In scripts, silence means success; so only a terminal gets confirmations.
void Context::Confirm(const std::string& text) const {
  if (terminal && !quiet && !json) *out << text << '\n';
}

std::string Context::Coloured(std::string_view text, const char* code) const {
  if (!colour) return std::string(text);
  return std::string("\x1b[") + code + "m" + std::string(text) + "\x1b[0m";
}

// With --null each field is written unchanged and ends with a NUL. Otherwise fields are separated
// by tabs and escaped, except the path, which has already been escaped by its own rule.
void Context::Record(const std::vector<std::string>& fields, std::size_t path) const {
  for (size_t i = 0; i < fields.size(); ++i) {
    if (null_separated && !terminal) {
      *out << fields[i] << '\0';
    } else {
      *out << (i > 0 ? "\t" : "") << (i == path ? fields[i] : Escaped(fields[i]));
    }
  }
  if (!null_separated || terminal) *out << '\n';
}

void Context::Item(const std::string& text) const {
  if (null_separated && !terminal) {
    *out << text << '\0';
  } else {
    *out << (terminal ? Escaped(text) : text) << '\n';
  }
}

// The thread sleeps until the first second is over or the work ends; for short work only the start
// of the thread costs time.
Progress::Progress(const Context& context, const char* what) : what_(what) {
  if (isatty(STDERR_FILENO) != 0 && !context.quiet) thread_ = std::thread([this] { Show(); });
}

Progress::~Progress() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    ended_ = true;
  }
  end_.notify_one();
  thread_.join();
}

// Shows nothing in the first second, then the elapsed seconds, four times a second. Clears its line
// at the end.
void Progress::Show() {
  using std::chrono::milliseconds;
  std::unique_lock<std::mutex> lock(mutex_);
  std::string line;
  for (int quarters = 4;
       !end_.wait_for(lock, milliseconds(quarters == 4 ? 1000 : 250), [this] { return ended_; });
       ++quarters) {
    // One write, so that the line does not mix with others.
    line = "\r" + what_ + ", " + std::to_string(quarters / 4) + " s";
    if (host::WriteAll(STDERR_FILENO, line) != 0) return;
  }
  if (!line.empty()) {
    const std::string cleared = "\r" + std::string(line.size() - 1, ' ') + "\r";
    host::WriteAll(STDERR_FILENO, cleared);
  }
}

}  // namespace orvik::prefstool
