// The flags with which entries of folders are opened.
#pragma once

#include <fcntl.h>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// A folder of a tree: never through a link.
inline constexpr int kOpenFolder = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// A folder to work in, which need not be readable; a link to one is followed.
inline constexpr int kOpenPlace = O_PATH | O_DIRECTORY | O_CLOEXEC;

// An entry to be read: never through a link, and without waiting for a pipe.
inline constexpr int kOpenEntry = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

}  // namespace host
}  // namespace orvik
