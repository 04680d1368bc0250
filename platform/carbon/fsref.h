// References to file-system objects.
//
// A reference is a value that callers declare, copy and drop freely. It names an object (file,
// folder, link, special file), not a path: it remembers the object's path and its identity (device,
// inode, birth time). Every call with a reference checks that the object at the path still has this
// identity. An object that was renamed or moved within its volume is found again. When another
// object has taken its place, the call returns fnfErr and does not touch the new object.
//
// How a moved object is found: the first references of a process (at most kMaxAnchors at once,
// fewer if the process may open few files) hold the object through a descriptor that neither reads
// nor writes it, and the kernel gives its present path. An object without such a descriptor is
// searched by its identity in the folder where it was last seen.
//
// Functions return a status: 0, or one of errno_status.h.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

using OptionBits = UInt32;

// Holds an object for the references to it.
class FSRefAnchor;

// The fields are private to this folder; callers use the functions.
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

// Makes a reference to an existing object from its path (bytes; UTF-8 unless the name on disk is
// not). A relative path starts at the current folder. Follows a link at the end. `is_directory` may
// be null.
OSStatus FSPathMakeRef(const UInt8* path, FSRef* ref, Boolean* is_directory);

// The same; with kFSPathMakeRefDoNotFollowLeafSymlink the reference names the link itself.
OSStatus FSPathMakeRefWithOptions(const UInt8* path, OptionBits options, FSRef* ref,
                                  Boolean* is_directory);

// Stores the object's present path (bytes), with a terminator, into a buffer of `max_path_size`
// bytes. If the path does not fit, returns pathTooLongErr and leaves the buffer empty: a path is
// never cut.
OSStatus FSRefMakePath(const FSRef* ref, UInt8* path, UInt32 max_path_size);

// 0 when both name the same object, under any name; otherwise errFSRefsDifferent. Does not check
// whether the object still exists.
OSErr FSCompareFSRefs(const FSRef* first, const FSRef* second);

}  // namespace orvik
