#include "recordings.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

TEST(Parameters, defaults) {
    const Parameters record = parameters_from({});
    EXPECT_FALSE(record.exit_requested);
    EXPECT_TRUE(record.inputFiles.empty());
    EXPECT_FALSE(record.outputFile.has_value());
    EXPECT_EQ(record.size_x, 512U);
    EXPECT_EQ(record.size_y, 512U);
    EXPECT_EQ(record.nPhotons_min, 0U);
    EXPECT_EQ(record.nPhotons_max, 18446744073709551615U);
    EXPECT_EQ(record.extTrigger_mode, Parameters::ignore);
    EXPECT_FALSE(record.time_res_s || record.time_max_binNumber || record.psd_min ||
                 record.psd_max);
    EXPECT_EQ(record.fileFormat, "tiff_w4");
    EXPECT_TRUE(record.parallel);
}

TEST(Parameters, options_fill_their_fields) {
    const Parameters record = parameters_from(
        {"-x",   "0x10", "-y",     "7px", "-m",           "010", "-M",         "-1",   "-p",
         "-inf", "-P",   "1e-3 s", "-E",  "frameSync",    "-t",  "nan",        "-T",   "-12.5",
         "-o",   "a",    "--outp", "b",   "--fileFormat", "x",   "--parallel", "false"});
    EXPECT_EQ(record.size_x, 16U);
    EXPECT_EQ(record.size_y, 7U);
    EXPECT_EQ(record.nPhotons_min, 8U);
    EXPECT_EQ(record.nPhotons_max, 18446744073709551615U);
    EXPECT_EQ(record.psd_min, -INFINITY);
    EXPECT_EQ(record.psd_max, 1e-3);
    EXPECT_EQ(record.extTrigger_mode, Parameters::frameSync);
    EXPECT_TRUE(std::isnan(*record.time_res_s));
    EXPECT_EQ(record.time_max_binNumber, -12);
    EXPECT_EQ(record.outputFile, "b");
    EXPECT_EQ(record.fileFormat, "x");
    EXPECT_FALSE(record.parallel);
    EXPECT_FALSE(record.exit_requested);
}

TEST(Parameters, settings_file_takes_effect_where_it_stands) {
    const Folder folder;
    const std::string path = folder.write("s.json", R"({"other": 1, "vexolan": {
        "size_x": 100, "nPhotons_min": 2, "nPhotons_max": 18446744073709551615, "psd_min": 3,
        "psd_max": -0.5, "time_extTrigger": "reference", "time_res_s": 1e-6, "time_limit": 99.99}})");
    const Parameters before = parameters_from({"-x", "300", "-m", "9", "-f", path});
    EXPECT_EQ(before.size_x, 100U);
    EXPECT_EQ(before.size_y, 300U);
    EXPECT_EQ(before.nPhotons_min, 2U);
    EXPECT_EQ(before.psd_min, 3.0);
    EXPECT_EQ(before.psd_max, -0.5);
    EXPECT_EQ(before.extTrigger_mode, Parameters::reference);
    EXPECT_EQ(before.time_res_s, 1e-6);
    EXPECT_EQ(before.time_max_binNumber, 99);
    const Parameters after = parameters_from({"-f", path, "-x", "300", "-E", "ignore"});
    EXPECT_EQ(after.size_x, 300U);
    EXPECT_EQ(after.extTrigger_mode, Parameters::ignore);
}

}  // namespace
