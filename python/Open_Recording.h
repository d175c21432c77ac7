#pragma once

#include "Event_File.h"
#include "progress/Progress_Count.h"
#include "reading/Work_Queue.h"
#include "settings/Image_Settings.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// A file that cannot be read, and why.
struct Faulty_File {
    std::string path;
    std::string reason;
};

/// The files of a recording, opened once. They stay open, as far as the limit of open files leaves
/// enough for others; the rest are opened anew each time they are read.
/// Threads: any number may use one object.
class Open_Recording {
public:
    /// Opens files, which are counted in `nOpened`, and leaves out those that are faulty.
    /// Throws: Cancelled, std::bad_alloc.
    Open_Recording(const std::vector<std::string>& paths_, Progress_Count& nOpened);

    /// Of the files that were not left out.
    [[nodiscard]] const std::vector<std::string>& get_paths() const noexcept { return paths; }
    [[nodiscard]] const std::vector<Faulty_File>& get_faults() const noexcept { return faults; }
    [[nodiscard]] std::uint64_t get_nEvents() const noexcept { return nEvents; }
    /// Empty if no file was recorded with trigger input.
    [[nodiscard]] std::optional<std::uint64_t> get_nTriggers() const noexcept { return nTriggers; }

    /// The files for a queue. This object must outlive it.
    [[nodiscard]] Input_List inputs() const { return {paths, opened}; }

    /// What is to be seen of a file before its events are counted, which is looked up once. This
    /// object must outlive it.
    [[nodiscard]] Look_At look_at(Image_Settings::ExtTrigger_Mode mode) const;

private:
    enum class Sharing_Known : unsigned char { no, may_be_shared, may_not };

    void add(const std::string& path);

    std::vector<std::string> paths;
    std::vector<std::shared_ptr<const orven::Event_File>> opened;  ///< null where not kept open
    std::vector<Faulty_File> faults;
    std::uint64_t nEvents = 0;
    std::optional<std::uint64_t> nTriggers;
    /// Whether tasks may share the events of a file where triggers are used.
    mutable std::vector<std::atomic<Sharing_Known>> sharing;
};
