#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Writes lines to a descriptor, each by one write where it is taken as a whole. Descriptors that
/// do not block are waited for as others are. What cannot be written is dropped, and the next line
/// is tried again. A terminal that takes nothing is not waited for: its lines are kept.
class Line_Writer {
public:
    /// The descriptor must stay open as long as this object lives.
    explicit Line_Writer(int descriptor_) noexcept : descriptor(descriptor_) {}
    Line_Writer(const Line_Writer&) = delete;
    Line_Writer& operator=(const Line_Writer&) = delete;
    ~Line_Writer();

    /// Writes a line, which ends in a newline, after what was kept.
    /// Throws: std::bad_alloc, and nothing of the line is written then.
    void write(std::string_view line);

    /// Writes what was kept, as far as the terminal takes it.
    void go_on() noexcept { write_lines(terminal() >= 0 ? terminal() : descriptor); }

    /// Writes what was kept, and waits until the terminal takes it.
    void finish() noexcept { write_lines(descriptor); }

    [[nodiscard]] bool keeps_lines() const noexcept { return nWritten < lines.size(); }

    /// The terminal behind the descriptor, opened once more so that no write to it waits; -1 if it
    /// is none, or may not be opened.
    [[nodiscard]] int terminal() noexcept;

private:
    void write_lines(int target) noexcept;

    int descriptor;
    int opened = -1;
    bool examined = false;     ///< whether it has been tried to open the terminal
    std::string lines;         ///< begins with what is written already
    std::size_t nWritten = 0;  ///< of `lines`
    bool in_line = false;      ///< whether the last line that was written broke off
};
