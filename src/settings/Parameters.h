#pragma once

#include "settings/Image_Settings.h"

#include <getopt.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The settings of one run, from the command line and the settings file. Read-only once built.
class Parameters : public Image_Settings {
public:
    bool exit_requested = false;          ///< stop without a run: help was asked, or a soft error
    std::vector<std::string> inputFiles;  ///< event files, in the order collected
    std::optional<std::string> outputFile;
    std::string fileFormat = "tiff_w4";
    bool parallel = true;
    bool strict = false;                      ///< the first failed file and any warning end the run
    std::optional<std::string> reportFile;    ///< where to write the account of the run
    std::optional<std::string> spectraFile;   ///< where to write the counts of each page
    std::vector<std::string> settingsFiles;   ///< settings and list files that have been read
    std::vector<std::string> arguments;       ///< the command line as given
    std::optional<std::string> firstWarning;  ///< of the command line
    std::vector<std::string> doubts;         ///< for each setting that may mean something else, why
    std::optional<std::string> emptyFolder;  ///< what is to be said of a folder without files
    std::optional<std::string> unsortedFolder;  ///< whose files are in no order of names
    bool trigger_mode_given = false;            ///< rather than the default

    static const option long_options[];
    static constexpr std::string_view extension_eventFiles = ".orvenevent";
    static constexpr std::string_view version = "1.0.0";

    /// Parses the command line; options take effect in its order.
    /// Throws: std::invalid_argument or std::out_of_range for an argument that cannot be
    /// converted or is in excess; what the settings file, the input folder and a list file with a
    /// line that is too long throw.
    Parameters(int argc, char* const argv[]);

    /// Writes the usage text to standard error, with this record's values as defaults.
    void print_help(const char* programName) const;

    /// Writes the licence terms to standard error.
    void print_license() const;

    /// The mode of this name.
    /// Throws: std::invalid_argument naming the current option argument.
    [[nodiscard]] ExtTrigger_Mode read_externalTrigger_mode(const std::string& text) const;

    /// Takes over the values of the section "vexolan" of a JSON file.
    /// Throws: std::invalid_argument for a missing section or a value of the wrong type. A file
    /// that is not a JSON object is logged and fails an assertion.
    void read_parameterSettings_file(const std::string& path);

    /// The value of `key` in `object`, for `T` unsigned 64-bit or double.
    /// Throws: std::invalid_argument if the key is missing or of another type.
    template <class T, class JSON_Value>
    static T json_getValue_helper(const JSON_Value& object, const std::string& key);

private:
    void apply_option(int shortName, const char* longName, const char* programName);
    void apply_long_option(std::string_view name);
    /// The option's argument as a number. Characters behind it are ignored, which is doubtful.
    [[nodiscard]] std::uint64_t read_unsigned(const char* option_name, const char* failure);
    [[nodiscard]] double read_double(const char* option_name);
    [[nodiscard]] long read_long(const char* option_name);
    void doubt_rest(const std::string& option_name, std::size_t nRead);
    void set_switch(bool& field, const std::string& name);

    void add_inputFiles(const std::string& list);
    void add_inputFolder(const std::string& folder);
    void add_inputListFile(const std::string& path);

    void print_version() const;
};
