#include "run_steps.h"

#include "logging.h"

#include <cstdint>
#include <filesystem>
#include <limits>
#include <string>

orven::Photon_Filter event_filter(const Parameters& parameters) {
    return orven::Photon_Filter({parameters.nPhotons_min, parameters.nPhotons_max},
                                {parameters.psd_min, parameters.psd_max});
}

void warn_if_too_large(const Parameters& parameters, const Image_Pages& image) {
    const std::uint64_t bytes = classic_tiff_bytes(image.nPages, image.rows, image.columns);
    if (parameters.fileFormat == "tiff_w4" && bytes > std::numeric_limits<std::uint32_t>::max()) {
        logging<warning>("The output will need " + std::to_string(bytes) +
                         R"( bytes, but "tiff_w4" files end at 4 GiB. Use "tiff_w8"!)");
    }
}

void log_trigger_count(const Parameters& parameters, std::size_t nTriggers) {
    logging<info>("External Triggers: " + std::to_string(nTriggers) + " for " +
                  parameters.outputFile.value_or("Not Available"));
}

void write_image(const Parameters& parameters, const Image_Pages& image) {
    const char* const openMode = tiff_open_mode(parameters.fileFormat);
    const std::filesystem::path folder =
        std::filesystem::path(*parameters.outputFile).parent_path();
    if (!folder.empty()) {
        std::filesystem::create_directories(folder);
    }
    write_tiff(*parameters.outputFile, openMode, image);
}
