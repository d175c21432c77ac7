#pragma once

#include <string>
#include <vector>

/// What a run says of itself to a person: shown where one reads along, and kept for the report.
/// Where it is shown, it is in a place of its own: log lines stay as they are.
class Remarks {
public:
    /// `strict_`: whether doubts end the run.
    explicit Remarks(bool strict_) : strict(strict_) {}

    /// Tells what is worth knowing, and how it could be better.
    /// Throws: std::bad_alloc.
    void advise(const std::string& text);

    /// Tells why the image may not be what was asked for.
    /// Throws: in a strict run, std::runtime_error with the text instead; std::bad_alloc.
    void doubt(const std::string& text);

    [[nodiscard]] const std::vector<std::string>& get_all() const noexcept { return all; }

private:
    /// Each text is told once.
    void add(const std::string& head, const std::string& text);

    bool strict;
    std::vector<std::string> all;
};
