#pragma once

#include <concepts>

namespace orven {

// Whether an event is counted cannot be predicted, and a wrong prediction costs more than placing
// the event does. These join conditions without branches, where && and || would make some.

/// True if all conditions hold.
[[nodiscard]] constexpr bool all_hold(std::same_as<bool> auto... conditions) noexcept {
    return (int{conditions} & ...) != 0;
}

/// True if one of the conditions holds.
[[nodiscard]] constexpr bool one_holds(std::same_as<bool> auto... conditions) noexcept {
    return (int{conditions} | ...) != 0;
}

}  // namespace orven
