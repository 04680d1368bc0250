// The surroundings of every command of orvikprefs: the store, the output, the exit status.
#pragma once

#include <chrono>
#include <condition_variable>
#include <iosfwd>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "prefs/pref_status.h"
#include "prefs/transaction.h"
#include "strings/atl_string.h"

namespace orvik::prefstool {

// Exit statuses, as the manual page lists them.
enum ExitStatus : int {
  kDone = 0,
  kUsage = 1,
  kNotFound = 2,
  kNotSaved = 3,
  kLockNotObtained = 4,
  kDamagedFile = 5,
  kConditionNotMet = 6,
  kNotPermitted = 7,
  kWouldChange = 8,
  kNothingSaved = 9,
};
struct StatusRow {
  ExitStatus status;
  const char* meaning;
};
inline constexpr StatusRow kStatuses[] = {
    {kDone, "done"},
    {kUsage, "invalid command line"},
    {kNotFound, "not found"},
    {kNotSaved, "not saved"},
    {kLockNotObtained, "the lock was not obtained"},
    {kDamagedFile, "a file is damaged or cannot be read"},
    {kConditionNotMet, "a condition is not met, or something differs"},
    {kNotPermitted, "no permission to read a file"},
    {kWouldChange, "apply --check: something would change"},
    {kNothingSaved, "repair: nothing of the file can be saved"},
};

struct Context {
  int scope = 0;
  CAtlString domain;
  std::optional<std::chrono::milliseconds> lock_wait;  // nothing: as the writers wait
  bool quiet = false;
  bool json = false;
  bool null_separated = false;
  bool terminal = false;  // people read it: aligned, control characters made visible
  bool colour = false;
  bool hide_values = false;  // differences and messages show no value
  std::ostream* out = nullptr;
  std::ostream* error = nullptr;

  // An empty change of the domain, with the wait for its lock.
  Transaction Change() const;

  // "orvikprefs: " and the text on standard error, with the status to end with.
  int Fail(ExitStatus status, const std::string& text) const;

  // The failure of an operation on the store: "what" says what was being done, or with what, in
  // harmless characters (text.h); then the reason, what to do, and the scope, domain and file.
  // kNotAKey means not found to a reader and not saved to a writer. "advice" replaces the
  // general advice for the failure.
  int Fail(const PrefStatus& status, const std::string& what, bool writing,
           const std::string& advice = "") const;

  // Why a file that is not a preference file could not be read or written: its name and the reason.
  int FailFile(const std::string& file, int reason, bool writing) const;

  // A line of confirmation on a terminal, nothing when quiet or piped.
  void Confirm(const std::string& text) const;

  // The text in a colour (an SGR code such as "36"), or as it is.
  std::string Coloured(std::string_view text, const char* code) const;

  // One record of a plain listing: its fields separated by tabs and ended by a line feed, each
  // escaped, except the one with this index, a path (JoinedPath) that is printed as it can be given
  // back; with -z raw fields, each ended by a NUL.
  void Record(const std::vector<std::string>& fields, std::size_t path = kNoPath) const;
  static constexpr std::size_t kNoPath = static_cast<std::size_t>(-1);

  // One name or value by itself: raw and ended by a line feed (a NUL with -z) when piped, escaped
  // on a terminal.
  void Item(const std::string& text) const;
};

// The holder of the lock of the store that a command works with.
struct LockHolder {
  bool is_held = false;   // by a process that runs
  bool is_stale = false;  // the record names one that does not
  std::string process;
  int pid = -1;
  std::string user;         // "" when it is not known
  std::string host;         // of another machine
  std::string since;        // ISO 8601 in local time: of the record, else of the process; or ""
  std::string file;         // where the lock is kept
  bool is_unknown = false;  // no record is held, and the file may not be read
  bool is_refused = false;  // the file is not a regular lock file of a trusted user
};

// Of the shared scope, with its record; of the other scopes, whose folder has the kernel's lock
// alone.
LockHolder FindHolder(const Context& context);

// A process that holds the lock, in harmless characters: "name", process 12 of root on host.
std::string ProcessOf(const LockHolder& holder);
// The same with the time since when, and the file of the lock.
std::string Describe(const LockHolder& holder);

// From a second after its making until its end, shows what is being done and for how long on one
// line of standard error, which is cleared again. Shows nothing unless standard error is a
// terminal, or when quiet.
class Progress {
 public:
  Progress(const Context& context, const char* what);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

 private:
  void Show();

  std::string what_;
  std::mutex mutex_;
  std::condition_variable end_;
  bool ended_ = false;
  std::thread thread_;
};

}  // namespace orvik::prefstool
