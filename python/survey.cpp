#include "survey.h"

#include "Named_Input.h"
#include "conversions.h"
#include "reports.h"
#include "run_with_signals.h"
#include "suggestions.h"
#include "survey_files.h"

#include <string>
#include <utility>
#include <vector>

namespace py = pybind11;

namespace {

std::vector<Named_Input> inputs_of(const py::object& folder, std::vector<std::string> files) {
    std::vector<Named_Input> inputs;
    if (!folder.is_none()) {
        inputs.push_back({folder.cast<py::bytes>(), true, std::move(files)});
        return inputs;
    }
    for (const std::string& file : files) {
        inputs.push_back({file, false, {file}});
    }
    return inputs;
}

}  // namespace

py::str survey(const py::object& folder, const py::list& paths, const Bounds& bounds,
               const py::object& report) {
    const std::vector<Named_Input> inputs = inputs_of(folder, paths_from(paths));
    std::string json;
    Progress_Count nRead;
    const auto work = [&] {
        const Survey found = survey_files(files_of(inputs), bounds, nRead);
        json = json_report(found, suggest(found, inputs));
    };
    run_with_signals(work, nRead, report);
    return text_from(json);
}
