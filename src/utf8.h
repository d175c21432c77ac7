#pragma once

/// Whether a byte of a text in UTF-8 goes on with the character of the byte before it.
[[nodiscard]] constexpr bool continues_character(char byte) noexcept {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}
