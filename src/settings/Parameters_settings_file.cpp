#include "escaped.h"
#include "logging.h"
#include "settings/Parameters.h"
#include "settings/nearest_name.h"

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/istreamwrapper.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <istream>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

namespace {

constexpr const char* section_name = "vexolan";

/// All keys of the section that are read.
constexpr std::array<std::string_view, 12> known_keys{
    "size_x",          "size_y",     "nPhotons_min", "nPhotons_max", "psd_min", "psd_max",
    "time_extTrigger", "time_res_s", "time_limit",   "upright",      "region",  "timeStart"};

std::invalid_argument key_error(const std::string& key, const std::string& problem) {
    return std::invalid_argument("Key \"" + key + "\" " + problem);
}

void log_problem(const std::string& path, const std::string& problem) {
    logging<error>("settings file " + quoted(path) + ' ' + problem);
}

/// Memory for the JSON library, which takes every allocation for a success.
class Throwing_Allocator {
public:
    [[maybe_unused]] static constexpr bool kNeedFree = true;

    static void* Malloc(std::size_t size) { return Realloc(nullptr, 0, size); }
    static void* Realloc(void* memory, std::size_t /*old_size*/, std::size_t size) {
        if (size == 0) {
            Free(memory);
            return nullptr;
        }
        void* const moved = std::realloc(memory, size);  // NOLINT(cppcoreguidelines-no-malloc)
        if (moved == nullptr) {
            throw std::bad_alloc();
        }
        return moved;
    }
    static void Free(void* memory) noexcept { std::free(memory); }
};

/// A JSON text as values. Each number is the nearest double, as with options: the JSON library's
/// own conversion is often off by the last digit, and its exact one fails for some numbers.
class Document
    : public rapidjson::GenericDocument<rapidjson::UTF8<>,
                                        rapidjson::MemoryPoolAllocator<Throwing_Allocator>,
                                        Throwing_Allocator> {
public:
    /// Parses without recursion, so that no depth of nesting exhausts the stack.
    rapidjson::ParseResult parse(std::istream& file) {
        constexpr unsigned flags =
            rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag;
        rapidjson::IStreamWrapper stream(file);
        rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, Throwing_Allocator> reader;
        const auto parse_values = [&](const auto& /*base*/) {
            return !reader.Parse<flags>(stream, *this).IsError();
        };
        Populate(parse_values);
        return {reader.GetParseErrorCode(), reader.GetErrorOffset()};
    }

    /// Called by the reader for each number.
    bool RawNumber(const char* digits, rapidjson::SizeType length, bool /*copy*/) {
        const char* const end = digits + length;
        const auto is_whole = [&](auto& number) {
            const auto [stop, failure] = std::from_chars(digits, end, number);
            return failure == std::errc() && stop == end;
        };
        std::uint64_t positive = 0;
        std::int64_t negative = 0;
        if (is_whole(positive)) {
            return Uint64(positive);
        }
        return is_whole(negative) ? Int64(negative)
                                  : Double(std::strtod(std::string(digits, end).c_str(), nullptr));
    }
};

/// Logs why there is no object at the root; the caller's first look-up then fails the JSON
/// library's assertion.
Document parse_settings(const std::string& path) {
    Document document;
    std::ifstream file(path);
    if (!file) {
        log_problem(path, "could not be opened");
        hint(
            "The settings file of -f does not exist or may not be read: its path is looked up from "
            "the current folder.");
        return document;
    }
    const rapidjson::ParseResult result = document.parse(file);
    if (file.bad()) {
        log_problem(path, "could not be read");
        document.SetNull();
    } else if (result.IsError()) {
        log_problem(path, "is not valid JSON: " + std::string(GetParseError_En(result.Code())) +
                              " (at byte " + std::to_string(result.Offset()) + ")");
    } else if (!document.IsObject()) {
        log_problem(path, "has no JSON object at its root");
    }
    return document;
}

std::int64_t whole_number(double value, const std::string& key) {
    const double truncated = std::trunc(value);
    if (!(truncated >= -0x1p63 && truncated < 0x1p63)) {
        throw key_error(key, "does not fit into a 64 bit signed int!");
    }
    return static_cast<std::int64_t>(truncated);
}

bool read_switch(const Document::ValueType& value, const std::string& key) {
    if (!value.IsBool()) {
        throw key_error(key, "expected to be true or false!");
    }
    return value.GetBool();
}

std::array<double, 4> read_region(const Document::ValueType& value, const std::string& key) {
    std::array<double, 4> numbers{};
    const auto isNumber = [](const Document::ValueType& each) { return each.IsNumber(); };
    if (!value.IsArray() || value.Size() != numbers.size() ||
        !std::all_of(value.Begin(), value.End(), isNumber)) {
        throw key_error(key, "expected to be an array of four numbers!");
    }
    std::transform(value.Begin(), value.End(), numbers.begin(),
                   [](const Document::ValueType& each) { return each.GetDouble(); });
    return numbers;
}

}  // namespace

template <class T, class JSON_Value>
T Parameters::json_getValue_helper(const JSON_Value& object, const std::string& key) {
    const auto member = object.FindMember(key.c_str());
    if (member == object.MemberEnd()) {
        throw key_error(key, "missing!");
    }
    if constexpr (std::floating_point<T>) {
        if (!member->value.IsNumber()) {
            throw key_error(key, "expected to be a double!");
        }
        return member->value.GetDouble();
    } else {
        if (!member->value.IsUint64()) {
            throw key_error(key, "expected to be a 64 bit unsigned int!");
        }
        return member->value.GetUint64();
    }
}

void Parameters::read_parameterSettings_file(const std::string& path) {
    settingsFiles.push_back(path);
    const Document document = parse_settings(path);
    if (!document.HasMember(section_name)) {
        throw key_error(section_name, "missing!");
    }
    const Document::ValueType& section = document[section_name];
    if (!section.IsObject()) {
        throw key_error(section_name, "expected to be a JSON Object!");
    }

    const auto take = [&section]<class T>(const char* key, T& field) {
        if (section.HasMember(key)) {
            field = json_getValue_helper<T>(section, key);
        }
    };
    const auto take_optional = [&section](const char* key, std::optional<double>& field) {
        if (section.HasMember(key)) {
            field = json_getValue_helper<double>(section, key);
        }
    };
    take("size_x", size_x);
    take("size_y", size_y);
    take("nPhotons_min", nPhotons_min);
    take("nPhotons_max", nPhotons_max);
    take_optional("psd_min", psd_min);
    take_optional("psd_max", psd_max);
    if (section.HasMember("time_extTrigger")) {
        const Document::ValueType& name = section["time_extTrigger"];
        if (!name.IsString()) {
            throw key_error("time_extTrigger", "expected to be a string!");
        }
        extTrigger_mode = read_externalTrigger_mode({name.GetString(), name.GetStringLength()});
        trigger_mode_given = true;
    }
    take_optional("time_res_s", time_res_s);
    if (section.HasMember("time_limit")) {
        const auto limit = json_getValue_helper<double>(section, "time_limit");
        time_max_binNumber = whole_number(limit, "time_limit");
    }
    if (section.HasMember("upright")) {
        upright = read_switch(section["upright"], "upright");
    }
    if (section.HasMember("region")) {
        region = read_region(section["region"], "region");
    }
    take_optional("timeStart", timeStart);
    for (const auto& member : section.GetObject()) {
        const std::string key(member.name.GetString(), member.name.GetStringLength());
        if (std::ranges::find(known_keys, key) == known_keys.end()) {
            const auto meant = nearest_name(key, known_keys);
            doubts.push_back("settings file " + quoted(path) + " has a key " + quoted(key) +
                             " that vexolan does not know" +
                             (meant ? "; did you mean \"" + *meant + "\"?" : ""));
        }
    }
}
