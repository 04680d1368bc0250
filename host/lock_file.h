// The files of a folder's lock (file_lock.h): which of them may be used, how they are made, and
// their content.
//
// Every user who may write the folder may have put a file of this name there. So an existing one
// is used only when it is a lock's file that one of these users could have made, and nothing but
// its bytes is ever changed. Only a file that was made here gets an owner and a mode.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>
#include <string>

#include "host/descriptor.h"

namespace orvik {
namespace host {

// The words about a holder: process id, start in clock ticks, name of the machine.
struct HolderWords {
  pid_t pid = 0;  // 0: none
  std::uint64_t start = 0;
  std::string host;
};

const std::string& LockHostName();

// The words of this process, as a line.
const std::string& OwnHolderWords();

// The words in an open file.
HolderWords ReadHolderWords(int file);

// Replaces the words. Only people read them: the lock holds all the same after a failure.
void WriteHolderWords(int file);

// Whether an open file holds the words of a holder, a part of them or nothing: 0, or EINVAL.
int CheckHolderWords(int file);

// Gives a file that was just made the owner and the group of the folder, as far as the rights
// allow, and the mode that lets those open it who may write the folder.
void GiveFolderRights(int file, const struct stat& folder);

// Whether an open file has those rights. True also when the caller could not give them.
bool HasFolderRights(int file, const struct stat& folder);

// Opens an existing file below the folder. ENOENT; EINVAL when it is not a small regular file with
// one name of a trusted owner (IsTrustedFile); else what open reports.
int OpenLockFile(int folder, const struct stat& attributes, const char* name, int access,
                 Descriptor* file);

// Makes the file. EEXIST when the name is taken.
int MakeLockFile(int folder, const struct stat& attributes, const char* name, Descriptor* file);

// Removes the file, which the caller has locked, and makes another with the rights of the folder.
// False, with nothing changed, where such a file cannot be made.
bool RenewLockFile(int folder, const struct stat& attributes, const char* name);

}  // namespace host
}  // namespace orvik
