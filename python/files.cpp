#include "files.h"

#include "Event_File.h"
#include "conversions.h"
#include "output/Image_Writer.h"
#include "output/Output_Check.h"
#include "run_with_signals.h"
#include "write_event_file.h"

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <limits>
#include <optional>
#include <span>
#include <stdexcept>
#include <vector>

namespace py = pybind11;

namespace {

constexpr std::uint64_t most_in_classic_tiff = std::numeric_limits<std::uint32_t>::max();

Image_Pages pages_of(const py::array_t<std::uint32_t, py::array::c_style>& counts) {
    const auto nDims = static_cast<std::size_t>(counts.ndim());
    if (nDims != 2 && nDims != 3) {
        throw py::value_error("counts must be an image or a sequence of pages");
    }
    const auto size = [&](std::size_t fromLast) {
        return static_cast<std::size_t>(counts.shape(static_cast<py::ssize_t>(nDims - fromLast)));
    };
    const auto* const cells = reinterpret_cast<const Counter*>(counts.data());
    return {std::span(cells, static_cast<std::size_t>(counts.size())), nDims == 2 ? 1 : size(3),
            size(2), size(1)};
}

void prepare(const std::string& path, const std::vector<std::string>& read_files) {
    try {
        refuse_harmful_output(path, read_files, {});
        refuse_image_without_places(path);
    } catch (const std::invalid_argument& refusal) {
        throw std::invalid_argument(std::string("path: ") + refusal.what());
    }
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    if (!folder.empty()) {
        std::filesystem::create_directories(folder);
    }
}

orven::Event_File_Index read_index(const std::string& path) {
    try {
        return orven::Event_File(path).index();
    } catch (const orven::Impossible_Size& fault) {
        throw py::value_error(fault.what());  // of the file: there is no lack of memory
    }
}

/// Records that are copied from memory; copying ends when nobody wants it any more.
template <class Record>
Record_Source<Record> source_of(const py::buffer_info& memory, Progress_Count& nWritten) {
    const auto nBytes = static_cast<std::size_t>(memory.size * memory.itemsize);
    return {nBytes / sizeof(Record),
            [&nWritten, next = static_cast<const Record*>(memory.ptr)](auto piece) mutable {
                nWritten.add(piece.size());
                std::memcpy(piece.data(), next, piece.size_bytes());
                next += piece.size();
            }};
}

}  // namespace

py::tuple index_of_file(const py::bytes& path) {
    const orven::Event_File_Index index = read_index(path);
    const auto pair = [](const orven::Record_Block& block) -> py::object {
        return py::make_tuple(block.position, block.nRecords);
    };
    return py::make_tuple(pair(index.events),
                          index.extTriggers ? pair(*index.extTriggers) : py::none());
}

void save_counts(const py::array_t<std::uint32_t, py::array::c_style>& counts,
                 const py::bytes& path, const std::string& format, const py::list& read_files,
                 const py::object& report) {
    const Image_Pages pages = pages_of(counts);
    const char* const openMode = tiff_open_mode(format);
    if (format == "tiff_w4" && tiff_bytes(pages, false) > most_in_classic_tiff) {
        throw py::value_error(R"(format "tiff_w4" ends at 4 GiB: use "tiff_w8")");
    }
    const std::string name = path;
    const std::vector<std::string> files = paths_from(read_files);
    Progress_Count nWritten;
    const auto work = [&] {
        prepare(name, files);
        write_tiff(name, openMode, pages, nWritten, Tiff_Messages::drop);
    };
    run_with_signals(work, nWritten, report);
}

void write_recording(const py::bytes& path, const py::buffer& events, const py::object& triggers) {
    const py::buffer_info event_memory = events.request();
    std::optional<py::buffer_info> trigger_memory;
    if (!triggers.is_none()) {
        trigger_memory = triggers.cast<py::buffer>().request();
    }
    const std::string name = path;
    Progress_Count nWritten;
    const auto work = [&] {
        std::optional<Record_Source<orven::Event_Time>> trigger_source;
        if (trigger_memory) {
            trigger_source = source_of<orven::Event_Time>(*trigger_memory, nWritten);
        }
        write_event_file(name, trigger_source,
                         source_of<orven::Photon_Event>(event_memory, nWritten));
    };
    run_with_signals(work, nWritten, py::none());
}
