#include "Work.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <map>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <thread>

namespace {

class File_Descriptor {
public:
    File_Descriptor(const std::string& path, int flags)
        : descriptor(open(path.c_str(), flags, 0666)) {
        if (descriptor < 0) {
            throw std::runtime_error("cannot open " + path);
        }
    }
    File_Descriptor(const File_Descriptor&) = delete;
    File_Descriptor& operator=(const File_Descriptor&) = delete;
    ~File_Descriptor() { close(descriptor); }

    /// The number of bytes read: fewer than wanted only at the end of the file.
    std::size_t read_at(std::size_t position, void* bytes, std::size_t count) const {
        std::size_t done = 0;
        while (done < count) {
            const ssize_t got = pread(descriptor, static_cast<char*>(bytes) + done, count - done,
                                      static_cast<off_t>(position + done));
            if (got < 0) {
                throw std::runtime_error("cannot read");
            }
            if (got == 0) {
                break;
            }
            done += static_cast<std::size_t>(got);
        }
        return done;
    }

    void write(const char* bytes, std::size_t count) const {
        while (count > 0) {
            const ssize_t done = ::write(descriptor, bytes, count);
            if (done <= 0) {
                throw std::runtime_error("cannot write");
            }
            bytes += done;
            count -= static_cast<std::size_t>(done);
        }
    }

private:
    int descriptor;
};

/// Where the events of a file lie: its last block of that name.
struct Event_Block {
    std::size_t position = 0;
    std::size_t nEvents = 0;
};

Event_Block find_events(const File_Descriptor& file) {
    struct Header {
        std::array<char, 8> name;
        std::uint64_t size;
    } header{};
    Event_Block found;
    constexpr std::size_t first_block = 48;
    for (std::size_t position = first_block;
         file.read_at(position, &header, sizeof header) == sizeof header;
         position += sizeof header + header.size) {
        if (std::string_view(header.name.data(), header.name.size()) ==
            std::string_view("events\0\0", 8)) {
            found = {position + sizeof header, header.size / sizeof(Record)};
        }
    }
    return found;
}

constexpr std::size_t range_bytes = std::size_t{2} << 20;

/// One range of one file; several threads read one large file.
struct Range {
    std::size_t file;
    std::size_t first;  ///< in bytes
};

std::vector<Range> all_ranges(const std::vector<std::string>& files) {
    std::vector<Range> ranges;
    for (std::size_t i = 0; i < files.size(); ++i) {
        struct stat status {};
        if (stat(files[i].c_str(), &status) != 0) {
            throw std::runtime_error("cannot find " + files[i]);
        }
        for (std::size_t first = 0; first < static_cast<std::size_t>(status.st_size);
             first += range_bytes) {
            ranges.push_back({i, first});
        }
    }
    return ranges;
}

/// Calls `body(thread, file, opened, first)` for each range; `opened` is true when the thread has
/// just opened the file.
template <class Body>
void for_each_range(const Work& work, const Body& body) {
    const std::vector<Range> ranges = all_ranges(work.files);
    std::atomic<std::size_t> next{0};
    run_threads(work.threads, [&](std::size_t thread) {
        std::unique_ptr<File_Descriptor> file;
        std::size_t current = work.files.size();
        for (std::size_t i = next++; i < ranges.size(); i = next++) {
            const bool opened = ranges[i].file != current;
            if (opened) {
                current = ranges[i].file;
                file = std::make_unique<File_Descriptor>(work.files[current], O_RDONLY);
            }
            body(thread, *file, opened, ranges[i].first);
        }
    });
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
    return static_cast<std::int32_t>(std::lround(256.0 * 65536.0 / static_cast<double>(size)));
}

void run_threads(std::size_t threads, const std::function<void(std::size_t)>& body) {
    std::vector<std::jthread> started;
    for (std::size_t i = 1; i < threads; ++i) {
        started.emplace_back([&body, i] { body(i); });
    }
    body(0);
}

void for_each_piece(const Work& work,
                    const std::function<void(std::size_t, std::span<const Record>)>& body) {
    struct Thread_Memory {
        Event_Block block;
        std::vector<Record> piece = std::vector<Record>(piece_events);
    };
    std::vector<Thread_Memory> memory(work.threads);
    for_each_range(work, [&](std::size_t thread, const File_Descriptor& file, bool opened,
                             std::size_t first_byte) {
        auto& [block, piece] = memory[thread];
        if (opened) {
            block = find_events(file);
        }
        constexpr std::size_t range_events = range_bytes / sizeof(Record);
        const std::size_t first = first_byte / sizeof(Record);
        const std::size_t end = std::min(first + range_events, block.nEvents);
        for (std::size_t i = first; i < end; i += piece_events) {
            const std::span records(piece.data(), std::min(piece_events, end - i));
            const std::size_t position = block.position + i * sizeof(Record);
            if (file.read_at(position, records.data(), records.size_bytes()) !=
                records.size_bytes()) {
                throw std::runtime_error("file ends early");
            }
            body(thread, records);
        }
    });
}

void read_all(const Work& work) {
    constexpr std::size_t piece_bytes = std::size_t{256} << 10;
    std::vector<std::vector<char>> pieces(work.threads, std::vector<char>(piece_bytes));
    for_each_range(work, [&](std::size_t thread, const File_Descriptor& file, bool /*opened*/,
                             std::size_t first) {
        for (std::size_t done = 0; done < range_bytes; done += piece_bytes) {
            file.read_at(first + done, pieces[thread].data(), piece_bytes);
        }
    });
}

void write_raw(const std::string& path, std::span<const std::uint32_t> counters) {
    const File_Descriptor file(path, O_WRONLY | O_CREAT | O_TRUNC);
    file.write(reinterpret_cast<const char*>(counters.data()), counters.size_bytes());
}

void write_zeros(const std::string& path, std::size_t bytes) {
    const File_Descriptor file(path, O_WRONLY | O_CREAT | O_TRUNC);
    const std::vector<char> piece(std::size_t{1} << 20);
    for (std::size_t done = 0; done < bytes; done += piece.size()) {
        file.write(piece.data(), std::min(piece.size(), bytes - done));
    }
}
