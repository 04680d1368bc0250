// Making and resolving references and volumes, for the other files of the file manager. A volume is
// a mount of the kernel.
//
// Functions that return an int return 0 or an errno.
#pragma once

#include <sys/stat.h>

#include <string>
#include <string_view>

#include "platform/carbon/catalog_info.h"
#include "platform/carbon/fsref.h"
#include "platform/core_foundation/base.h"

namespace orvik::carbon {

// The status of an errno, as the file manager's calls return it.
OSErr Status(int error);

enum class Leaf { kFollow, kKeep };  // whether to follow a link at the end

// The attributes of statx, with the birth time.
int StatAt(int folder, const char* name, Leaf leaf, struct statx* out);
int StatPath(const std::string& path, Leaf leaf, struct statx* out);
int StatDescriptor(int descriptor, struct statx* out);

std::uint64_t DeviceOf(const struct statx& info);

// Whether the attributes are those of the object that the reference names.
bool IsReferent(const FSRef& ref, const struct statx& info);

// Makes a reference to the object at the path (a relative path starts at the current folder). `out`
// may be null.
int MakeReference(std::string_view path, Leaf leaf, FSRef* ref, struct statx* out);

// Gives the present path and the attributes of the object; ENOENT when it is gone. `out` may be
// null.
int LocateReference(const FSRef& ref, std::string* path, struct statx* out);

// The number of the volume of an object, from statx with the mount id.
FSVolumeRefNum VolumeOf(const struct statx& info);

// The path where the volume is mounted; "" when it is unknown.
std::string MountPointOf(FSVolumeRefNum volume);

}  // namespace orvik::carbon
