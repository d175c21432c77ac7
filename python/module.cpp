#include "binning/from_settings.h"
#include "conversions.h"
#include "count_image.h"
#include "files.h"
#include "run_with_signals.h"
#include "settings/Parameters.h"
#include "settings/event_files_in.h"
#include "survey.h"

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// What the package needs of the core, under the checks of arguments in Python.

namespace py = pybind11;

namespace {

/// An array that owns the cells.
py::array_t<std::uint32_t> array_of(Counters cells, const Image_Settings& settings) {
    auto owned = std::make_unique<Counters>(std::move(cells));
    const auto* const counts = reinterpret_cast<const std::uint32_t*>(owned->data());
    const py::capsule owner(owned.get(),
                            [](void* memory) { delete static_cast<Counters*>(memory); });
    (void)owned.release();  // it has got an owner
    const auto [columns, rows, nPages] =
        std::array{settings.size_x, settings.size_y, page_sizes(settings).nPages};
    std::vector<std::size_t> shape{rows, columns};
    if (settings.time_res_s) {
        shape.insert(shape.begin(), nPages);
    }
    return py::array_t<std::uint32_t>(shape, counts, owner);
}

py::list files_in(const py::bytes& folder) {
    std::vector<std::string> files = event_files_in(folder);
    std::ranges::sort(files);
    py::list found;
    for (const std::string& file : files) {
        found.append(py::bytes(file));
    }
    return found;
}

std::unique_ptr<Open_Recording> open_recording(const py::list& paths, const py::object& report) {
    const std::vector<std::string> names = paths_from(paths);
    std::unique_ptr<Open_Recording> recording;
    Progress_Count nOpened;
    run_with_signals([&] { recording = std::make_unique<Open_Recording>(names, nOpened); }, nOpened,
                     report);
    return recording;
}

py::list paths_of(const Open_Recording& recording) {
    py::list paths;
    for (const std::string& path : recording.get_paths()) {
        paths.append(text_from(path));
    }
    return paths;
}

py::tuple count(const Open_Recording& recording, const Image_Settings& settings, bool strict,
                const py::object& report) {
    Counted_Image image;
    Progress_Count nRead;
    run_with_signals([&] { image = count_image(recording, settings, strict, nRead); }, nRead,
                     report);
    const Event_Account& events = image.events;
    return py::make_tuple(
        array_of(std::move(image.cells), settings),
        py::make_tuple(events.recorded, events.rejected(), events.outside(), events.counted),
        pairs_from(image.failures));
}

void add_settings(py::module_& module) {
    py::class_<Image_Settings> settings(module, "Settings");
    py::enum_<Image_Settings::ExtTrigger_Mode>(module, "Mode")
        .value("ignore", Image_Settings::ignore)
        .value("reference", Image_Settings::reference)
        .value("frameSync", Image_Settings::frameSync);
    settings.def(py::init())
        .def_readwrite("size_x", &Image_Settings::size_x)
        .def_readwrite("size_y", &Image_Settings::size_y)
        .def_readwrite("nPhotons_min", &Image_Settings::nPhotons_min)
        .def_readwrite("nPhotons_max", &Image_Settings::nPhotons_max)
        .def_readwrite("mode", &Image_Settings::extTrigger_mode)
        .def_readwrite("time_res_s", &Image_Settings::time_res_s)
        .def_readwrite("time_max_binNumber", &Image_Settings::time_max_binNumber)
        .def_readwrite("psd_min", &Image_Settings::psd_min)
        .def_readwrite("psd_max", &Image_Settings::psd_max)
        .def_readwrite("upright", &Image_Settings::upright)
        .def_readwrite("region", &Image_Settings::region)
        .def_readwrite("timeStart", &Image_Settings::timeStart);
}

void add_recording(py::module_& module) {
    py::class_<Open_Recording>(module, "Recording")
        .def(py::init(&open_recording))
        .def_property_readonly("files", &paths_of)
        .def_property_readonly(
            "faults", [](const Open_Recording& each) { return pairs_from(each.get_faults()); })
        .def_property_readonly("n_events", &Open_Recording::get_nEvents)
        .def_property_readonly("n_triggers", &Open_Recording::get_nTriggers)
        .def("count", &count);
}

void add_survey(py::module_& module) {
    py::class_<Bounds>(module, "Bounds")
        .def(py::init())
        .def_readwrite("nPhotons_min", &Bounds::nPhotons_min)
        .def_readwrite("nPhotons_max", &Bounds::nPhotons_max)
        .def_readwrite("psd_min", &Bounds::psd_min)
        .def_readwrite("psd_max", &Bounds::psd_max);
    module.def("survey", &survey);
}

/// Start of the first bin and length of each, in ticks.
std::pair<std::int64_t, std::int64_t> bins_of(const Image_Settings& settings) {
    const Time_Axis bins = time_axis(page_sizes(settings).nPages, page_times(settings));
    return {bins.origin(), bins.width()};
}

}  // namespace

PYBIND11_MODULE(_core, module) {
    translate_exceptions();
    add_settings(module);
    add_recording(module);
    add_survey(module);
    module.attr("version") = std::string(Parameters::version);
    module.attr("tick") = orven::Event_Time::seconds_per_tick;
    module.def("files_in", &files_in);
    module.def("bins_of", &bins_of);
    module.def("index_of_file", &index_of_file);
    module.def("save_counts", &save_counts, py::arg("counts").noconvert(), py::arg("path"),
               py::arg("format"), py::arg("read_files"), py::arg("report"));
    module.def("write_recording", &write_recording);
}
