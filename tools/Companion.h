#pragma once

#include "escaped.h"
#include "signals.h"

#include <CLI/CLI.hpp>

#include <cstddef>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>

// What the command lines of the companions share.

/// Help in the order and spelling that GNU programs have.
class Help_Formatter : public CLI::Formatter {
public:
    /// The usage is what follows the program's name.
    explicit Help_Formatter(std::string usage_) : usage(std::move(usage_)) {
        constexpr std::size_t width = 26;
        column_width(width);
    }

    std::string make_help(const CLI::App* app, std::string name,
                          CLI::AppFormatMode mode) const override {
        return "Usage: " + name + " " + usage + "\n" + app->get_description() + "\n" +
               make_groups(app, mode) + "\n" + make_footer(app);
    }

    std::string make_option_name(const CLI::Option* option, bool) const override {
        const bool has_short_name = !option->get_snames().empty();
        return (has_short_name ? "-" + option->get_snames().front() + ", " : "    ") + "--" +
               option->get_lnames().front();
    }

private:
    std::string usage;
};

/// Gives the command line its help and version options.
inline void add_standard_options(CLI::App& app, const std::string& usage) {
    app.formatter(std::make_shared<Help_Formatter>(usage));
    app.set_help_flag("-h,--help", "Print this help and exit");
    app.set_version_flag("--version", VEXOLAN_VERSION, "Print the version number and exit");
}

/// Parses a command line. Returns the status to end with, if that is all: help and version are
/// written, and so is what is wrong.
[[nodiscard]] inline std::optional<int> parse(CLI::App& app, int argc, char* argv[]) {
    try {
        app.parse(argc, argv);
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == EXIT_SUCCESS ? EXIT_SUCCESS : EXIT_FAILURE;
    }
}

/// Runs a companion: what it throws becomes one line on standard error and status 1. Signals leave
/// nothing behind, and writes that fail do not end it before it has said so.
/// `run` takes the program's arguments and returns its status.
template <class Run>
int run_companion(const char* name, int argc, char* argv[], const Run& run) {
    clean_up_at_signals();
    make_failed_writes_errors();
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << name << ": " << escaped(error.what()) << '\n';
        return EXIT_FAILURE;
    }
}
