#include "output/Json_Writer.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace {

/// The text as JSON can hold it: if it is not UTF-8, all beyond ASCII becomes a question mark.
std::string utf8(std::string text) {
    using Checking_Writer =
        rapidjson::Writer<rapidjson::StringBuffer, rapidjson::UTF8<>, rapidjson::UTF8<>,
                          rapidjson::CrtAllocator, rapidjson::kWriteValidateEncodingFlag>;
    constexpr std::size_t longest_sequence = 4;  // the library reads to the end of a broken one
    const std::string padded = text + std::string(longest_sequence, '\0');
    rapidjson::StringBuffer ignored;
    const auto length = static_cast<rapidjson::SizeType>(text.size());
    if (!Checking_Writer(ignored).String(padded.data(), length)) {
        std::ranges::replace_if(
            text, [](char c) { return static_cast<unsigned char>(c) >= 0x80; }, '?');
    }
    return text;
}

}  // namespace

void Json_Writer::value(const std::string& text) {
    writer.String(utf8(text).c_str());
}

void Json_Writer::value(double number) {
    if (!std::isfinite(number)) {
        writer.Null();
        return;
    }
    constexpr std::size_t most_digits = 32;  // -2.2250738585072014e-308 and the like
    std::array<char, most_digits> digits{};
    const char* const end = std::to_chars(digits.begin(), digits.end(), number).ptr;
    writer.RawValue(digits.data(), static_cast<std::size_t>(end - digits.data()),
                          rapidjson::kNumberType);
}
