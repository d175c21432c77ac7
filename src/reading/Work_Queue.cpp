#include "reading/Work_Queue.h"

#include "logging.h"
#include "reading/Trigger_List.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace {

/// How many pieces of a file a task takes at a time in mode `ignore`: enough for the system to read
/// ahead, few enough for tasks to end together.
constexpr std::size_t pieces_per_range = 8;

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
                       On_Failure onFailure_, const Sharing& sharing_, std::size_t firstFrame)
    : paths(paths_),
      mode(mode_),
      onFailure(onFailure_),
      sharing(sharing_),
      nWanted(paths.size()),
      nextFrame(firstFrame),
      files(paths.size()) {}

std::optional<Event_Range> Work_Queue::take() {
    std::unique_lock lock(mutex);
    while (true) {
        changed.wait(lock, [this] { return !opened.empty() || may_open() || nOpening == 0; });
        if (!opened.empty()) {
            return take_range();
        }
        if (!may_open()) {
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

void Work_Queue::finish(std::size_t fileIndex) {
    const std::lock_guard lock(mutex);
    std::erase_if(opened, [&](const Rest& rest) { return rest.input->index == fileIndex; });
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
    std::erase_if(opened, [&](const Rest& rest) { return !is_wanted(rest.input->index); });
    return true;
}

bool Work_Queue::may_open() const noexcept {
    return nextPath < nWanted && early.size() + nOpening < sharing.nTasks;
}

void Work_Queue::open_next(std::unique_lock<std::mutex>& lock) {
    const std::size_t fileIndex = nextPath++;
    ++nOpening;
    lock.unlock();
    const auto [input, failure] = try_open(fileIndex);
    lock.lock();
    --nOpening;
    if (mode == Parameters::frameSync) {
        early.emplace(fileIndex, input);
        offer_in_order();
    } else if (input != nullptr) {
        offer(input);
    }
    changed.notify_all();  // before the failure is told: logging it may throw
    if (failure != nullptr) {
        lock.unlock();
        fail(fileIndex, failure);
        lock.lock();
    }
}

void Work_Queue::offer_in_order() {
    for (; !early.empty() && early.begin()->first == nInOrder; ++nInOrder) {
        const std::shared_ptr<Input> input = early.begin()->second;
        early.erase(early.begin());
        if (input != nullptr) {
            input->firstFrame = nextFrame;
            nextFrame += input->file.index().nIntervals();
            offer(input);
        }
    }
}

void Work_Queue::offer(const std::shared_ptr<const Input>& input) {
    if (is_wanted(input->index)) {
        files[input->index] = account_of(input->file);
        opened.push_back({input, 0});
    }
}

auto Work_Queue::try_open(std::size_t fileIndex) const noexcept -> Opened {
    try {
        return {open(fileIndex), nullptr};
    } catch (...) {
        return {nullptr, std::current_exception()};
    }
}

std::shared_ptr<Input> Work_Queue::open(std::size_t fileIndex) const {
    auto input = std::make_shared<Input>(fileIndex, paths[fileIndex]);
    if (mode != Parameters::ignore) {
        if (!input->file.index().extTriggers) {
            throw std::invalid_argument(
                "External trigger data requested from data set recorded without external trigger "
                "enabled!");
        }
        input->triggersAscend = triggers_ascend(input->file);
        if (sharing.nTasks > 1 && input->triggersAscend) {
            input->sharedWalk = std::make_unique<Shared_Walk>();
        }
    }
    return input;
}

std::size_t Work_Queue::range_length(const Rest& rest) const noexcept {
    if (rest.input->sharedWalk != nullptr) {
        return sharing.piece_length;
    }
    return mode == Parameters::ignore ? sharing.piece_length * pieces_per_range
                                      : std::numeric_limits<std::size_t>::max();
}

Event_Range Work_Queue::take_range() {
    Rest& rest = opened.front();
    const std::size_t first = rest.next;
    const std::size_t nEvents = rest.input->file.index().events.nRecords;
    rest.next += std::min(range_length(rest), nEvents - first);
    Event_Range range{rest.input, first, rest.next};
    if (rest.next == nEvents) {
        opened.pop_front();
    }
    return range;
}
