#include "binning/from_settings.h"

Page_Sizes page_sizes(const Image_Settings& settings) {
    const bool has_pages = settings.time_res_s.has_value();
    const std::int64_t nPages = has_pages ? settings.time_max_binNumber.value() : 1;
    Page_Sizes sizes{settings.size_x, settings.size_y, static_cast<std::uint64_t>(nPages)};
    sizes.upright = !has_pages || settings.upright;
    if (settings.region) {
        const auto& [x0, y0, x1, y1] = *settings.region;
        sizes.region = Region{x0, y0, x1, y1};
    }
    return sizes;
}

Page_Times page_times(const Image_Settings& settings) {
    return {settings.time_res_s.value(), settings.timeStart};
}

Placement placement_of(const Image_Settings& settings) {
    if (!settings.time_res_s) {
        return Integrated_Placement(page_sizes(settings));
    }
    if (settings.extTrigger_mode == Image_Settings::frameSync) {
        return Frame_Placement(page_sizes(settings), page_times(settings));
    }
    return Time_Bin_Placement(page_sizes(settings), page_times(settings));
}

orven::Photon_Filter event_filter(const Image_Settings& settings) {
    return orven::Photon_Filter({settings.nPhotons_min, settings.nPhotons_max},
                                {settings.psd_min, settings.psd_max});
}
