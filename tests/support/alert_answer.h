// Alerts that a test answers in place of the user.
#pragma once

#include <optional>
#include <utility>

#include "desktop/alert.h"

namespace orvik::test {

// Returns the alert and the result of a call during which the button answers it. Without a button
// the alert cannot be shown.
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
