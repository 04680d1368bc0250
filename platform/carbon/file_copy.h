// Copying a file as the file manager sees it. Our own call: it does on descriptors what a walk over
// the forks and the catalog information does by reference.
#pragma once

#include "platform/carbon/files.h"

namespace orvik {

inline constexpr unsigned long kForkCopyBufferSize = 0x40000;  // bytes

// Makes the file `name` (units) in a folder, a copy of `source`: the content (host/content_copy.h),
// every named fork, finder information, permissions, the creation, modification and access dates
// and the lock. A symbolic link gives a link with the same text. While the copy is incomplete its
// file type is `busy_type` and its owner may read, write and execute it; a failure removes it
// again. Set-user and set-group bits are kept only when the copy has the same owner and group.
//
// 0, or a status: dupFNErr when the name is taken (what stands there is not touched), notAFileErr
// for a folder or a special file (which is not opened).
OSErr FSCopyFileAs(const FSRef* source, const FSRef* parent, unsigned long name_length,
                   const UniChar* name, OSType busy_type);

}  // namespace orvik
