#include "Work.h"

#include "Event_File.h"
#include "Input_File.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <thread>

namespace {

constexpr std::size_t range_bytes = std::size_t{2} << 20;

/// One range of one file; several threads read one large file.
struct Range {
    std::size_t file;
    std::size_t first;  ///< in bytes
};

std::vector<Range> all_ranges(const std::vector<std::string>& files) {
    std::vector<Range> ranges;
    for (std::size_t i = 0; i < files.size(); ++i) {
        const std::size_t size = std::filesystem::file_size(files[i]);
        for (std::size_t first = 0; first < size; first += range_bytes) {
            ranges.push_back({i, first});
        }
    }
    return ranges;
}

/// Calls `body(thread, file, first)` for each range; each thread opens a file for itself.
template <class File, class Body>
void for_each_range(const Work& work, const Body& body) {
    const std::vector<Range> ranges = all_ranges(work.files);
    std::atomic<std::size_t> next{0};
    run_threads(work.threads, [&](std::size_t thread) {
        std::unique_ptr<File> file;
        std::size_t current = work.files.size();
        for (std::size_t i = next++; i < ranges.size(); i = next++) {
            if (ranges[i].file != current) {
                current = ranges[i].file;
                file = std::make_unique<File>(work.files[current]);
            }
            body(thread, *file, ranges[i].first);
        }
    });
}

std::ofstream open_for_writing(const std::string& path) {
    std::ofstream file;
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file.open(path, std::ios::binary);
    return file;
}

}  // namespace

Work::Work(int argc, char** argv) {
    using Setter = std::function<void(const std::string&)>;
    const std::map<std::string, Setter> setters{
        {"output", [this](const std::string& text) { output = text; }},
        {"counters", [this](const std::string& text) { counters = text; }},
        {"axes", [this](const std::string& text) { axes = text; }},
        {"threads", [this](const std::string& text) { threads = std::stoul(text); }},
        {"bytes", [this](const std::string& text) { bytes = std::stoul(text); }},
        {"size", [this](const std::string& text) { size = std::stoul(text); }},
        {"pages", [this](const std::string& text) { pages = std::stoul(text); }},
        {"ticks", [this](const std::string& text) { ticks = std::stol(text); }},
        {"photons_min", [this](const std::string& text) { bounds.photons_min = std::stoul(text); }},
        {"photons_max", [this](const std::string& text) { bounds.photons_max = std::stoul(text); }},
        {"psd_min", [this](const std::string& text) { bounds.psd_min = std::stod(text); }},
        {"psd_max", [this](const std::string& text) { bounds.psd_max = std::stod(text); }},
    };
    for (const std::string argument : std::span(argv, static_cast<std::size_t>(argc)).subspan(1)) {
        const std::size_t equals = argument.find('=');
        if (equals == std::string::npos) {
            files.push_back(argument);
        } else {
            setters.at(argument.substr(0, equals))(argument.substr(equals + 1));
        }
    }
}

std::int32_t Work::pixel_width() const {
    return orven::Event_Length::from_pixels(orven::detector_pixels / static_cast<double>(size))
        .value;
}

void run_threads(std::size_t threads, const std::function<void(std::size_t)>& body) {
    std::vector<std::jthread> started;
    for (std::size_t i = 1; i < threads; ++i) {
        started.emplace_back([&body, i] { body(i); });
    }
    body(0);
}

void for_each_piece(const Work& work,
                    const std::function<void(std::size_t, std::span<const Photon_Event>)>& body) {
    std::vector<std::vector<Photon_Event>> pieces(work.threads,
                                                  std::vector<Photon_Event>(piece_events));
    for_each_range<orven::Event_File>(
        work, [&](std::size_t thread, const orven::Event_File& file, std::size_t first_byte) {
            const std::size_t first = first_byte / sizeof(Photon_Event);
            const std::size_t end =
                std::min(first + range_bytes / sizeof(Photon_Event), file.index().events.nRecords);
            for (std::size_t i = first; i < end; i += piece_events) {
                const std::span piece(pieces[thread].data(), std::min(piece_events, end - i));
                file.read_events(i, piece);
                body(thread, piece);
            }
        });
}

void read_all(const Work& work) {
    constexpr std::size_t piece_bytes = std::size_t{256} << 10;
    std::vector<std::vector<std::byte>> pieces(work.threads, std::vector<std::byte>(piece_bytes));
    for_each_range<orven::Input_File>(
        work, [&](std::size_t thread, const orven::Input_File& file, std::size_t first) {
            const std::size_t end =
                std::min(first + range_bytes, static_cast<std::size_t>(file.size()));
            for (std::size_t i = first; i < end; i += piece_bytes) {
                file.read_bytes(static_cast<std::int64_t>(i),
                                std::span(pieces[thread].data(), std::min(piece_bytes, end - i)));
            }
        });
}

void write_raw(const std::string& path, std::span<const std::uint32_t> counters) {
    std::ofstream file = open_for_writing(path);
    file.write(reinterpret_cast<const char*>(counters.data()),
               static_cast<std::streamsize>(counters.size_bytes()));
    file.close();
}

void write_zeros(const std::string& path, std::size_t bytes) {
    std::ofstream file = open_for_writing(path);
    const std::vector<char> piece(std::size_t{1} << 20);
    for (std::size_t done = 0; done < bytes; done += piece.size()) {
        file.write(piece.data(),
                   static_cast<std::streamsize>(std::min(piece.size(), bytes - done)));
    }
    file.close();
}
