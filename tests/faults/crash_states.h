// Every state that a loss of power can leave of an operation's files.
//
// While a plan has a recorder, each call that changes something is recorded: contents, names,
// flushes. From the record follows what a POSIX file system may have kept at any moment:
//
//   content    after the file's last flush: what was flushed, or what was written since, or the
//   first
//              half of that, or as many zeros
//   names      a change of a folder that was flushed is kept; each later one is kept or lost by
//   itself,
//              a rename as one change
//
// The model is that of the papers on crash consistency (Pillai et al., OSDI 2014; Mohan et al.,
// OSDI 2018) without the promises that single file systems add. Attributes other than the mode are
// left out, and the mode is the one that was set last.
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
  std::map<std::string, CrashEntry>
      entries;             // by path below the stage, folders before what they hold
  std::size_t events = 0;  // that had happened
  bool at_end = false;     // the operation had ended
};

// Takes the record of an operation on the files below a folder.
class CallRecorder {
 public:
  explicit CallRecorder(const std::string& folder);

  // After a call that succeeded. Names are those of the call.
  void Made(int folder, const char* name);  // a file, folder or link that is new
  void MadeUnnamed(int file);
  void Changed(int file);  // content or mode
  void Linked(int file_folder, const char* file_name, int flags, int folder, const char* name);
  // Before a rename or removal that may succeed, since afterwards the names say nothing; Undo
  // takes the last one back when the call failed.
  void WillRename(int from, const char* from_name, int to, const char* to_name, bool exchanges);
  void WillRemove(int folder, const char* name);
  void Undo();
  void Flushed(int file);
  void FlushedAll();

  // The different states, in the order of the moments at which they first can be left.
  std::vector<CrashState> States() const;

 private:
  using Identity = std::pair<dev_t, ino_t>;
  struct Edit {
    int folder;
    std::string name;
    int node;  // -1: nothing has the name any more
  };
  struct Event {
    enum Kind { kContent, kNames, kFlush, kFlushAll } kind;
    int node = -1;  // of kContent and kFlush
    CrashEntry entry;
    std::vector<Edit> edits;
  };
  using Names = std::map<std::pair<int, std::string>, int>;

  void Learn(const std::string& path, int folder, const std::string& name);
  int NewNode(const Identity& identity);
  int NodeOf(const Identity& identity) const;  // -1 when it lies elsewhere
  // The folder and the last name of a path; -1 when it lies elsewhere.
  int FolderOf(int folder, const char* name, std::string* last) const;
  void AddStates(std::size_t events, std::vector<CrashState>* states) const;

  std::map<Identity, int> nodes_;
  int next_node_ = 0;
  std::map<int, CrashEntry> first_entries_;  // before the operation; on disk
  Names first_names_;
  std::vector<Event> events_;
};

// Builds the state in a new folder.
void Build(const CrashState& state, const std::string& folder);

}  // namespace orvik::test
