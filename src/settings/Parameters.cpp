#include "settings/Parameters.h"

#include "escaped.h"
#include "logging.h"

#include <cinttypes>
#include <cstddef>
#include <cstdlib>
#include <stdexcept>

const option Parameters::long_options[] = {
    {"help", no_argument, nullptr, 'h'},
    {"license", no_argument, nullptr, 0},
    {"version", no_argument, nullptr, 0},
    {"paramsFile", required_argument, nullptr, 'f'},
    {"inputFiles", required_argument, nullptr, 'i'},
    {"inputFolder", required_argument, nullptr, 'I'},
    {"inputListFile", required_argument, nullptr, 0},
    {"outputFile", required_argument, nullptr, 'o'},
    {"size_x", required_argument, nullptr, 'x'},
    {"size_y", required_argument, nullptr, 'y'},
    {"nPhotons_min", required_argument, nullptr, 'm'},
    {"nPhotons_max", required_argument, nullptr, 'M'},
    {"psd_min", required_argument, nullptr, 'p'},
    {"psd_max", required_argument, nullptr, 'P'},
    {"time_extTrigger", required_argument, nullptr, 'E'},
    {"time_res_s", required_argument, nullptr, 't'},
    {"time_limit", required_argument, nullptr, 'T'},
    {"fileFormat", required_argument, nullptr, 0},
    {"parallel", required_argument, nullptr, 0},
    {"verbose", required_argument, nullptr, 0},
    {"report", required_argument, nullptr, 0},
    {"spectra", required_argument, nullptr, 0},
    {"strict", required_argument, nullptr, 0},
    {"upright", required_argument, nullptr, 0},
    {"region", required_argument, nullptr, 0},
    {"timeStart", required_argument, nullptr, 0},
    {nullptr, 0, nullptr, 0},
};

namespace {

/// So many numbers with commas between them, and nothing else.
template <std::size_t n>
std::array<double, n> read_numbers(const char* text, const char* failure) {
    std::array<double, n> numbers{};
    const char* next = text;
    for (std::size_t i = 0; i < n; ++i) {
        char* end = nullptr;
        numbers.at(i) = std::strtod(next, &end);
        if (end == next || *end != (i + 1 < n ? ',' : '\0')) {
            throw std::invalid_argument(text + std::string(failure));
        }
        next = end + 1;
    }
    return numbers;
}

constexpr const char* not_a_size = " is not a valid size!";
constexpr const char* not_a_number = " is not a valid number!";
constexpr const char* not_a_region = " is not a valid region, which is X0,Y0,X1,Y1!";
constexpr const char* not_a_start = " is not a valid timeStart, which is a number of seconds!";

}  // namespace

Parameters::Parameters(int argc, char* const argv[]) : arguments(argv, argv + argc) {
    while (true) {
        int index = -1;
        const int result =
            getopt_long(argc, argv, "hf:i:I:o:x:y:m:M:E:t:T:p:P:", long_options, &index);
        if (result == -1) {
            break;
        }
        apply_option(result, result == 0 ? long_options[index].name : "", argv[0]);
    }
    if (optind < argc) {
        hint(
            "Several files: -i a.orvenevent,b.orvenevent with commas between them, or -I FOLDER "
            "for all files of a folder.");
        throw std::invalid_argument("excess argument: " + std::string(argv[optind]) + " !");
    }
}

void Parameters::apply_option(int shortName, const char* longName, const char* programName) {
    switch (shortName) {
        case 0:
            apply_long_option(longName);
            break;
        case 'h':
            print_help(programName);
            exit_requested = true;
            break;
        case 'f':
            read_parameterSettings_file(optarg);
            break;
        case 'i':
            add_inputFiles(optarg);
            break;
        case 'I':
            add_inputFolder(optarg);
            break;
        case 'o':
            outputFile = optarg;
            break;
        case 'x':
            size_x = read_unsigned("-x", not_a_size);
            size_y = size_x;
            break;
        case 'y':
            size_y = read_unsigned("-y", not_a_size);
            break;
        case 'm':
            nPhotons_min = read_unsigned("-m", not_a_number);
            break;
        case 'M':
            nPhotons_max = read_unsigned("-M", not_a_number);
            break;
        case 'E':
            extTrigger_mode = read_externalTrigger_mode(optarg);
            trigger_mode_given = true;
            break;
        case 't':
            time_res_s = read_double("-t");
            break;
        case 'T':
            time_max_binNumber = read_long("-T");
            break;
        case 'p':
            psd_min = read_double("-p");
            break;
        case 'P':
            psd_max = read_double("-P");
            break;
        default:
            exit_requested = true;
            break;
    }
}

void Parameters::apply_long_option(std::string_view name) {
    if (name == "license") {
        print_license();
        exit_requested = true;
    } else if (name == "version") {
        print_version();
        exit_requested = true;
    } else if (name == "fileFormat") {
        fileFormat = optarg;
    } else if (name == "inputListFile") {
        add_inputListFile(optarg);
    } else if (name == "parallel") {
        set_switch(parallel, "parallel");
    } else if (name == "verbose") {
        logLevel = std::stoi(optarg);
    } else if (name == "report") {
        reportFile = optarg;
    } else if (name == "spectra") {
        spectraFile = optarg;
    } else if (name == "strict") {
        set_switch(strict, "strict");
    } else if (name == "upright") {
        set_switch(upright, "upright");
    } else if (name == "region") {
        region = read_numbers<4>(optarg, not_a_region);
    } else if (name == "timeStart") {
        timeStart = read_numbers<1>(optarg, not_a_start).front();
    }
}

/// Base by prefix (0x, 0), a sign wraps modulo 2^64.
std::uint64_t Parameters::read_unsigned(const char* option_name, const char* failure) {
    char* end = nullptr;
    const std::uint64_t value = strtoumax(optarg, &end, 0);
    if (end == optarg) {
        throw std::invalid_argument(std::string(optarg) + failure);
    }
    doubt_rest(option_name, static_cast<std::size_t>(end - optarg));
    return value;
}

double Parameters::read_double(const char* option_name) {
    std::size_t nRead = 0;
    const double value = std::stod(optarg, &nRead);
    doubt_rest(option_name, nRead);
    return value;
}

long Parameters::read_long(const char* option_name) {
    std::size_t nRead = 0;
    const long value = std::stol(optarg, &nRead);
    doubt_rest(option_name, nRead);
    return value;
}

void Parameters::doubt_rest(const std::string& option_name, std::size_t nRead) {
    // An option that is given again replaces what was doubtful.
    std::erase_if(doubts, [&](const std::string& doubt) { return doubt.starts_with(option_name); });
    const std::string argument = optarg;
    if (nRead < argument.size()) {
        doubts.push_back(option_name + ' ' + quoted(argument) + " was taken as " +
                         quoted(argument.substr(0, nRead)) +
                         ": numbers have a decimal point and no unit, whole numbers digits only");
    }
}

void Parameters::set_switch(bool& field, const std::string& name) {
    const std::string argument = optarg;
    if (argument == "true" || argument == "false") {
        field = argument == "true";
    } else {
        logging<error>("argument for \"" + name + R"(" must be "true" or "false" (is ")" +
                       argument + "\")");
        exit_requested = true;
    }
}

Parameters::ExtTrigger_Mode Parameters::read_externalTrigger_mode(const std::string& text) const {
    if (text == "reference") {
        return reference;
    }
    if (text == "ignore") {
        return ignore;
    }
    if (text == "frameSync") {
        return frameSync;
    }
    // A name from a settings file is reported by the path of that file, the option's argument.
    throw std::invalid_argument(std::string(optarg) + " is not a valid trigger handling type!");
}
