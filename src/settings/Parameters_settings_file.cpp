#include "logging.h"
#include "settings/Parameters.h"

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/istreamwrapper.h>

#include <cmath>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>

namespace {

constexpr const char* section_name = "vexolan";

std::invalid_argument key_error(const std::string& key, const std::string& problem) {
    return std::invalid_argument("Key \"" + key + "\" " + problem);
}

void log_problem(const std::string& path, const std::string& problem) {
    logging<error>("settings file \"" + path + "\" " + problem);
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

using Document = rapidjson::GenericDocument<
    rapidjson::UTF8<>, rapidjson::MemoryPoolAllocator<Throwing_Allocator>, Throwing_Allocator>;

/// Parses without recursion, so that no depth of nesting exhausts the stack. Logs why there is no
/// object at the root; the caller's first look-up then fails the JSON library's assertion.
Document parse_settings(const std::string& path) {
    Document document;
    std::ifstream file(path);
    if (!file) {
        log_problem(path, "could not be opened");
        return document;
    }
    rapidjson::IStreamWrapper stream(file);
    document.ParseStream<rapidjson::kParseIterativeFlag>(stream);
    if (file.bad()) {
        log_problem(path, "could not be read");
        document.SetNull();
    } else if (document.HasParseError()) {
        log_problem(
            path, "is not valid JSON: " + std::string(GetParseError_En(document.GetParseError())) +
                      " (at byte " + std::to_string(document.GetErrorOffset()) + ")");
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
    }
    take_optional("time_res_s", time_res_s);
    if (section.HasMember("time_limit")) {
        const auto limit = json_getValue_helper<double>(section, "time_limit");
        time_max_binNumber = whole_number(limit, "time_limit");
    }
}
