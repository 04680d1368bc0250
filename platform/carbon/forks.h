// The data fork of a file, which is its content.
//
// A named fork of a file is its extended attribute "user." + name, which copies of the file keep.
// These functions do not open named forks.
//
// Functions return a status: 0, or one of errno_status.h. An open fork is a 16-bit number that the
// caller must close. Several threads may use different forks at once; the caller must not use the
// same fork in two threads at once.
#pragma once

#include "platform/carbon/catalog_info.h"
#include "platform/carbon/fsref.h"

namespace [[gnu::visibility("default")]] orvik {

using FSIORefNum = SInt16;

// The permissions of FSOpenFork. If an open fork (of this or another process that uses these calls)
// forbids the new one, FSOpenFork fails with opWrErr or permErr:
//   fsRdPerm       read
//   fsWrPerm       write, beside other writers
//   fsRdWrPerm     read and write as the only writer
//   fsRdWrShPerm   read and write, beside other writers
//   fsRdDenyPerm   read, and write when the caller may; no other process may read
//   fsWrDenyPerm   read, and write when the caller may; no other process may write
// The rules are advisory locks of the kernel (a whole-file lock for reading, one byte far behind
// any content for writing). They do not stop programs that do not use them, and on a file system
// without locks nothing is denied. A caller without permission to write cannot deny writing to
// others.
inline constexpr SInt8 fsRdPerm = 0x01;
inline constexpr SInt8 fsWrPerm = 0x02;
inline constexpr SInt8 fsRdWrPerm = 0x03;
inline constexpr SInt8 fsRdWrShPerm = 0x04;
inline constexpr SInt8 fsRdDenyPerm = 0x10;
inline constexpr SInt8 fsWrDenyPerm = 0x20;

// The start from which a position counts.
inline constexpr UInt16 fsAtMark = 0;  // the current position; the offset is ignored
inline constexpr UInt16 fsFromStart = 1;
inline constexpr UInt16 fsFromLEOF = 2;
inline constexpr UInt16 fsFromMark = 3;

// Gives the name of the data fork, which is empty.
OSErr FSGetDataForkName(HFSUniStr255* name);

// Opens the data fork at position 0; any other name gives errFSForkNotFound. Follows a link at the
// end to its file; notAFileErr if that is not a regular file. For writing, it refuses a link of
// another user in a folder that others can change, and, in a sticky folder that everyone may write,
// a file of neither the caller nor the folder's owner. Other errors: opWrErr, permErr, tmfoErr
// (32,767 forks are open).
OSErr FSOpenFork(const FSRef* ref, unsigned long name_length, const UniChar* name,
                 SInt8 permissions, FSIORefNum* fork);

// Closes the fork; rfNumErr if it is not open.
OSErr FSCloseFork(FSIORefNum fork);

// Reads up to `request_count` bytes and advances the position. eofErr when the fork has fewer bytes
// left; these have been read. Always sets `actual_count` (may be null).
OSErr FSReadFork(FSIORefNum fork, UInt16 position_mode, SInt64 position_offset,
                 unsigned long request_count, void* buffer, unsigned long* actual_count);

// Writes `request_count` bytes and advances the position; a gap after the old end reads as zeros.
// Always sets `actual_count` (may be null). wrPermErr if the fork was opened for reading,
// fileBoundsErr beyond 2^63 - 1 bytes, dskFulErr on a full volume. A failed call may have written a
// part.
OSErr FSWriteFork(FSIORefNum fork, UInt16 position_mode, SInt64 position_offset,
                  unsigned long request_count, const void* buffer, unsigned long* actual_count);

// The size of the fork and its position, in bytes. rfNumErr for a fork that is not open.
OSErr FSGetForkSize(FSIORefNum fork, SInt64* fork_size);
OSErr FSGetForkPosition(FSIORefNum fork, SInt64* position);

// A position before the start gives posErr and changes nothing; one behind the end is allowed.
OSErr FSSetForkPosition(FSIORefNum fork, UInt16 position_mode, SInt64 position_offset);

}  // namespace orvik
