#include <cmath>

#include "logging.h"
#include "recordings.h"

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

struct Settings_Case {
    const char* name;
    const char* json;
    std::string message;  // %: the path of the file

    friend void PrintTo(const Settings_Case& instance, std::ostream* out) { *out << instance.name; }
};

class Settings_Files : public testing::TestWithParam<Settings_Case> {};

TEST_P(Settings_Files, are_checked_key_by_key) {
    const Folder folder;
    const std::string path = folder.write("s.json", GetParam().json);
    std::string message = GetParam().message;
    if (message.starts_with('%')) {
        message.replace(0, 1, path);
    }
    EXPECT_EQ(message_of<std::invalid_argument>([&] { parameters_from({"-f", path}); }), message);
}

INSTANTIATE_TEST_SUITE_P(
    Parameters, Settings_Files,
    testing::Values(Settings_Case{"no_section", "{}", R"(Key "vexolan" missing!)"},
                    Settings_Case{"section_no_object", R"({"vexolan": []})",
                                  R"(Key "vexolan" expected to be a JSON Object!)"},
                    Settings_Case{"empty_section", R"({"vexolan": {}})", ""},
                    Settings_Case{"first_of_two_keys_counts",
                                  R"({"vexolan": {"size_x": 1, "size_x": "a"}})", ""},
                    Settings_Case{"fraction_for_a_size", R"({"vexolan": {"size_x": 100.0}})",
                                  R"(Key "size_x" expected to be a 64 bit unsigned int!)"},
                    Settings_Case{"size_beyond_64_bits",
                                  R"({"vexolan": {"size_y": 18446744073709551616}})",
                                  R"(Key "size_y" expected to be a 64 bit unsigned int!)"},
                    Settings_Case{"text_for_a_number", R"({"vexolan": {"psd_min": "3"}})",
                                  R"(Key "psd_min" expected to be a double!)"},
                    Settings_Case{"number_for_a_name", R"({"vexolan": {"time_extTrigger": 1}})",
                                  R"(Key "time_extTrigger" expected to be a string!)"},
                    Settings_Case{"unknown_mode", R"({"vexolan": {"time_extTrigger": "sync"}})",
                                  "% is not a valid trigger handling type!"},
                    Settings_Case{"limit_beyond_64_bits",
                                  R"({"vexolan": {"time_limit": 9223372036854775808}})",
                                  R"(Key "time_limit" does not fit into a 64 bit signed int!)"}),
    [](const auto& instance) { return instance.param.name; });

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

TEST(ParametersDeathTest, settings_that_are_no_object_are_explained_before_the_assertion) {
    const Folder folder;
    const std::string deep(1'000'000, '[');
    for (const auto& [json, reason] :
         {std::pair<std::string, const char*>{"[1]", "has no JSON object at its root"},
          {"{\"a\": tru}", "Invalid value. \\(at byte 9\\)"},
          {deep, "is not valid JSON"}}) {
        const std::string path = folder.write("s.json", json);
        EXPECT_DEATH(parameters_from({"-f", path}),
                     "ERROR: .*s.json.*" + std::string(reason) + "(.|\n)*IsObject\\(\\)");
    }
    EXPECT_DEATH(parameters_from({"-f", "/no/such.json"}), "ERROR: .*could not be opened");
}

}  // namespace
