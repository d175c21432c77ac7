#include "reading/Work_Queue.h"

#include "logging.h"
#include "reading/Trigger_List.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

namespace {

void log_failure(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception& exception) {
        logging<error>(exception.what());
    }
}

File_Account account_of(const orven::Event_File& file) {
    const auto& [events, extTriggers] = file.index();
    File_Account account{file.size(), events.nRecords, {}, {}};
    if (extTriggers) {
        account.nTriggers = extTriggers->nRecords;
    }
    return account;
}

}  // namespace

Work_Queue::Work_Queue(std::span<const std::string> paths_, Parameters::ExtTrigger_Mode mode_,
                       On_Failure onFailure_, std::size_t firstFrame)
    : paths(paths_),
      mode(mode_),
      onFailure(onFailure_),
      nWanted(paths.size()),
      nextFrame(firstFrame),
      files(paths.size()) {}

std::optional<Event_Range> Work_Queue::take() {
    std::unique_lock lock(mutex);
    while (true) {
        changed.wait(lock,
                     [this] { return !opened.empty() || nextPath < nWanted || nOpening == 0; });
        if (!opened.empty()) {
            return take_range();
        }
        if (nextPath >= nWanted) {
            return std::nullopt;
        }
        open_next(lock);
    }
}

void Work_Queue::fail(std::size_t fileIndex, const std::exception_ptr& failure) {
    std::unique_lock lock(mutex);
    const bool isFirst = note_failure(fileIndex, failure);
    lock.unlock();
    if (isFirst && onFailure == On_Failure::log) {
        log_failure(failure);
    }
}

void Work_Queue::stop() {
    const std::lock_guard lock(mutex);
    nWanted = 0;
    opened.clear();
    changed.notify_all();
}

void Work_Queue::rethrow_failure() const {
    for (const File_Account& file : files) {
        if (file.failure != nullptr) {
            std::rethrow_exception(file.failure);
        }
    }
}

bool Work_Queue::is_wanted(std::size_t fileIndex) const {
    return fileIndex < nWanted && files[fileIndex].failure == nullptr;
}

bool Work_Queue::note_failure(std::size_t fileIndex, const std::exception_ptr& failure) {
    if (files[fileIndex].failure != nullptr) {
        return false;
    }
    files[fileIndex].failure = failure;
    if (onFailure == On_Failure::end_run) {
        nWanted = std::min(nWanted, fileIndex);
    }
    std::erase_if(opened, [&](const Event_Range& left) { return !is_wanted(left.fileIndex); });
    return true;
}

void Work_Queue::open_next(std::unique_lock<std::mutex>& lock) {
    const std::size_t fileIndex = nextPath++;
    ++nOpening;
    lock.unlock();
    Opened file = try_open(fileIndex);
    lock.lock();
    --nOpening;
    changed.notify_all();
    if (file.failure != nullptr) {
        lock.unlock();
        fail(fileIndex, file.failure);
        lock.lock();
    } else if (is_wanted(fileIndex)) {
        files[fileIndex] = account_of(*file.whole.file);
        file.whole.firstFrame = nextFrame;
        nextFrame += file.whole.file->index().nIntervals();
        opened.push_back(std::move(file.whole));
    }
}

auto Work_Queue::try_open(std::size_t fileIndex) const noexcept -> Opened {
    try {
        return {open(fileIndex), nullptr};
    } catch (...) {
        return {{}, std::current_exception()};
    }
}

Event_Range Work_Queue::open(std::size_t fileIndex) const {
    auto file = std::make_shared<const orven::Event_File>(paths[fileIndex]);
    bool ascending = false;
    if (mode != Parameters::ignore) {
        if (!file->index().extTriggers) {
            throw std::invalid_argument(
                "External trigger data requested from data set recorded without external trigger "
                "enabled!");
        }
        ascending = triggers_ascend(*file);
    }
    const std::size_t nEvents = file->index().events.nRecords;
    return {fileIndex, std::move(file), 0, nEvents, ascending, 0};
}

Event_Range Work_Queue::take_range() {
    const std::size_t most =
        mode == Parameters::ignore ? events_per_range : std::numeric_limits<std::size_t>::max();
    Event_Range& left = opened.front();
    Event_Range range = left;
    range.end = left.first + std::min(most, left.end - left.first);
    left.first = range.end;
    if (left.first == left.end) {
        opened.pop_front();
    }
    return range;
}
