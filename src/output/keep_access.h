#pragma once

/// Gives an open file the owner, the mode and the access list of another one, as far as the user
/// may. Where the group or the list cannot be kept, nobody gets access that he had not.
/// Returns 0 or the errno value of what failed.
[[nodiscard]] int keep_access(int file, int other) noexcept;
