// What "%@" shows of a platform object, for the formatter.
#pragma once

#include <string>

namespace orvik {

// `object` is a CFTypeRef, and not null.
std::u16string DescribeObject(const void* object);

}  // namespace orvik
