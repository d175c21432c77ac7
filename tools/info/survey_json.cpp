#include "survey_json.h"

#include "Named_Input.h"
#include "reports.h"
#include "survey_files.h"

#include <algorithm>
#include <iterator>

std::string survey_json(const std::vector<std::string>& paths, const Bounds& bounds) {
    std::vector<Named_Input> inputs;
    std::ranges::transform(paths, std::back_inserter(inputs), look_up);
    Progress_Count nRead;
    const Survey survey = survey_files(files_of(inputs), bounds, nRead);
    return json_report(survey, suggest(survey, inputs));
}
