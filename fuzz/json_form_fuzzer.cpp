// The JSON form of property lists: the JSON written for a list gives an equal list, and contains no
// control characters for terminals.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/require.h"
#include "tools/orvikprefs/json.h"
#include "tools/orvikprefs/text.h"
#include "tools/orvikprefs/values.h"

using orvik::fuzz::Require;
using namespace orvik::prefstool;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes = orvik::fuzz::Bytes(data, size);
  TextError error;
  const Value value = ReadJson(bytes, &error);
  if (!value) {
    Require(!error.reason.empty() && error.byte <= size && error.line >= 1 && error.column >= 1);
    return 0;
  }
  const std::string text = JsonText(value);
  for (std::size_t i = 0; i < text.size(); ++i) Require(!ControlAt(text, i));
  const Value second = ReadJson(text, &error);
  Require(second == value);
  Require(JsonText(second) == text);
  const std::string indented = JsonText(value, JsonWriter::Layout::kIndented);
  Require(ReadJson(indented, &error) == value);
  return 0;
}
