// References to file-system objects.
//
// A reference is a value: it is declared on the stack, copied and dropped freely, and names one
// object (file, folder, link, special file), not a path. It remembers the path the object had and
// the object's identity (device, inode, birth time). Every call that takes a reference checks that
// the identity is still at the path. When the object was renamed or moved within its volume it
// is found again, and when another object took its place the call answers that the file is not
// found rather than touch the newcomer.
//
// How a moved object is found: the first references of a process (at most kMaxAnchors at once,
// fewer when the process may open few files) hold on to the object through a descriptor that
// neither reads nor writes it, and the kernel gives its present path. A reference beyond that
// number is looked for by its identity in the folder where it was last seen.
//
// Functions return a status: 0, or one of errno_status.h.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

using OptionBits = UInt32;

// Keeps hold of an object on behalf of the references to it.
class FSRefAnchor;

// The fields are this folder's own business: callers use the calls.
struct FSRef {
  std::string path;  // absolute, bytes as on disk, no trailing "/" (the root is "/")
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::int64_t birth = 0;  // nanoseconds; 0 when the file system does not record it
  std::shared_ptr<const FSRefAnchor> anchor;
};

inline constexpr int kMaxAnchors = 256;

inline constexpr OptionBits kFSPathMakeRefDefaultOptions = 0;
inline constexpr OptionBits kFSPathMakeRefDoNotFollowLeafSymlink = 1;

// A reference for an existing object from its path (bytes; UTF-8 unless the name on disk is not).
// A relative path counts from the current folder. A final symbolic link is followed.
// `is_directory` may be null.
OSStatus FSPathMakeRef(const UInt8* path, FSRef* ref, Boolean* is_directory);

// The same; with kFSPathMakeRefDoNotFollowLeafSymlink the reference names the link itself.
OSStatus FSPathMakeRefWithOptions(const UInt8* path, OptionBits options, FSRef* ref,
                                  Boolean* is_directory);

// Stores the object's present path (bytes), terminated, into a buffer of `max_path_size` bytes. A
// path that does not fit gives pathTooLongErr and leaves the buffer empty: a path is never cut.
OSStatus FSRefMakePath(const FSRef* ref, UInt8* path, UInt32 max_path_size);

// 0 when both name the same object, whatever names it has; errFSRefsDifferent otherwise. Does not
// look whether the object still exists.
OSErr FSCompareFSRefs(const FSRef* first, const FSRef* second);

}  // namespace orvik
