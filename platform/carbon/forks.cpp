#include "platform/carbon/forks.h"

#include <cerrno>
#include <limits>
#include <memory>

#include "platform/carbon/fsref_internal.h"
#include "platform/carbon/open_forks.h"
#include "platform/core_foundation/errno_status.h"

namespace orvik {
namespace {

using carbon::OpenFork;
using carbon::Status;

// The place a mode and an offset mean.
OSErr PlaceInFork(const OpenFork& fork, UInt16 mode, SInt64 offset, SInt64* place) {
  SInt64 base = 0;
  switch (mode) {
    case fsAtMark:
      *place = fork.position;
      return noErr;
    case fsFromStart:
      break;
    case fsFromLEOF:
      if (const int error = fork.Size(&base)) return Status(error);
      break;
    default:
      base = fork.position;
  }
  if (offset > 0 && base > std::numeric_limits<SInt64>::max() - offset) return posErr;
  if (base + offset < 0) return posErr;
  *place = base + offset;
  return noErr;
}

// Calls `transfer` with the fork and the place in it, and moves the mark behind what is `done`.
template <class Call>
OSErr Transfer(FSIORefNum fork, UInt16 mode, SInt64 offset, unsigned long request_count,
               const void* buffer, const unsigned long* done, const Call& transfer) {
  const std::shared_ptr<OpenFork> open = carbon::FindFork(fork);
  if (!open) return rfNumErr;
  if (buffer == nullptr && request_count != 0) return paramErr;
  SInt64 place = 0;
  if (const OSErr status = PlaceInFork(*open, mode, offset, &place)) return status;
  const OSErr status = transfer(*open, place);
  open->position = place + static_cast<SInt64>(*done);
  return status;
}

}  // namespace

OSErr FSGetDataForkName(HFSUniStr255* name) {
  if (name == nullptr) return paramErr;
  name->length = 0;
  return noErr;
}

OSErr FSOpenFork(const FSRef* ref, unsigned long name_length, const UniChar*, SInt8 permissions,
                 FSIORefNum* fork) {
  if (ref == nullptr || fork == nullptr) return paramErr;
  if (name_length != 0) return errFSForkNotFound;
  OSErr status = noErr;
  bool may_write = false;
  host::Descriptor file = carbon::OpenDataFork(*ref, permissions, &may_write, &status);
  if (!file) return status;
  const FSIORefNum number =
      carbon::RegisterFork(std::make_shared<OpenFork>(std::move(file), may_write));
  if (number == 0) return tmfoErr;
  *fork = number;
  return noErr;
}

OSErr FSCloseFork(FSIORefNum fork) {
  const std::shared_ptr<OpenFork> closing = carbon::UnregisterFork(fork);
  return closing ? Status(closing->Close()) : OSErr{rfNumErr};
}

OSErr FSReadFork(FSIORefNum fork, UInt16 position_mode, SInt64 position_offset,
                 unsigned long request_count, void* buffer, unsigned long* actual_count) {
  unsigned long done = 0;
  const OSErr status =
      Transfer(fork, position_mode, position_offset, request_count, buffer, &done,
               [&](OpenFork& open, SInt64 place) {
                 return Status(open.Read(place, request_count, static_cast<char*>(buffer), &done));
               });
  if (actual_count != nullptr) *actual_count = done;
  return status == noErr && done < request_count ? OSErr{eofErr} : status;
}

OSErr FSWriteFork(FSIORefNum fork, UInt16 position_mode, SInt64 position_offset,
                  unsigned long request_count, const void* buffer, unsigned long* actual_count) {
  unsigned long done = 0;
  const OSErr status = Transfer(
      fork, position_mode, position_offset, request_count, buffer, &done,
      [&](OpenFork& open, SInt64 place) {
        const int error = open.Write(place, request_count, static_cast<const char*>(buffer), &done);
        return error == EBADF ? OSErr{wrPermErr} : Status(error);
      });
  if (actual_count != nullptr) *actual_count = done;
  return status;
}

OSErr FSGetForkSize(FSIORefNum fork, SInt64* fork_size) {
  const std::shared_ptr<OpenFork> open = carbon::FindFork(fork);
  if (!open) return rfNumErr;
  if (fork_size == nullptr) return paramErr;
  return Status(open->Size(fork_size));
}

OSErr FSGetForkPosition(FSIORefNum fork, SInt64* position) {
  const std::shared_ptr<OpenFork> open = carbon::FindFork(fork);
  if (!open) return rfNumErr;
  if (position == nullptr) return paramErr;
  *position = open->position;
  return noErr;
}

OSErr FSSetForkPosition(FSIORefNum fork, UInt16 position_mode, SInt64 position_offset) {
  const std::shared_ptr<OpenFork> open = carbon::FindFork(fork);
  if (!open) return rfNumErr;
  return PlaceInFork(*open, position_mode, position_offset, &open->position);
}

}  // namespace orvik
