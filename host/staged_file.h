// Staged files and folders: written beside their target, committed to its name when they are
// complete.
//
// A staged file has no name, if the volume supports that. Otherwise, and a folder always, it is
// called ".<name>.orvik-<16 random digits>" beside its target (a hash replaces a name that is too
// long). Other users can neither guess such a name nor take all of them. The maker holds a kernel
// lock on the entry as long as it has this name. The next writer of the same target removes the
// staged entries of killed processes: those with names of exactly this form that are unlocked and
// that it may remove. The destructor removes an entry that was not committed.
//
// Functions that return an int return 0 or an errno.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <string>

#include "host/descriptor.h"
#include "host/paths.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Renames to a name that must be free: EEXIST when it is taken. The check is atomic if the volume
// supports that.
int RenameWithoutReplacing(int from, const char* from_name, int to, const char* to_name);

// Sixteen random hexadecimal digits that cannot be guessed.
std::string RandomDigits();

// Gives an open file without a name (O_TMPFILE) a name: EEXIST when the name is taken.
int LinkUnnamed(int file, int folder, const char* name);

// Flushes the names in a folder to disk, if the volume supports that.
int FlushFolder(int folder);

// Whether the open folder has an entry that may be a leftover of a killed process. Also true when
// the folder cannot be read.
bool HasStagedEntries(int folder);

// The common base of StagedFile and StagedFolder. The folder must stay open.
class StagedEntry {
 public:
  StagedEntry(int folder, std::string target);
  StagedEntry(const StagedEntry&) = delete;
  StagedEntry& operator=(const StagedEntry&) = delete;

  int descriptor() const { return entry_.get(); }
  // Whether the entry has a staged name.
  bool has_name() const { return !name_.empty(); }

  // Removes the staged entries that killed processes have left for this target.
  void RemoveAbandoned();

 protected:
  ~StagedEntry() = default;

  void RemoveIfAbandoned(const std::string& name, const struct stat& folder) const;
  // Calls `function` with new names until it returns an error other than EEXIST, or 0.
  template <class Function>
  int WithFreeName(Function function);
  // Records the folder's state after this object's own commit.
  void NoteCommit() const;
  // Locks the new entry of this name: EEXIST when another process has removed it as abandoned
  // meanwhile. On file systems without locks this always succeeds.
  int Lock(const std::string& name) const;

  int folder_;
  std::string target_;
  Descriptor entry_;
  bool is_searched_ = false;  // RemoveAbandoned has searched the folder
  std::string name_;          // the staged name; "" before and after
};

class StagedFile : public StagedEntry {
 public:
  using StagedEntry::StagedEntry;
  ~StagedFile();

  // Makes the file with `mode` less the umask. Without `clean` it does not look for leftovers of
  // killed processes, for a folder that the caller has just made. A file that has a name from the
  // start has at most the permissions of `named`.
  int Make(mode_t mode, bool clean = true, mode_t named = 0777);

  // Puts the file in the target's place. With the open target as `old_file`, exchanges both names
  // and removes the old file: some volumes flush a file that is renamed over another. With -1,
  // renames.
  int Commit(int old_file);

  // Gives the file the target's name: EEXIST when it is taken.
  int CommitAsNew();
  // The same, but the file never has two names. On a volume whose renames always replace, another
  // process that makes the target at the same moment loses its file.
  int CommitUnlessTaken();

  // Removes the file after CommitAsNew or CommitUnlessTaken.
  void Rollback();

 private:
  // Ends a commit: if `error` is 0, forgets the staged name. Returns `error`.
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

  // Makes an empty folder of mode 0700.
  int Make();

  // Whether the folder belongs to the caller and no other user can enter it, so that only the
  // caller can change its entries. False on volumes without owners, and when another user has
  // replaced the folder.
  bool IsPrivate() const;

  // Gives the folder the target's name: EEXIST when it is taken.
  int CommitAsNew();

  // Gives the folder its staged name again, so that the destructor removes it.
  void Rollback();

 private:
  std::string staged_name_;
};

}  // namespace host
}  // namespace orvik
