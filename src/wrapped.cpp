#include "wrapped.h"

#include <algorithm>

namespace {

/// Whether a byte of a text in UTF-8 goes on with the character of the byte before it.
constexpr bool continues_character(char byte) noexcept {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/// How many bytes the first `n` characters have.
std::size_t bytes_of(const std::string& text, std::size_t n) noexcept {
    std::size_t nBytes = 0;
    while (nBytes < text.size() && (n > 0 || continues_character(text[nBytes]))) {
        n -= continues_character(text[nBytes]) ? 0 : 1;
        ++nBytes;
    }
    return nBytes;
}

}  // namespace

std::size_t width_of(const std::string& text) noexcept {
    return text.size() - static_cast<std::size_t>(std::ranges::count_if(text, continues_character));
}

std::string wrapped(const std::string& text, std::size_t width, std::size_t indent) {
    std::string lines;
    std::string rest = text;
    while (bytes_of(rest, width) < rest.size()) {
        const std::size_t most = bytes_of(rest, width);
        const std::size_t blank = rest.rfind(' ', most);
        const bool fits = blank != std::string::npos && rest.find_first_not_of(' ') < blank;
        const std::size_t end = fits ? blank : most;
        lines += rest.substr(0, end) + '\n';
        rest = std::string(indent, ' ') + rest.substr(fits ? end + 1 : end);
    }
    return lines + rest + '\n';
}
