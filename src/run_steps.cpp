#include "run_steps.h"

#include "binning/Image_Geometry.h"
#include "logging.h"
#include "output/Output_Check.h"
#include "output/Spectra_File.h"
#include "output/Text_File.h"
#include "remarks/closing_account.h"

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

/// An output file, and at least how many bytes it will have.
struct Output {
    std::string path;
    std::uint64_t bytes;
};

std::vector<Output> outputs_of(const Parameters& parameters, std::uint64_t imageBytes,
                               std::size_t nPages) {
    constexpr std::uint64_t report_bytes = 800;
    constexpr std::uint64_t spectra_line_bytes = 18;
    std::vector<Output> outputs{{*parameters.outputFile, imageBytes}};
    if (parameters.spectraFile) {
        outputs.push_back({*parameters.spectraFile, nPages * spectra_line_bytes});
    }
    if (parameters.reportFile) {
        outputs.push_back({*parameters.reportFile, report_bytes});
    }
    return outputs;
}

void refuse_harmful(const Parameters& parameters, const std::string& output,
                    const std::vector<std::string>& others) {
    refuse_harmful_output(output, parameters.inputFiles, others);
    refuse_harmful_output(output, parameters.settingsFiles, others);
    if (output == *parameters.outputFile) {
        refuse_image_without_places(output);
    }
}

void refuse_harmful_outputs(const Parameters& parameters) {
    std::vector<std::string> others;
    for (const Output& output : outputs_of(parameters, 0, 0)) {
        refuse_harmful(parameters, output.path, others);
        others.push_back(output.path);
    }
}

void warn(const Parameters& parameters, const std::string& message) {
    if (parameters.strict) {
        throw std::runtime_error(message);
    }
    logging<warning>(message);
}

/// Makes what is missing of the output's folder. While the run was counting, or just now, the path
/// may have become that of something else: it is checked again.
void prepare_output(const Parameters& parameters, const std::string& path) {
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    if (!folder.empty()) {
        std::filesystem::create_directories(folder);
    }
    std::vector<std::string> others;
    for (const Output& output : outputs_of(parameters, 0, 0)) {
        if (output.path != path) {
            others.push_back(output.path);
        }
    }
    refuse_harmful(parameters, path, others);
}

std::uint64_t write_image(const std::string& path, const char* openMode, const Image_Pages& image) {
    Progress_Count nWritten;
    const std::uint64_t page_bytes = image.rows * image.columns * sizeof(Counter);
    const Progress_Line line(writing_progress(image.nPages, page_bytes, nWritten));
    return write_tiff(path, openMode, image, nWritten);
}

Pixel_Steps pixel_steps(const char* coordinate, double low, double high, std::uint64_t size) {
    constexpr double units = orven::Event_Length::units_per_pixel;
    return {coordinate, static_cast<double>(std::llround(low * units)) / units,
            static_cast<double>(pixel_width(size, high - low)) / units};
}

Image_Axes axes_of(const Parameters& parameters) {
    const Page_Sizes sizes = page_sizes(parameters);
    const auto [x0, y0, x1, y1] =
        sizes.region.value_or(Region{0, 0, orven::detector_pixels, orven::detector_pixels});
    const Pixel_Steps x = pixel_steps("x", x0, x1, sizes.upright ? sizes.size_x : sizes.size_y);
    const Pixel_Steps y = pixel_steps("y", y0, y1, sizes.upright ? sizes.size_y : sizes.size_x);
    Image_Axes axes{sizes.upright ? x : y, sizes.upright ? y : x, {}};
    if (parameters.time_res_s) {
        axes.time_bins = time_axis(sizes.nPages, page_times(parameters));
    }
    return axes;
}

}  // namespace

void check_settings(const Parameters& parameters) {
    if (parameters.strict && parameters.firstWarning) {
        throw std::runtime_error(*parameters.firstWarning);
    }
    if (parameters.spectraFile &&
        (!parameters.time_res_s || parameters.extTrigger_mode == Parameters::frameSync)) {
        throw std::invalid_argument("spectra need pages that are time bins!");
    }
    if (parameters.timeStart && !parameters.time_res_s) {
        throw std::invalid_argument("timeStart needs time bins!");
    }
    if (parameters.reportFile) {
        check_settings_can_be_reported(parameters);
    }
    refuse_harmful_outputs(parameters);
}

void warn_of_outputs(const Parameters& parameters, const Image_Pages& image) {
    const bool big = parameters.fileFormat == "tiff_w8";
    const std::uint64_t bytes = tiff_bytes(image, big);
    if (parameters.fileFormat == "tiff_w4" && bytes > std::numeric_limits<std::uint32_t>::max()) {
        warn(parameters, "The output will need " + std::to_string(bytes) +
                             R"( bytes, but "tiff_w4" files end at 4 GiB. Use "tiff_w8"!)");
    }
    for (const Output& output : outputs_of(parameters, bytes, image.nPages)) {
        if (const auto problem = output_problem(output.path, output.bytes)) {
            warn(parameters, *problem);
        }
    }
    if (image.nPages == 0) {
        warn(parameters, "The image will have no pages!");
    }
}

void log_trigger_count(const Parameters& parameters, std::size_t nTriggers) {
    logging<info>("External Triggers: " + std::to_string(nTriggers) + " for " +
                  parameters.outputFile.value_or("Not Available"));
}

void write_outputs(const Parameters& parameters, const Image_Pages& image,
                   const Run_Account& account, const Remarks& remarks,
                   std::chrono::steady_clock::time_point started) {
    const char* const openMode = tiff_open_mode(parameters.fileFormat);
    prepare_output(parameters, *parameters.outputFile);
    const std::uint64_t bytes = write_image(*parameters.outputFile, openMode, image);
    const Image_Axes axes = axes_of(parameters);
    if (parameters.spectraFile) {
        prepare_output(parameters, *parameters.spectraFile);
        write_spectra(*parameters.spectraFile, image, *axes.time_bins);
    }
    const auto duration = std::chrono::steady_clock::now() - started;
    const Run_Report report{parameters, account, image, remarks.get_all(), axes, bytes, duration};
    if (parameters.reportFile) {
        prepare_output(parameters, *parameters.reportFile);
        write_text_file(*parameters.reportFile, report_text(report));
    }
    tell_closing_account(report);
}
