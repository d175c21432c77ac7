#include "Survey.h"

#include <cassert>
#include <functional>

namespace {

/// By how much `later` is smaller than the largest of `before`; 0 if it is not.
std::uint64_t distance_back(const Time_Order& before, std::int64_t later) noexcept {
    return later < before.times.largest ? static_cast<std::uint64_t>(before.times.largest) -
                                              static_cast<std::uint64_t>(later)
                                        : 0;
}

void add_counts(std::vector<std::uint64_t>& counts, const std::vector<std::uint64_t>& others) {
    std::ranges::transform(counts, others, counts.begin(), std::plus());
}

}  // namespace

void Time_Order::append(const Time_Order& next) noexcept {
    if (next.times.empty()) {
        return;
    }
    if (times.empty()) {
        *this = next;
        return;
    }
    nSteps_back += next.nSteps_back + (next.first < last ? 1 : 0);
    furthest_back =
        std::max({furthest_back, next.furthest_back, distance_back(*this, next.times.smallest)});
    last = next.last;
    times.add(next.times);
}

void Time_Order::add(const Time_Order& other) noexcept {
    times.add(other.times);
    nSteps_back += other.nSteps_back;
    furthest_back = std::max(furthest_back, other.furthest_back);
}

std::int64_t Value_Sample::median() const {
    assert(!empty());
    std::vector<std::int64_t> sorted;
    for (const auto& each : sample.values()) {
        sorted.push_back(each.value);
    }
    const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
    std::ranges::nth_element(sorted, middle);
    return *middle;
}

void Event_Summary::add(const Event_Summary& other) noexcept {
    nEvents += other.nEvents;
    x.add(other.x);
    y.add(other.y);
    nPhotons.add(other.nPhotons);
    psd.add(other.psd);
    nNaN += other.nNaN;
}

void Survey_Image::add(const Survey_Image& other) noexcept {
    add_counts(counts, other.counts);
    nOutside += other.nOutside;
}

void Since_Trigger::add(const Since_Trigger& other) noexcept {
    assert(shift == other.shift);
    add_counts(counts, other.counts);
    nBeyond += other.nBeyond;
    nBefore += other.nBefore;
    nAfter += other.nAfter;
}

std::size_t Survey::nFaulty() const noexcept {
    return static_cast<std::size_t>(std::ranges::count_if(
        files, [](const File_Survey& file) { return file.fault.has_value(); }));
}

std::int64_t Survey::bytes() const noexcept {
    std::int64_t sum = 0;
    for (const File_Survey& file : files) {
        sum += file.bytes;
    }
    return sum;
}
