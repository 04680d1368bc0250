// What is salvaged of a damaged preference file is a dictionary that can be written and read.
#include <cstddef>
#include <cstdint>

#include "fuzz/require.h"
#include "platform/core_foundation/data.h"
#include "platform/core_foundation/property_list_forms.h"
#include "prefs/salvage.h"

using orvik::fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const orvik::CAutoCFRelease<orvik::CFDataRef> bytes(
      orvik::CFDataCreate(nullptr, data, static_cast<orvik::CFIndex>(size)));
  const auto salvage = orvik::SalvageEntries(bytes);
  const auto& entries = salvage.entries;
  if (!entries) return 0;
  const auto binary = orvik::WriteBinaryPropertyList(entries.Get());
  Require(binary.has_value());
  const auto again = orvik::ReadPropertyList(*binary, orvik::kCFPropertyListImmutable);
  Require(again.root && orvik::CFEqual(again.root.get(), entries.Get()));
  return 0;
}
