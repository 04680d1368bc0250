// Volumes of the file manager: what the kernel calls a mount.
#pragma once

#include <sys/stat.h>

#include <string>

#include "platform/carbon/catalog_info.h"

namespace orvik::carbon {

// The number of the volume on which an object lies, from statx with the mount id.
FSVolumeRefNum VolumeOf(const struct statx& info);

// Path of the folder in which the volume is mounted; "" when it is unknown.
std::string MountPointOf(FSVolumeRefNum volume);

}  // namespace orvik::carbon
