// The data forks of files, which are their contents.
//
// A named fork of a file is its extended attribute "user." + name, which copies of the file keep;
// it is not opened here.
//
// Functions return a status: 0, or one of errno_status.h. An open fork is a 16-bit number that
// the caller closes. Calls on different forks may run in different threads; calls on one fork are
// kept apart by the caller.
#pragma once

#include "platform/carbon/catalog_info.h"
#include "platform/carbon/fsref.h"

namespace [[gnu::visibility("default")]] orvik {

using FSIORefNum = SInt16;

// How a fork is opened. An opening that the ones already there forbid (in this or in another
// process that uses these calls) fails with opWrErr or permErr:
//   fsRdPerm       read
//   fsWrPerm       write, beside other writers
//   fsRdWrPerm     read and write as the only writer
//   fsRdWrShPerm   read and write, beside other writers
//   fsRdDenyPerm   read, and write when the caller may; no other process may read
//   fsWrDenyPerm   read, and write when the caller may; no other process may write
// The rules are advisory locks of the kernel (a whole-file lock for reading, one byte far beyond
// any content for writing), so programs that do not use them are not stopped, and where the file
// system has no locks nothing is denied. A caller without permission to write cannot deny writing
// to others.
inline constexpr SInt8 fsRdPerm = 0x01;
inline constexpr SInt8 fsWrPerm = 0x02;
inline constexpr SInt8 fsRdWrPerm = 0x03;
inline constexpr SInt8 fsRdWrShPerm = 0x04;
inline constexpr SInt8 fsRdDenyPerm = 0x10;
inline constexpr SInt8 fsWrDenyPerm = 0x20;

// Where a position counts from.
inline constexpr UInt16 fsAtMark = 0;  // the current position, the offset is ignored
inline constexpr UInt16 fsFromStart = 1;
inline constexpr UInt16 fsFromLEOF = 2;
inline constexpr UInt16 fsFromMark = 3;

// The empty name of the data fork.
OSErr FSGetDataForkName(HFSUniStr255* name);

// Opens the data fork at position 0; another name gives errFSForkNotFound. A final symbolic link is
// followed to the file; anything that is not a regular file in the end gives notAFileErr. For
// writing, a link of another user in a folder that others can change is refused, and that user's
// file in a sticky folder that everyone may write. Other errors: opWrErr, permErr, tmfoErr (32,767
// forks are open).
OSErr FSOpenFork(const FSRef* ref, unsigned long name_length, const UniChar* name,
                 SInt8 permissions, FSIORefNum* fork);

// Closes the fork; rfNumErr when it is not open.
OSErr FSCloseFork(FSIORefNum fork);

// Reads up to `request_count` bytes and advances the position. eofErr when fewer bytes were left;
// what there was has been read. `actual_count` (may be null) is set in every case.
OSErr FSReadFork(FSIORefNum fork, UInt16 position_mode, SInt64 position_offset,
                 unsigned long request_count, void* buffer, unsigned long* actual_count);

// Writes `request_count` bytes and advances the position; a gap behind the old end reads as zeros.
// `actual_count` (may be null) is set in every case. wrPermErr when the fork was opened to be read,
// fileBoundsErr beyond 2^63 - 1 bytes, dskFulErr on a full volume. After a failure a part may be
// written.
OSErr FSWriteFork(FSIORefNum fork, UInt16 position_mode, SInt64 position_offset,
                  unsigned long request_count, const void* buffer, unsigned long* actual_count);

// The size of the fork and its position, in bytes. rfNumErr for a fork that is not open.
OSErr FSGetForkSize(FSIORefNum fork, SInt64* fork_size);
OSErr FSGetForkPosition(FSIORefNum fork, SInt64* position);

// A position before the start gives posErr and moves nothing; one behind the end is allowed.
OSErr FSSetForkPosition(FSIORefNum fork, UInt16 position_mode, SInt64 position_offset);

}  // namespace orvik
