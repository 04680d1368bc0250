// The files of a folder's lock (file_lock.h): the check of existing ones, the making of new ones,
// and their content.
//
// Every user who may write the folder may have made a file of this name. So an existing file is
// used only if one of these users could have made it as a lock file, and nothing but its content is
// ever changed. Owner and mode are set only on files that were made here.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>
#include <string>

#include "host/descriptor.h"

namespace orvik {
namespace host {

// The content of a lock file: process id, start time in clock ticks, name of the machine.
struct HolderWords {
  pid_t pid = 0;  // 0: unknown
  std::uint64_t start = 0;
  std::string host;
};

const std::string& LockHostName();

// The words that describe this process, as a line.
const std::string& OwnHolderWords();

// Reads the words from an open file.
HolderWords ReadHolderWords(int file);

// Replaces the words with those of this process. A failure does not affect the lock: only people
// read the words.
void WriteHolderWords(int file);

// 0 when an open file holds the words of a holder, a beginning of them, or nothing; otherwise
// EINVAL.
int CheckHolderWords(int file);

// Gives a new file the group of the folder and, as root, its owner, as far as the caller may set
// them, and the mode that lets exactly the users open it who may write the folder.
void GiveFolderRights(int file, const struct stat& folder);

// Whether an open file has them. Also true when the caller could not set them.
bool HasFolderRights(int file, const struct stat& folder);

// Opens an existing file in the folder. ENOENT; EINVAL unless it is a small regular file with a
// single name and a trusted owner (IsTrustedFile); otherwise the error of open.
int OpenLockFile(int folder, const struct stat& attributes, const char* name, int access,
                 Descriptor* file);

// Makes the file. EEXIST when the name is taken.
int MakeLockFile(int folder, const struct stat& attributes, const char* name, Descriptor* file);

// Replaces the file, which the caller has locked, by a new one with the permissions of the folder.
// False, with nothing changed, when such a file cannot be made.
bool RenewLockFile(int folder, const struct stat& attributes, const char* name);

}  // namespace host
}  // namespace orvik
