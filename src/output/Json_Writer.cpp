#include "output/Json_Writer.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

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

struct Json_Writer::Text {
    rapidjson::StringBuffer buffer;
    rapidjson::PrettyWriter<rapidjson::StringBuffer> writer{buffer};
};

Json_Writer::Json_Writer() : json(std::make_unique<Text>()) {
    json->writer.SetIndent(' ', 2);
    json->writer.SetFormatOptions(rapidjson::kFormatSingleLineArray);
}

Json_Writer::~Json_Writer() = default;

void Json_Writer::value(const std::string& text) {
    json->writer.String(utf8(text).c_str());
}

void Json_Writer::value(std::uint64_t number) {
    json->writer.Uint64(number);
}

void Json_Writer::value(std::int64_t number) {
    json->writer.Int64(number);
}

void Json_Writer::value(bool truth) {
    json->writer.Bool(truth);
}

void Json_Writer::value(double number) {
    if (!std::isfinite(number)) {
        json->writer.Null();
        return;
    }
    constexpr std::size_t most_digits = 32;  // -2.2250738585072014e-308 and the like
    std::array<char, most_digits> digits{};
    char* const end = std::to_chars(digits.begin(), digits.end(), number).ptr;
    std::string text(digits.data(), end);
    if (text.find_first_of(".e") == std::string::npos) {
        text += ".0";  // so that readers with types see no integer
    }
    json->writer.RawValue(text.data(), text.size(), rapidjson::kNumberType);
}

void Json_Writer::null_member(const char* key) {
    write_key(key);
    json->writer.Null();
}

std::string Json_Writer::text() const {
    return std::string(json->buffer.GetString()) + '\n';
}

void Json_Writer::write_key(const char* key) {
    json->writer.Key(key);
}

void Json_Writer::start_object() {
    json->writer.StartObject();
}

void Json_Writer::end_object() {
    json->writer.EndObject();
}

void Json_Writer::start_list() {
    json->writer.StartArray();
}

void Json_Writer::end_list() {
    json->writer.EndArray();
}
