// Alerts that nobody sees.
#pragma once

#include <optional>
#include <utility>

#include "desktop/alert.h"

namespace orvik::test {

// The alert and the result of a call when the button answers it; without one, as where
// nobody can be asked.
template <typename Call>
auto Answered(std::optional<int> button, Call call) {
  desktop::AlertRequest shown;
  const desktop::ScopedAlertAnswer answer([&](const desktop::AlertRequest& request) {
    shown = request;
    return button;
  });
  auto result = call();
  return std::pair(std::move(result), std::move(shown));
}

}  // namespace orvik::test
