#include "reading/Work_Queue.h"

#include "logging.h"

#include <algorithm>

namespace {

/// How many pieces of a file a task takes at a time: enough for the system to read ahead, few
/// enough for tasks to end together.
constexpr std::size_t pieces_per_range = 8;

}  // namespace

Work_Queue::Work_Queue(Input_List inputs_, Look_At look_at_, On_Failure onFailure_,
                       const Sharing& sharing_, std::optional<std::size_t> firstFrame)
    : inputs(std::move(inputs_)),
      look_at(std::move(look_at_)),
      onFailure(onFailure_),
      sharing(sharing_),
      nWanted(inputs.paths.size()),
      nextFrame(firstFrame),
      files(inputs.paths.size()) {}

std::optional<Event_Range> Work_Queue::take() {
    while (true) {
        std::size_t to_open = 0;
        {
            Lock lock(mutex);
            while (!has_ranges() && !may_open() && nOpening > 0) {
                changed.wait(lock);
            }
            if (has_ranges()) {
                return take_range();
            }
            if (!may_open()) {
                return std::nullopt;
            }
            to_open = nextPath++;
            ++nOpening;
        }
        open(to_open);
    }
}

void Work_Queue::put_back(Event_Range range) {
    const Lock lock(mutex);
    if (range.input->index < nWanted) {
        returned.push_back(std::move(range));
        changed.notify_all();
    }
}

void Work_Queue::fail(std::size_t fileIndex, const std::exception_ptr& failure) {
    rethrow_lack_of_memory(failure);
    if (note_failure(fileIndex, failure) && onFailure == On_Failure::log) {
        logging<error>(message_of(failure));
    }
}

void Work_Queue::finish(std::size_t fileIndex) {
    const Lock lock(mutex);
    std::erase_if(opened, [&](const Rest& rest) { return rest.input->index == fileIndex; });
}

void Work_Queue::stop() {
    const Lock lock(mutex);
    nWanted = 0;
    opened.clear();
    returned.clear();
    changed.notify_all();
}

void Work_Queue::rethrow_failure() const {
    const Lock lock(mutex);
    ::rethrow_failure(inputs.paths, files, onFailure);
}

std::vector<File_Account> Work_Queue::take_files() noexcept {
    const Lock lock(mutex);
    return std::move(files);
}

bool Work_Queue::is_wanted(std::size_t fileIndex) const {
    return fileIndex < nWanted && files[fileIndex].failure == nullptr;
}

bool Work_Queue::note_failure(std::size_t fileIndex, const std::exception_ptr& failure) {
    const Lock lock(mutex);
    if (files[fileIndex].failure != nullptr) {
        return false;
    }
    files[fileIndex].failure = failure;
    if (ends_run(onFailure)) {
        nWanted = std::min(nWanted, fileIndex);
    }
    std::erase_if(
        opened, [this](const Rest& rest) REQUIRES(mutex) { return !is_wanted(rest.input->index); });
    return true;
}

bool Work_Queue::may_open() const noexcept {
    return nextPath < nWanted && early.size() + nOpening < sharing.nTasks;
}

bool Work_Queue::has_ranges() const noexcept {
    return !returned.empty() || !opened.empty();
}

void Work_Queue::open(std::size_t fileIndex) {
    const auto [input, failure] = try_open(fileIndex);
    {
        const Lock lock(mutex);
        --nOpening;
        if (nextFrame) {
            early.emplace(fileIndex, input);
            offer_in_order();
        } else if (input != nullptr) {
            offer(input);
        }
        changed.notify_all();  // before the failure is logged, which may throw
    }
    if (failure != nullptr) {
        fail(fileIndex, failure);
    }
}

auto Work_Queue::try_open(std::size_t fileIndex) const noexcept -> Opened {
    try {
        auto input = std::make_shared<Input>(fileIndex, inputs.open(fileIndex));
        look_at(*input);
        return {std::move(input), nullptr};
    } catch (...) {
        return {nullptr, std::current_exception()};
    }
}

void Work_Queue::offer_in_order() {
    for (; !early.empty() && early.begin()->first == nInOrder; ++nInOrder) {
        const std::shared_ptr<Input> input = early.begin()->second;
        early.erase(early.begin());
        if (input != nullptr) {
            input->firstFrame = *nextFrame;
            *nextFrame += input->file.index().nIntervals();
            offer(input);
        }
    }
}

void Work_Queue::offer(const std::shared_ptr<const Input>& input) {
    if (is_wanted(input->index)) {
        files[input->index] = input->account();
        opened.push_back({input, input->first});
    }
}

Event_Range Work_Queue::take_range() {
    if (!returned.empty()) {
        Event_Range range = std::move(returned.front());
        returned.pop_front();
        return range;
    }
    Rest& rest = opened.front();
    const Input& input = *rest.input;
    const std::size_t first = rest.next;
    const std::size_t nLeft = input.end - first;
    const std::size_t most = sharing.piece_length * pieces_per_range;
    const std::size_t n = input.shared && !input.wrong ? std::min(most, nLeft) : nLeft;
    rest.next += n;
    Event_Range range{rest.input, first, rest.next, input.wrong};
    if (n == nLeft) {
        opened.pop_front();
    }
    return range;
}
