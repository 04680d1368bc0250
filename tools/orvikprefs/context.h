// The surroundings of every command of orvikprefs: the store, the output, the exit status.
//
// Names, values and paths of the store may contain any characters. Text for people or messages must
// pass through Escaped or Quoted (text.h) first, unless a function below says that it does this
// itself.
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
#include "prefs/shared_lock.h"
#include "prefs/transaction.h"
#include "strings/atl_string.h"

namespace orvik::prefstool {

// Exit statuses, as the manual page lists them. Scripts depend on the numbers, so their meaning
// never changes.
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
// The meaning of a status, for the help and the test of the manual page.
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

// Describe (prefs/pref_status.h) with the path as Quoted gives it.
std::string ReasonOf(PrefStatus status);

// One run of the program. Commands take it as const and copy it to work with another store. The
// streams belong to the caller and outlive it.
struct Context {
  int scope = 0;                                       // 0 to 5, from the command line
  CAtlString domain;                                   // usable as a file name
  std::optional<std::chrono::milliseconds> lock_wait;  // no value: as the writers wait
  bool quiet = false;                                  // no confirmations, no progress
  bool json = false;                                   // one JSON text is the whole output
  bool null_separated = false;  // fields are raw and end with a NUL; not on a terminal
  bool terminal = false;        // for people: aligned, control characters escaped
  bool colour = false;
  bool hide_values = false;  // differences and messages show no value
  std::ostream* out = nullptr;
  std::ostream* error = nullptr;

  // An empty change of the domain, with the wait for its lock. Nothing is read or locked before it
  // is committed.
  Transaction Change() const;

  // Prints "orvikprefs: ", the text, which must be harmless, and a line feed on `error`. Returns
  // `status`, so that a command can end with this call.
  int Fail(ExitStatus status, const std::string& text) const;

  // Reports the failure of an operation on the store. Prints `what`, the operation or its object,
  // in harmless characters; then the reason, a remedy, and the scope, domain and file. `advice`
  // replaces the usual remedy for the failure.
  //
  // Returns the exit status of the failure, kDone for an ok() one. It may depend on `writing`:
  //
  //   failure                                         reading         writing
  //   a value on the path, instead of a key           kNotFound       kNotSaved
  //   too large, a link of another user, an           kDamagedFile    kNotSaved
  //     obstacle on the path, a refused lock file
  //   no permission to read the file                  kNotPermitted   kNotPermitted
  int Fail(const PrefStatus& status, const std::string& what, bool writing,
           const std::string& advice = "") const;

  // Ends a change: reports a failure as above, or confirms it with `done` ("set ") and `what`.
  // EndRemoval reports an entry below a value as missing (kNotFound).
  int End(const PrefStatus& status, const std::string& what, const char* done) const;
  int EndRemoval(const PrefStatus& status, const std::string& what, const char* done) const;

  // Reports the failure of a file other than a preference file, by its errno value `reason`: prints
  // its name and the reason. Returns kNotSaved when writing; when reading kNotFound for a missing
  // file, kNotPermitted, or kDamagedFile for any other reason.
  int FailFile(const std::string& file, int reason, bool writing) const;

  // Prints a line of confirmation on a terminal; nothing if quiet, with JSON, or piped. The text
  // must be harmless.
  void Confirm(const std::string& text) const;

  // The text between the sequences of a colour (an SGR code such as "36"), or unchanged without
  // colour.
  std::string Coloured(std::string_view text, const char* code) const;

  // Prints one record of a plain listing: its fields separated by tabs and ended by a line feed.
  // Each is escaped, except the field with the index `path` (JoinedPath), which is printed so that
  // it can be given back. With -z the fields are raw, each ended by a NUL.
  void Record(const std::vector<std::string>& fields, std::size_t path = kNoPath) const;
  static constexpr std::size_t kNoPath = static_cast<std::size_t>(-1);

  // Prints one name or value: raw and ended by a line feed (a NUL with -z) when piped, escaped on a
  // terminal.
  void Item(const std::string& text) const;
};

// The holder of the lock of a command's store. Texts come from the kernel or the record unchanged:
// they are not harmless.
struct LockHolder {
  using State = SharedLockRecord::State;
  State state = State::kFree;
  std::string process;
  int pid = -1;
  std::string user;   // "" when unknown
  std::string host;   // only for another machine
  std::string since;  // ISO 8601 in local time: of the record, else of the process; or ""
  std::string file;   // the file of the lock

  bool is_held() const { return state == State::kHeld; }
  bool is_unknown() const { return state == State::kUnknown; }
};

// Looks up the holder without taking a lock or changing anything. In the shared scope a process
// holds the record of the domain; in the other scopes the kernel's lock of the folder. The result
// may be out of date at once.
LockHolder FindHolder(const Context& context);

// A process that holds the lock, in harmless characters: "name", process 12 of root on host.
std::string ProcessOf(const LockHolder& holder);
// The same with the time since when, and the file of the lock.
std::string Describe(const LockHolder& holder);

// From a second after its construction until its destruction, shows the activity and the elapsed
// time on one line of standard error, which it then clears. Shows nothing unless standard error is
// a terminal, or if quiet.
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
