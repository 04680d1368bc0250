// Writing a file as a whole.
#pragma once

#include <string_view>

#include "files/file_path.h"
#include "host/file_replacement.h"

namespace [[gnu::visibility("default")]] orvik {

// Begins to replace the file (host/file_replacement.h). False when that is not possible.
[[nodiscard("false: nothing is replaced")]] bool OpenReplacement(
    const COrvikFilePath& file, host::FileReplacement& replacement);

// Makes the bytes the file's content in the same way. False when that fails.
[[nodiscard("false: the file has its old content")]] bool WriteWholeFile(const COrvikFilePath& file,
                                                                         std::string_view bytes);

}  // namespace orvik
