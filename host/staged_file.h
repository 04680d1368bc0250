// Staged files and folders: written beside their target, committed to its name when they are whole.
//
// A staged file has no name, where the volume knows such files. Otherwise, and a folder always, it
// is called ".<name>.orvik-<16 random digits>" beside its place (a hash replaces a name that is too
// long). No user can guess such a name or take all of them. Its maker keeps a kernel lock on the
// entry as long as it has this name. The next writer of the same target removes those that killed
// processes have left: names of exactly this form, unlocked, and its own to remove. The
// destructor removes what was not committed.
//
// Failures are error numbers of Linux; 0 is success.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <string>

#include "host/descriptor.h"
#include "host/paths.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Renames to a name that is free: EEXIST when it is taken, as far as the volume can check
// in one step.
int RenameWithoutReplacing(int from, const char* from_name, int to, const char* to_name);

// Sixteen hexadecimal digits that cannot be guessed.
std::string RandomDigits();

// Gives an open file without a name (O_TMPFILE) its first one: EEXIST when it is taken.
int LinkUnnamed(int file, int folder, const char* name);

// Puts the names in a folder on disk, where the volume can.
int FlushFolder(int folder);

// Whether the open folder has an entry that a killed process may have left on its way. Also true
// when the folder cannot be read.
bool HasStagedEntries(int folder);

// The common base of both. The folder must stay open.
class StagedEntry {
 public:
  StagedEntry(int folder, std::string target);
  StagedEntry(const StagedEntry&) = delete;
  StagedEntry& operator=(const StagedEntry&) = delete;

  int descriptor() const { return entry_.get(); }
  // Whether it has a name on its way.
  bool has_name() const { return !name_.empty(); }

  // Removes what killed processes have left on the way to the target.
  void RemoveAbandoned();

 protected:
  ~StagedEntry() = default;

  void RemoveIfAbandoned(const std::string& name, const struct stat& folder) const;
  // Calls with one name after the other while the answer is EEXIST.
  template <class Function>
  int WithFreeName(Function function);
  // Remembers the folder as it is after the own commit.
  void NoteCommit() const;
  // Locks the new entry of this name: EEXIST when another process has taken it for an abandoned one
  // meanwhile. On file systems without locks this always succeeds.
  int Lock(const std::string& name) const;

  int folder_;
  std::string target_;
  Descriptor entry_;
  bool is_searched_ = false;  // RemoveAbandoned has read the folder
  std::string name_;          // "" while it has none, or has arrived
};

class StagedFile : public StagedEntry {
 public:
  using StagedEntry::StagedEntry;
  ~StagedFile();

  // `mode` less the umask. Without `clean`, what killed processes have left is not looked for: in a
  // folder that the caller has just made there is nothing. A file that has a name from the start
  // has the permissions of `named` at most.
  int Make(mode_t mode, bool clean = true, mode_t named = 0777);

  // Puts the file in the target's place. `old_file` is the open target (-1: none) when its space
  // need not be given back on disk first.
  int Commit(int old_file);

  // Puts the file at a free name: EEXIST when it is taken.
  int CommitAsNew();
  // The same without a second name at any moment: on a volume whose renames always replace, another
  // process that makes the file in the same moment loses its file.
  int CommitUnlessTaken();

  // Removes the file that has arrived as new.
  void Rollback();

 private:
  // Ends a commit: after 0 the staged name is forgotten. Returns `error`.
  int Arrived(int error);
  bool CanGetName() const;
  bool Exchange(int old_file);
  int GiveName();
  int MakeNamed(mode_t mode);
};

class StagedFolder : public StagedEntry {
 public:
  using StagedEntry::StagedEntry;
  ~StagedFolder();

  // An empty folder of mode 0700.
  int Make();

  // Whether it belongs to the caller, and no other user can enter it: names in it are the caller's
  // alone. False on volumes without owners, and when another user has put another folder in its
  // place.
  bool IsPrivate() const;

  // Puts the folder at a free name: EEXIST when it is taken.
  int CommitAsNew();

  // Puts it back on its way, so that it is removed.
  void Rollback();

 private:
  std::string staged_name_;
};

}  // namespace host
}  // namespace orvik
