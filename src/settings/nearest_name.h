#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

/// Of these names, the one that `text` may be a misspelt form of: from which the fewest characters,
/// and not more than a third, must be changed, added or left out. Empty if there is none.
[[nodiscard]] std::optional<std::string> nearest_name(std::string_view text,
                                                      std::span<const std::string_view> names);
