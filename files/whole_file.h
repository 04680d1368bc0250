// Writing a file as a whole.
#pragma once

#include <string_view>

#include "files/file_path.h"

namespace [[gnu::visibility("default")]] orvik {

// Makes the bytes the file's content, so that whoever looks sees the old content or the new one
// (host/replace_file.h, not flushed); where only writing into the file is possible (a
// device, a folder that takes no new file) writes into it. False when that fails.
bool WriteWholeFile(const COrvikFilePath& file, std::string_view bytes);

}  // namespace orvik
