// A conversion between UTF forms: its result, the units that it has read, and the text.
#pragma once

#include <cstddef>
#include <string>

#include "strings/unicode_conversions.h"

namespace orvik::test {

template <class Source, class Target>
struct Conversion {
  ConversionResult result;
  std::size_t read;
  std::basic_string<Target> text;
  bool operator==(const Conversion&) const = default;
};

template <class Source, class Target>
using ConversionRoutine = ConversionResult (*)(const Source**, const Source*, Target**, Target*,
                                               ConversionFlags);

template <class Source, class Target>
Conversion<Source, Target> Converted(ConversionRoutine<Source, Target> routine,
                                     const std::basic_string<Source>& text, ConversionFlags flags,
                                     std::size_t room) {
  std::basic_string<Target> target(room, Target{});
  const Source* source = text.data();
  Target* at = target.data();
  const ConversionResult result =
      routine(&source, text.data() + text.size(), &at, target.data() + room, flags);
  target.resize(static_cast<std::size_t>(at - target.data()));
  return {result, static_cast<std::size_t>(source - text.data()), target};
}

}  // namespace orvik::test
