// The open forks of the process, by their numbers.
#pragma once

#include <memory>
#include <utility>

#include "host/descriptor.h"
#include "platform/carbon/forks.h"

namespace orvik::carbon {

// One open data fork.
class OpenFork {
 public:
  OpenFork(host::Descriptor file, bool may_write) : file_(std::move(file)), may_write_(may_write) {}

  // All of them return 0 or an errno.
  int Size(SInt64* size) const;
  int Read(SInt64 position, unsigned long count, char* buffer, unsigned long* done) const;
  int Write(SInt64 position, unsigned long count, const char* buffer, unsigned long* done);
  int Close();

  SInt64 position = 0;

 private:
  host::Descriptor file_;
  bool may_write_;
};

// Takes the fork over and gives it a number; 0 when all numbers are in use.
FSIORefNum RegisterFork(std::shared_ptr<OpenFork> fork);

// Null when the number is not in use.
std::shared_ptr<OpenFork> FindFork(FSIORefNum number);
std::shared_ptr<OpenFork> UnregisterFork(FSIORefNum number);

// Opens the data fork of the regular file that `ref` names (or the link it names leads to), under
// the rules of forks.h; empty, with `status` set, on failure.
host::Descriptor OpenDataFork(const FSRef& ref, SInt8 permissions, bool* may_write, OSErr* status);

}  // namespace orvik::carbon
