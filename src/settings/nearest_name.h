#pragma once

#include <span>
#include <string>
#include <string_view>

/// Of these names, at least one, the one from which the fewest characters must be changed, added or
/// left out to get `text`.
[[nodiscard]] std::string nearest_name(std::string_view text,
                                       std::span<const std::string_view> names);
