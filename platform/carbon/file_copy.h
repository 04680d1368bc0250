// Copying a file as the file manager sees it. Our own call: it does on descriptors what a walk over
// the forks and the catalog information does by reference.
#pragma once

#include "platform/carbon/files.h"
#include "host/descriptor.h"

namespace [[gnu::visibility("default")]] orvik {

inline constexpr unsigned long kForkCopyBufferSize = 0x40000;  // bytes

// Makes the file at `target_path` (bytes), a copy of `source`: the content (host/content_copy.h),
// every named fork, finder information, permissions, the creation, modification and access dates
// and the lock. A symbolic link gives a link with the same text. While a copy is incomplete its
// file type is `busy_type`; its owner may then read, write and execute it. A failure removes the
// copy again. Set-user and set-group bits are kept only when the copy has the same owner and group.
//
// 0, or a status: dupFNErr when something stands at the target (it is not touched), notAFileErr for
// a folder or a special file (which is not opened).
OSErr FSCopyFileAs(const FSRef* source, const UInt8* target_path, OSType busy_type);

// Copies files from one folder to another under the same names, without walking to the folders for
// every file.
class FSFolderCopier {
 public:
  // A link to a folder is followed.
  OSErr Open(const FSRef* from, const FSRef* to);

  // As FSCopyFileAs, but a file of at most one buffer appears only when it is whole, where the
  // volume can do that. `name` must not be that of a special file.
  OSErr CopyFile(unsigned long name_length, const UniChar* name, OSType busy_type);

 private:
  host::Descriptor from_;
  host::Descriptor to_;
  bool can_name_later_ = true;
};

}  // namespace orvik
