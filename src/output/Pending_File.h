#pragma once

#include <string>

/// A file on its way to a path. Where the path names a regular file or nothing yet, the new file is
/// made in the same folder, without a name or under another one, and takes its place in one step:
/// whatever ends the process, the path holds the old file or the whole new one. Of two processes
/// that write to one path, the last one to commit wins.
/// Devices and files that cannot be replaced are written where they are.
/// Failures: functions return 0 or the errno value of what failed.
class Pending_File {
public:
    Pending_File() = default;
    Pending_File(const Pending_File&) = delete;
    Pending_File& operator=(const Pending_File&) = delete;
    /// Discards a file that was not committed.
    ~Pending_File() { discard(); }

    /// Opens an empty file for reading and writing. An existing file's mode is kept; a symbolic
    /// link stays one. Call once.
    [[nodiscard]] int open(const std::string& path);

    [[nodiscard]] int descriptor() const noexcept { return opened; }

    /// Closes the file and puts it in its place. If that fails, the path holds what it held before.
    [[nodiscard]] int commit();

    /// Closes the file and removes it, unless it is written where it is.
    void discard() noexcept;

private:
    int open_in_place(const std::string& path) noexcept;
    /// Opens a file in the target's folder: without a name where the file system has such files.
    int open_beside();
    int link_name();
    /// Under this name a signal removes the file.
    void set_name(std::string next);

    int opened = -1;
    bool inPlace = false;
    std::string target;  ///< what the new file replaces: the path, with links followed
    std::string name;    ///< of the new file until it takes its place; empty without a name
};

/// Removes the file that is still under another name, if any. For handlers of signals that end the
/// process.
void remove_unfinished_file() noexcept;
