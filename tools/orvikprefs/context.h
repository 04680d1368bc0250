// The surroundings of every command of orvikprefs: the store, the output, the exit status.
//
// A name, a value or a path of the store may hold anything. Whatever is printed for people or in a
// message goes through Escaped or Quoted (text.h) first; functions below say so where they do it
// themselves.
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

// Exit statuses, as the manual page lists them. Scripts depend on the numbers: they never change
// their meaning.
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
// What the help and the test of the manual page say of a status.
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
  int scope = 0;                                       // 0 to 5, as the command line gives it
  CAtlString domain;                                   // can name a file
  std::optional<std::chrono::milliseconds> lock_wait;  // nothing: as the writers wait
  bool quiet = false;                                  // no confirmations, no progress
  bool json = false;                                   // one JSON text is the whole output
  bool null_separated = false;  // fields are raw and end with a NUL; not on a terminal
  bool terminal = false;        // people read it: aligned, control characters made visible
  bool colour = false;
  bool hide_values = false;  // differences and messages show no value
  std::ostream* out = nullptr;
  std::ostream* error = nullptr;

  // An empty change of the domain, with the wait for its lock. Nothing is read or locked before it
  // is committed.
  Transaction Change() const;

  // Prints "orvikprefs: ", the text, which must be harmless, and a line feed on `error`. Returns
  // `status`, so that a command can end with it.
  int Fail(ExitStatus status, const std::string& text) const;

  // The failure of an operation on the store. Prints `what`, which says what was being done, or
  // with what, in harmless characters; then the reason, what to do, and the scope, domain and file.
  // `advice` replaces the general advice for the failure.
  //
  // Returns the exit status of the failure, kDone for an ok() one. It may depend on `writing`:
  //
  //   failure                                         reading         writing
  //   a value on the way, in the place of a key       kNotFound       kNotSaved
  //   too large, a link of another user, something    kDamagedFile    kNotSaved
  //     in the way, a refused lock's file
  //   the file may not be read                        kNotPermitted   kNotPermitted
  int Fail(const PrefStatus& status, const std::string& what, bool writing,
           const std::string& advice = "") const;

  // Ends a change: fails as above, or confirms what is `done` ("set ") with `what`. A removal does
  // not find (kNotFound) what lies below a value.
  int End(const PrefStatus& status, const std::string& what, const char* done) const;
  int EndRemoval(const PrefStatus& status, const std::string& what, const char* done) const;

  // The failure of a file that is not a preference file, by its errno value `reason`: prints its
  // name and the reason. Returns kNotSaved for a file to write; for one to read kNotFound when it
  // is missing, kNotPermitted, or kDamagedFile for any other reason.
  int FailFile(const std::string& file, int reason, bool writing) const;

  // Prints a line of confirmation on a terminal; nothing when quiet, with JSON, or piped. The text
  // must be harmless.
  void Confirm(const std::string& text) const;

  // The text between the sequences of a colour (an SGR code such as "36"), or as it is without
  // colour.
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

// The holder of the lock of the store that a command works with. Texts are as the kernel or the
// record has them: not harmless.
struct LockHolder {
  using State = SharedLockRecord::State;
  State state = State::kFree;
  std::string process;
  int pid = -1;
  std::string user;   // "" when it is not known
  std::string host;   // of another machine
  std::string since;  // ISO 8601 in local time: of the record, else of the process; or ""
  std::string file;   // where the lock is kept

  bool is_held() const { return state == State::kHeld; }
  bool is_unknown() const { return state == State::kUnknown; }
};

// Looks for the holder, takes no lock and changes nothing. In the shared scope a process holds the
// record of the domain; in the other scopes, whose folder has the kernel's lock alone, that lock.
// What is found may be out of date at once.
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
