// Every state that a loss of power can leave of an operation's files: the model is described in
// docs/reliability.md. While a plan has a recorder, the files are looked at after each call that
// changes something, and each flush is recorded. The mode is the one that was set last.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace orvik::test {

// A file, folder or link of a state.
struct CrashEntry {
  mode_t mode = 0;      // type and permissions
  std::string content;  // of a file; the text of a link
  int node = 0;         // names of one file have the same
  bool operator==(const CrashEntry&) const = default;
};

struct CrashState {
  std::map<std::string, CrashEntry> entries;  // by path below the stage, folders before their files
  std::size_t events = 0;                     // that had happened
  bool at_end = false;                        // the operation had ended
};

// Takes the record of an operation on the files below a folder.
class CallRecorder {
 public:
  explicit CallRecorder(const std::string& folder);

  void Changed();  // after a call that may have changed names, contents or modes
  void Flushed(int file);
  void FlushedAll();

  // The different states, in the order of the moments at which they first can be left.
  std::vector<CrashState> States() const;

 private:
  using Identity = std::pair<dev_t, ino_t>;
  using Names = std::map<std::pair<int, std::string>, int>;  // node by folder and name
  struct Event {
    enum Kind { kContent, kNames, kFlush, kFlushAll } kind;
    int node = -1;  // of kContent and kFlush
    CrashEntry entry;
    Names names;  // of kNames: what each name is from now on, -1 for nothing
  };

  int Learn(const std::string& path, Names* names);
  void AddStates(std::size_t events, std::vector<CrashState>* states) const;

  const std::string folder_;
  std::map<Identity, int> nodes_;  // of the files that have a name, or may get one
  int next_node_ = 0;
  std::map<int, CrashEntry> entries_, first_entries_;  // now, and before the operation, on disk
  Names names_, first_names_;
  std::vector<Event> events_;
};

// The content of a file, also of one that its mode hides from its owner; the text of a link.
std::string ContentOf(const std::string& path, mode_t mode);

// Builds the state in a new folder.
void Build(const CrashState& state, const std::string& folder);

}  // namespace orvik::test
