// Whole files as the commands read and write them. "-" means standard input or output.
#pragma once

#include <string>

#include "tools/orvikprefs/context.h"

namespace orvik::prefstool {

// 0 or an error number: EFBIG for more bytes than a property list may have.
int ReadWhole(const std::string& file, std::string& bytes);

// Replaces a regular file as a whole; writes into anything else, such as /dev/stdout, a pipe or a
// terminal. The exit status, after a message.
int WriteWhole(const Context& context, const std::string& file, const std::string& bytes);

}  // namespace orvik::prefstool
