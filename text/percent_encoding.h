// Percent-encoding (RFC 3986, section 2.1).
#pragma once

#include <string>
#include <string_view>

namespace [[gnu::visibility("default")]] orvik {

// Letters, digits and the bytes of `kept` stay; every other byte becomes "%" and two upper-case
// digits.
std::string PercentEncoded(std::string_view bytes, std::string_view kept);

}  // namespace orvik
