// Property lists as JSON, without loss.
//
//   string, boolean, integer, array, dictionary   as JSON has them
//   real                                          a number with a point or an exponent
//   date                                          {"$date": "2024-05-06T07:08:09Z"}
//   data                                          {"$data": "TWFu"} (RFC 4648)
//   real that is no number                        {"$real": "nan"}, "inf", "-inf"
//   a dictionary with one of these names alone    {"$dictionary": {...}}
//
// A lone surrogate in a string or a name becomes U+FDD0 and its four hexadecimal digits, by the
// rule that XML property lists follow (platform/core_foundation/property_list.h).
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "platform/core_foundation/property_list.h"
#include "prefs/auto_release.h"

namespace orvik::prefstool {

using Json = nlohmann::ordered_json;

Json ToJson(CFPropertyListRef value);

// Null when a part is no property list (JSON's null, a malformed wrapper, too deep a nesting);
// error then says which.
CAutoCFRelease<CFPropertyListRef> FromJson(const Json& json, std::string& error);

// On one line, or indented by two blanks.
std::string JsonText(const Json& json, bool indented = false);

// Nothing (a discarded value) when the bytes are no JSON or hold a number that no double can; error
// then says where or which.
Json ParseJson(std::string_view bytes, std::string& error);

}  // namespace orvik::prefstool
