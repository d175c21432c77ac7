#include "Open_Recording.h"

#include "reading/File_Failures.h"
#include "reading/count_files.h"

#include <sys/resource.h>

#include <exception>
#include <utility>

namespace {

/// Recordings of this process keep so many files open.
std::atomic<std::size_t> nKept = 0;

/// Half of what the process may open: counting needs some, and so do others.
std::size_t most_kept() noexcept {
    rlimit descriptors{};
    getrlimit(RLIMIT_NOFILE, &descriptors);
    return descriptors.rlim_cur / 2;
}

/// The same file, to be kept open; null if there are too many.
std::shared_ptr<const orven::Event_File> keep(std::shared_ptr<const orven::Event_File> file) {
    if (++nKept > most_kept()) {
        --nKept;
        return nullptr;
    }
    const orven::Event_File* const kept = file.get();
    return {kept, [owner = std::move(file)](const orven::Event_File* /*kept*/) mutable {
                owner.reset();
                --nKept;
            }};
}

}  // namespace

Open_Recording::Open_Recording(const std::vector<std::string>& paths_, Progress_Count& nOpened) {
    for (const std::string& path : paths_) {
        add(path);
        nOpened.add(1);
    }
    sharing = std::vector<std::atomic<Sharing_Known>>(paths.size());
}

void Open_Recording::add(const std::string& path) {
    try {
        auto file = std::make_shared<const orven::Event_File>(path);
        const auto [events, triggers] = file->index();
        opened.push_back(keep(std::move(file)));
        paths.push_back(path);
        nEvents += events.nRecords;
        if (triggers) {
            nTriggers = nTriggers.value_or(0) + triggers->nRecords;
        }
    } catch (const std::exception&) {
        const std::exception_ptr failure = std::current_exception();
        rethrow_lack_of_memory(failure);
        faults.push_back({path, message_of(failure)});
    }
}

Look_At Open_Recording::look_at(Image_Settings::ExtTrigger_Mode mode) const {
    if (mode == Image_Settings::ignore) {
        return look_at_files(mode);
    }
    return [this, look = look_at_files(mode)](Input& input) {
        std::atomic<Sharing_Known>& known = sharing[input.index];
        if (known == Sharing_Known::no) {
            look(input);
            known = input.shared ? Sharing_Known::may_be_shared : Sharing_Known::may_not;
        }
        input.shared = known == Sharing_Known::may_be_shared;
    };
}
