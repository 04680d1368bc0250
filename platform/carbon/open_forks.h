// The open forks of the process, by their numbers.
#pragma once

#include <memory>
#include <string>

#include "platform/carbon/forks.h"

namespace orvik::carbon {

// One open fork. The descriptor is that of the file; a named fork has the attribute's name too.
class OpenFork {
 public:
  OpenFork(int descriptor, std::string attribute, bool may_write)
      : descriptor_(descriptor), attribute_(std::move(attribute)), may_write_(may_write) {}
  ~OpenFork();
  OpenFork(const OpenFork&) = delete;
  OpenFork& operator=(const OpenFork&) = delete;

  bool is_data_fork() const { return attribute_.empty(); }
  int descriptor() const { return descriptor_; }

  // All of them return 0 or an errno.
  int Size(SInt64* size) const;
  int Read(SInt64 position, unsigned long count, char* buffer, unsigned long* done) const;
  int Write(SInt64 position, unsigned long count, const char* buffer, unsigned long* done);
  int Resize(SInt64 size);
  int Reserve(SInt64 position, UInt64 count);
  int Close();

  SInt64 position = 0;

 private:
  int ReplaceAttribute(const std::string& value);

  int descriptor_;
  std::string attribute_;
  bool may_write_;
};

// Takes the fork over and gives it a number; 0 when all numbers are in use.
FSIORefNum RegisterFork(std::shared_ptr<OpenFork> fork);

// Null when the number is not in use.
std::shared_ptr<OpenFork> FindFork(FSIORefNum number);
std::shared_ptr<OpenFork> UnregisterFork(FSIORefNum number);

// Reads, and has no part in the rules of who may read and write beside whom.
inline constexpr SInt8 kReadWithoutClaims = 0x7F;

// Opens the data fork of the regular file that `ref` names (or the link it names leads to), under
// the rules of forks.h. Returns the descriptor, or -1 with `status` set.
int OpenDataFork(const FSRef& ref, SInt8 permissions, bool* may_write, OSErr* status);

}  // namespace orvik::carbon
