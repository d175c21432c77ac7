#pragma once

#include "system/Descriptor.h"

#include <string>

/// A file on its way to a path. Where the path names a regular file or nothing yet, the new file is
/// made in the same folder, without a name or under another one, and takes its place in one step:
/// whatever ends the process, the path holds the old file or the whole new one. It takes the place
/// only of what was there when it was opened: of two processes that write to one path at the same
/// time, the first to commit wins.
/// Devices, pipes and files that cannot be replaced are written where they are.
/// Failures: functions return 0 or the errno value of what failed.
class Pending_File {
public:
    Pending_File() = default;
    Pending_File(const Pending_File&) = delete;
    Pending_File& operator=(const Pending_File&) = delete;
    /// Discards a file that was not committed.
    ~Pending_File() { discard(); }

    /// Opens an empty file for reading and writing, or a pipe that somebody reads for writing. An
    /// existing file's access is kept as by `keep_access`; a symbolic link stays one. Call once.
    [[nodiscard]] int open(const std::string& path);

    [[nodiscard]] int descriptor() const noexcept { return opened.get(); }

    /// Closes the file and puts it in its place. If that fails, the path holds what it held before.
    /// EEXIST: since `open` something else has come there, or what is there has become a recording.
    /// The new file is kept then, under another name.
    [[nodiscard]] int commit();

    /// The path under which the file is kept if it could not take its place; empty otherwise.
    [[nodiscard]] const std::string& kept_as() const noexcept { return kept; }

    /// Closes the file and removes it, unless it is written where it is.
    void discard() noexcept;

private:
    int open_in_place(const std::string& path) noexcept;
    int open_pipe(const std::string& path) noexcept;
    /// Opens a file in the folder, which nobody else may read before its access is set: without a
    /// name where the file system has such files.
    int open_beside(mode_t mode);
    int link_name();
    int take_place() noexcept;
    /// Whether the target is still the file that was there when this one was opened.
    [[nodiscard]] bool is_old_file_there() const noexcept;
    /// Under this name a signal removes the file.
    void set_name(std::string next);

    Descriptor opened;
    bool inPlace = false;
    Descriptor folder;          ///< where the new file is made and takes its place
    std::string folderName;     ///< with a slash at its end; empty for the current folder
    std::string target;         ///< the name in the folder that the new file takes
    std::string name;           ///< its name in the folder until then; empty without a name
    Descriptor old;             ///< the file that is replaced: kept open, no other gets its number
    bool wasRecording = false;  ///< the old file
    std::string kept;
};

/// Removes the file that is still under another name, if any. For handlers of signals that end the
/// process.
void remove_unfinished_file() noexcept;
