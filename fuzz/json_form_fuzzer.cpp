// The JSON form of property lists: what was accepted is written as JSON that gives an equal list.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/require.h"
#include "platform/core_foundation/base.h"
#include "tools/orvikprefs/json_form.h"

using orvik::fuzz::Require;
using namespace orvik::prefstool;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string error;
  const Json json = ParseJson(orvik::fuzz::Bytes(data, size), error);
  if (json.is_discarded()) {
    Require(!error.empty());
    return 0;
  }
  const auto value = FromJson(json, error);
  if (!value) {
    Require(!error.empty());
    return 0;
  }
  const Json written = ToJson(value);
  const std::string text = JsonText(written);
  const Json again = ParseJson(text, error);
  Require(!again.is_discarded());
  const auto second = FromJson(again, error);
  Require(second && orvik::CFEqual(value, second));
  Require(JsonText(ToJson(second)) == text);
  return 0;
}
