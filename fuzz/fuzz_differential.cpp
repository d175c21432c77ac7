// Small recordings, settings and kinds of run of all sorts: the image that a run counts, against a
// slow and obvious account of which events are counted where, cell by cell.

#include "binning/Binning_Events.h"
#include "fuzz_input.h"
#include "logging.h"
#include "reading/count_files.h"
#include "recordings.h"
#include "run_steps.h"

#include <hwy/targets.h>

#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <tuple>

namespace {

constexpr std::size_t max_files = 4;
constexpr std::size_t max_events = 70000;   // more than a task takes of a file at a time
constexpr std::size_t max_triggers = 5000;  // more than a task sees at a time
constexpr long leap = 20 * max_triggers;    // over more triggers than that
constexpr long max_long = std::numeric_limits<long>::max();
constexpr int max_int = std::numeric_limits<int>::max();
constexpr double tick = 1.5625e-9;

struct Recorded_File {
    std::optional<std::vector<long>> triggers;
    std::vector<Photon_Event> events;
    bool damaged = false;
};

/// How the program is asked to count, if not one file after another.
struct Way {
    std::size_t nTasks;
    std::size_t piece_length;
    std::size_t nHeld;  ///< ranges that a task holds while others are counted
};

long plus(long a, long b) {
    return static_cast<long>(static_cast<unsigned long>(a) + static_cast<unsigned long>(b));
}

// --- from bytes to settings and files ---

/// Mostly small: the time goes into looking at the cells.
std::uint64_t take_size(Fuzz_Input& input) {
    const std::uint64_t odd = 1 + input.take<std::uint16_t>() % 2000U;
    return input.below(16) != 15 ? 1 + odd % 40
                                 : input.one_of<std::uint64_t>({odd, odd, odd, 256, 0, 33554433});
}

std::uint64_t take_photons(Fuzz_Input& input) {
    return input.one_of<std::uint64_t>({0, 1, 2, 3, 4, 5, UINT64_MAX, UINT64_MAX / 2 + 1});
}

double take_psd(Fuzz_Input& input) {
    return input.one_of({0.0, 0.5, 1.0, -1.0, std::nan(""), HUGE_VAL, input.take<float>() * 1.0});
}

Parameters take_settings(Fuzz_Input& input) {
    Parameters settings = parameters_from({});
    settings.extTrigger_mode =
        input.one_of({Parameters::ignore, Parameters::reference, Parameters::frameSync});
    settings.parallel = input.below(2) == 1;
    settings.size_x = take_size(input);
    settings.size_y = take_size(input);
    if (settings.extTrigger_mode == Parameters::frameSync || input.below(2) == 1) {
        settings.time_res_s = tick * input.one_of({1.0, 7.4, 10.0, 12.5, 100.0, 1e3, 0x1p62});
        if (input.below(16) == 15) {
            settings.time_res_s = tick * input.one_of({0.5, 0.4, 0x1p63, 0.0, -1.0, HUGE_VAL});
        }
        settings.time_max_binNumber = input.one_of({200, 20, 5, 3, 1, 0});
    }
    settings.upright = input.below(2) == 1;
    if (input.below(4) == 3) {
        const std::array<double, 10> bounds{
            0, 1, 0.5, 10.25, 100.00001, 256, -1, -3.3, 300, input.below(16) == 15 ? 40000.0 : 200};
        settings.region.emplace();
        for (double& bound : *settings.region) {
            bound = bounds.at(input.below(bounds.size()));
        }
    }
    if (settings.time_res_s && input.below(4) == 3) {
        settings.timeStart =
            tick * input.one_of({0.0, 1.0, -1.0, 30.4, -12.5, 200.0, 0x1p61, 0x1p62});
    }
    settings.nPhotons_min = input.below(4) != 3 ? 0 : take_photons(input);
    settings.nPhotons_max = input.below(4) != 3 ? UINT64_MAX : take_photons(input);
    for (auto* const bound : {&settings.psd_min, &settings.psd_max}) {
        if (input.below(4) == 3) {
            *bound = take_psd(input);
        }
    }
    return settings;
}

/// An axis of the image over the detector's: from `low` to `high` pixels of it.
struct Axis {
    double low = 0;
    double high = 256;
    std::uint64_t size = 1;
    bool whole = true;

    [[nodiscard]] long first() const { return std::lround(low * 65536); }
    [[nodiscard]] long end() const { return std::lround(high * 65536); }
    [[nodiscard]] long width() const {
        return std::lround((high - low) / static_cast<double>(size) * 65536);
    }
    [[nodiscard]] bool is_possible() const {
        return size >= 1 && width() >= 1 && size <= (whole ? 33554432UL : 0x7FFFFFFFUL) &&
               low >= -32768 && high <= 32768 && first() < end();
    }
    /// The pixel at a position, -1 outside of all.
    [[nodiscard]] long pixel_at(long position) const {
        if (!whole && (position < first() || position >= end())) {
            return -1;
        }
        const long pixel = (position - first()) / width();
        return pixel < static_cast<long>(size) ? pixel : -1;
    }
};

/// Of `x` and of `y`.
std::array<Axis, 2> axes_of(const Parameters& settings) {
    const bool crossed = settings.time_res_s && !settings.upright;
    std::array<Axis, 2> axes;
    axes[0].size = crossed ? settings.size_y : settings.size_x;
    axes[1].size = crossed ? settings.size_x : settings.size_y;
    for (std::size_t i = 0; settings.region && i < 2; ++i) {
        axes.at(i) = {settings.region->at(i), settings.region->at(i + 2), axes.at(i).size, false};
    }
    return axes;
}

/// Often on either side of a pixel's edge.
int take_position(Fuzz_Input& input, const Axis& axis) {
    const std::uint64_t size = axis.size;
    const long width = size == 0 ? 1 : axis.width();
    const long pixel = static_cast<long>(input.below(size < 250 ? size + 3 : 256)) - 1;
    const long start = input.one_of({axis.first(), axis.first(), axis.end() - pixel * width});
    const long edge = start + pixel * width + input.one_of({0L, -1L, width / 2});
    const int near = static_cast<int>(std::clamp<long>(edge, -max_int, max_int));
    return input.one_of({near, near, near, near, near, input.take<int>(), -max_int - 1, max_int});
}

/// Mostly a little later than `last`, now and then by `farther`; in a wild file anything.
long take_time(Fuzz_Input& input, long last, long farther, bool wild) {
    const long later = plus(last, static_cast<long>(input.below(32)));
    if (wild) {
        return input.one_of({later, later, last, 0L, -max_long - 1, max_long,
                             static_cast<long>(input.take<std::int16_t>())});
    }
    return input.one_of({later, later, later, later, later, last, last - 7, last + farther});
}

/// The same again and again, each time later by `period`, makes files of many pieces and windows.
template <class Record, class Time_Of>
void repeat(std::vector<Record>& records, Fuzz_Input& input, std::size_t max_length, long period,
            const Time_Of& time_of) {
    const std::size_t length = records.size();
    const auto nTimes = input.one_of<std::size_t>({1, 1, 2, 130, 5000});
    for (std::size_t i = length; i < std::min(length * nTimes, max_length); ++i) {
        records.push_back(records[i - length]);
        time_of(records.back()) = plus(time_of(records.back()), period);
    }
}

Recorded_File take_file(Fuzz_Input& input, const Parameters& settings) {
    Recorded_File file;
    file.damaged = input.below(32) == 31;
    const bool wild = input.below(4) == 3;
    const long period = input.one_of({200L, 200L, 400L, 0L, 1L, 1L << 40, -1L});
    long last = 0;
    if (input.below(16) != 15) {
        file.triggers.emplace(input.below(12));
        for (long& time : *file.triggers) {
            time = last = take_time(input, last, 0, wild);
        }
        repeat(*file.triggers, input, max_triggers, period,
               [](long& time) -> long& { return time; });
    }
    last = 0;
    const auto [x_axis, y_axis] = axes_of(settings);
    for (std::size_t n = input.below(40); n > 0; --n) {
        last = take_time(input, last, leap, wild);
        const int x = take_position(input, x_axis);
        const int y = take_position(input, y_axis);
        const long spike = input.one_of({0L, 0L, 0L, 0L, 0L, 100L, 400L, leap});
        file.events.push_back(event(x, y, plus(last, spike), take_photons(input), take_psd(input)));
    }
    repeat(file.events, input, max_events, period,
           [](Photon_Event& each) -> long& { return each.time.value; });
    return file;
}

// --- the account ---

/// Differences of times may need more than 64 bits.
__extension__ using Wide = __int128;

/// Where events are counted: {page, row, column}.
using Counts = std::map<std::array<long, 3>, unsigned int>;

bool passes(const Photon_Event& event, const Parameters& settings) {
    return event.nPhotons >= settings.nPhotons_min && event.nPhotons <= settings.nPhotons_max &&
           (!settings.psd_min || event.psd.value >= *settings.psd_min) &&
           (!settings.psd_max || event.psd.value <= *settings.psd_max);
}

bool is_image_possible(const Parameters& settings) {
    const double ticks = std::round(settings.time_res_s.value_or(tick) / tick);
    const double start = std::round(settings.timeStart.value_or(0) / tick);
    const auto [x, y] = axes_of(settings);
    return x.is_possible() && y.is_possible() && ticks >= 1 &&
           (settings.timeStart ? ticks <= 0x1p62 && std::abs(start) < 0x1p62 : ticks < 0x1p63);
}

void count(const Photon_Event& event, long time, std::size_t frame, const Parameters& settings,
           Counts& counts) {
    const auto [x_axis, y_axis] = axes_of(settings);
    long column = x_axis.pixel_at(event.x.value);
    long row = y_axis.pixel_at(event.y.value);
    if (settings.time_res_s && !settings.upright) {
        std::swap(row, column);
    }
    Wide page = 0;
    if (settings.time_res_s) {
        const long ticks = std::lround(*settings.time_res_s / tick);
        const Wide since = Wide{time} - std::lround(settings.timeStart.value_or(0) / tick);
        page = settings.timeStart && since < 0 ? -1 : since / ticks;
        if (settings.extTrigger_mode == Parameters::frameSync) {
            page = since >= 0 && since < ticks ? static_cast<long>(frame) : -1;
        }
    }
    if (page >= 0 && page < settings.time_max_binNumber.value_or(1) && row >= 0 && column >= 0) {
        ++counts[{static_cast<long>(page), row, column}];
    }
}

/// Calls `offer(event, time, frame)` for each event of the file that the image is asked to count;
/// false if the file fails.
template <class Offer>
bool offer_file(Recorded_File file, const Parameters& settings, std::size_t& nTriggers,
                const Offer& offer) {
    const bool ignored = settings.extTrigger_mode == Parameters::ignore;
    if (file.damaged || (!ignored && !file.triggers)) {
        return false;
    }
    std::erase_if(file.events, [&](const auto& event) { return !passes(event, settings); });
    auto next = file.events.begin();
    for (; ignored && next != file.events.end(); ++next) {
        offer(*next, next->time.value, nTriggers);
    }
    for (std::size_t k = 0; !ignored && k + 1 < file.triggers->size(); ++k, ++nTriggers) {
        const long minus_open = plus(~(*file.triggers)[k], 1);
        for (; next != file.events.end() && next->time.value < (*file.triggers)[k + 1]; ++next) {
            offer(*next, plus(next->time.value, minus_open), nTriggers);
        }
    }
    return true;
}

// --- the program ---

void expect_counts(std::span<const Counter> cells, Counts expected, const Parameters& settings) {
    const auto nPages = static_cast<std::size_t>(settings.time_max_binNumber.value_or(1));
    expect(cells.size() == nPages * settings.size_y * settings.size_x, "the number of cells");
    for (std::size_t i = 0; i < cells.size(); ++i) {
        if (const unsigned int found = cells[i].load(); found != 0) {
            const std::size_t row = i / settings.size_x;
            const std::array at{static_cast<long>(row / settings.size_y),
                                static_cast<long>(row % settings.size_y),
                                static_cast<long>(i % settings.size_x)};
            expect(expected[at] == found, "the count of a cell");
            expected.erase(at);
        }
    }
    expect(expected.empty(), "all events that should be counted");
}

/// Counts as tasks do that lose their cores with a range in their hands each: these come last, the
/// last one first.
void count_out_of_order(const Counting_Job& job, const std::vector<std::string>& paths,
                        const Way& way) {
    Work_Queue queue = queue_for(job, {paths}, On_Failure::log, {2, way.piece_length});
    std::vector<Event_Range> held;
    for (auto range = queue.take(); range; range = queue.take()) {
        held.push_back(*range);
        if (held.size() >= way.nHeld) {
            break;
        }
    }
    const auto count_rest = [&] {
        Counting_Task(job, Cell_Counter(job.cells, false), way.piece_length).run(queue, [] {});
    };
    count_rest();
    for (std::size_t i = 0; i < held.size(); ++i) {
        queue.put_back(held[held.size() - 1 - i]);
        count_rest();
    }
}

template <class Binning>
void test(const Parameters& settings, const std::vector<Recorded_File>& files,
          const std::vector<std::string>& paths, const Way& way) {
    if (!is_image_possible(settings)) {
        expect(!message_of([&] { const Binning binning(settings); }).empty(), "no image");
        return;
    }
    const bool goes_on = settings.parallel && settings.extTrigger_mode != Parameters::frameSync;
    Binning one_by_one(settings);
    const auto& image = one_by_one.get_image().get_content();
    Counts counts;
    std::size_t nTriggers = 0;
    bool failed = false;
    for (auto file = files.begin(); file != files.end() && (goes_on || !failed); ++file) {
        failed |= !offer_file(*file, settings, nTriggers, [&](auto& event, long time, auto frame) {
            one_by_one.add_singleEvent(event, orven::Event_Time(time), frame);
            count(event, time, frame, settings, counts);
        });
    }
    expect_counts(image, counts, settings);

    std::vector<Counter> cells(image.size());
    const Counting_Job job{settings.extTrigger_mode, placement_of(settings), event_filter(settings),
                           cells};
    std::size_t nIntervals = 0;
    const std::string fault = message_of([&] {
        nIntervals = count_files(job, paths, goes_on ? On_Failure::log : On_Failure::end_run,
                                 {settings.parallel ? way.nTasks : 1, way.piece_length})
                         .nIntervals;
    });
    expect(fault.empty() != (failed && !goes_on), "an exception or none");
    if (fault.empty()) {
        expect_counts(cells, counts, settings);
        expect(nIntervals == nTriggers, "the number of trigger intervals");
    }
    if (!failed && way.nHeld > 0) {
        std::fill(cells.begin(), cells.end(), 0);
        count_out_of_order(job, paths, way);
        expect_counts(cells, counts, settings);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static const std::array<Memory_File, max_files> memory_files;
    logLevel = -2;
    Fuzz_Input input(bytes, size);
    const Parameters settings = take_settings(input);
    const Way way{input.one_of<std::size_t>({1, 2, 3, 4}),
                  input.one_of<std::size_t>({2048, 1000, 7, 1, 1}),
                  input.one_of<std::size_t>({0, 1, 2, 3, 5, 8, 12})};
    const std::vector<std::int64_t> instructions = hwy::SupportedAndGeneratedTargets();
    hwy::SetSupportedTargetsForTest(instructions[input.below(instructions.size())]);
    hwy::GetChosenTarget().DeInit();
    std::vector<Recorded_File> files;
    std::vector<std::string> paths;
    for (std::size_t i = 0, nFiles = input.below(max_files + 1); i < nFiles; ++i) {
        files.push_back(take_file(input, settings));
        std::string content = recording(files[i].events, files[i].triggers);
        content.resize(content.size() - (files[i].damaged ? 1 : 0));
        memory_files.at(i).replace(content);
        paths.push_back(memory_files.at(i).path());
    }
    const bool integrated = !settings.time_res_s;
    if (settings.extTrigger_mode == Parameters::frameSync) {
        test<Binning_Events_TimeResolved<Parameters::frameSync>>(settings, files, paths, way);
    } else if (integrated) {
        test<Binning_Events_TimeIntegrated<Parameters::ignore>>(settings, files, paths, way);
    } else {
        test<Binning_Events_TimeResolved<Parameters::ignore>>(settings, files, paths, way);
    }
    return 0;
}
