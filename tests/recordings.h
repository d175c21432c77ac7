#pragma once

#include "Event.h"
#include "settings/Parameters.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

using orven::Photon_Event;

inline Photon_Event event(int x, int y, long time = 0, std::uint64_t nPhotons = 1, double psd = 0) {
    return {orven::Event_Length(x), orven::Event_Length(y), orven::Event_Time(time), nPhotons, psd};
}

inline std::vector<orven::Event_Time> times(const std::vector<long>& ticks) {
    std::vector<orven::Event_Time> result;
    for (const long tick : ticks) {
        result.emplace_back(tick);
    }
    return result;
}

/// The bytes of a plain value or of a vector of them.
template <class T>
std::string bytes_of(const T& value) {
    return {reinterpret_cast<const char*>(&value), sizeof(T)};
}
template <class T>
std::string bytes_of(const std::vector<T>& values) {
    return {reinterpret_cast<const char*>(values.data()), values.size() * sizeof(T)};
}

/// A block header that claims `size` bytes.
inline std::string header(std::string name, std::uint64_t size) {
    name.resize(8, '\0');
    return name + bytes_of(size);
}

inline std::string block(const std::string& name, const std::string& payload) {
    return header(name, payload.size()) + payload;
}

/// A file's bytes around these blocks.
inline std::string container(const std::string& blocks, std::uint64_t version = 0,
                             std::uint64_t fileType = 3) {
    return block("ORVEN", block("build", bytes_of(version) + bytes_of(fileType)) + blocks);
}

inline std::string recording(const std::vector<Photon_Event>& events,
                             const std::optional<std::vector<long>>& triggers = {}) {
    const std::string trigger_block = triggers ? block("extTrigs", bytes_of(*triggers)) : "";
    return container(trigger_block + block("events", bytes_of(events)));
}

/// A folder that lives as long as one test.
class Folder {
public:
    Folder() {
        std::string name = (std::filesystem::temp_directory_path() / "vexolan.XXXXXX").string();
        path = mkdtemp(name.data());
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() { std::filesystem::remove_all(path); }

    /// Writes a file and returns its path.
    [[nodiscard]] std::string write(const std::string& name, const std::string& bytes) const {
        std::ofstream(path / name, std::ios::binary) << bytes;
        return (path / name).string();
    }

    std::filesystem::path path;
};

/// The whole file.
inline std::string read_file(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// The message of the exception that `action` throws, "" if it throws none.
template <class Exception = std::exception, class Action>
std::string message_of(const Action& action) {
    try {
        action();
    } catch (const Exception& exception) {
        return exception.what();
    }
    return "";
}

/// Parameters from command line arguments.
inline Parameters parameters_from(std::vector<std::string> arguments) {
    std::vector<char*> argv{const_cast<char*>("vexolan")};
    for (std::string& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    optind = 0;  // makes getopt start anew
    return {static_cast<int>(argv.size()) - 1, argv.data()};
}
