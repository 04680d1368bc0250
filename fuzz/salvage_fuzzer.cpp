// The salvaged part of a damaged preference file is a dictionary that can be written and read.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "fuzz/require.h"
#include "plist/forms.h"
#include "plist/salvage.h"

using orvik::fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto bytes = std::make_shared<const std::string>(reinterpret_cast<const char*>(data), size);
  const auto salvage = orvik::plist::SalvageEntries(bytes);
  const auto& entries = salvage.entries;
  const auto binary = orvik::plist::WriteBinary(entries);
  Require(binary.has_value());
  Require(orvik::plist::Read(*binary).root == entries);
  return 0;
}
