// Every state in which a power failure can leave an operation's files; docs/reliability.md
// describes the model. If a plan has a recorder, the files are examined after each call that
// changes something, and each flush is recorded. A file always has the mode that was set last.
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
  std::string content;  // the content of a file, or the text of a link
  int node = 0;         // the same for all names of one file
  bool operator==(const CrashEntry&) const = default;
};

struct CrashState {
  std::map<std::string, CrashEntry> entries;  // by path below the stage, folders first
  std::size_t events = 0;                     // the number of events before this state
  bool at_end = false;                        // the operation had ended
};

// Records an operation on the files below a folder.
class CallRecorder {
 public:
  explicit CallRecorder(const std::string& folder);

  void Changed();  // to be called after a call that may have changed names, contents or modes
  void Flushed(int file);
  void FlushedAll();

  // The different states, in the order of the first moments at which they are possible.
  std::vector<CrashState> States() const;

 private:
  using Identity = std::pair<dev_t, ino_t>;
  using Names = std::map<std::pair<int, std::string>, int>;  // node by folder and name
  struct Event {
    enum Kind { kContent, kNames, kFlush, kFlushAll } kind;
    int node = -1;  // for kContent and kFlush
    CrashEntry entry;
    Names names;  // for kNames: the new node of each name, -1 for a removed name
  };

  int Learn(const std::string& path, Names* names);
  void AddStates(std::size_t events, std::vector<CrashState>* states) const;

  const std::string folder_;
  std::map<Identity, int> nodes_;  // of the files that have or may get a name
  int next_node_ = 0;
  std::map<int, CrashEntry> entries_, first_entries_;  // now, and on disk before the operation
  Names names_, first_names_;
  std::vector<Event> events_;
};

// The content of a file, even if its mode forbids reading; the text of a link.
std::string ContentOf(const std::string& path, mode_t mode);

// Creates the files of the state in a new folder.
void Build(const CrashState& state, const std::string& folder);

}  // namespace orvik::test
