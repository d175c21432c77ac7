#include "remarks/remark_on_counts.h"

#include "logging.h"
#include "number_texts.h"
#include "reading/File_Times.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace {

bool has_failed(const File_Account& file) {
    return file.failure != nullptr;
}

bool uses_triggers(const Parameters& parameters) {
    return parameters.extTrigger_mode != Parameters::ignore;
}

/// What is known of the times of files, as far as it is asked for, of a hundred of them at most.
std::vector<File_Times> times_of_some(const Parameters& parameters, const Run_Account& account) {
    constexpr std::size_t most = 100;
    std::vector<File_Times> all;
    for (std::size_t i = 0; i < account.files.size() && all.size() < most; ++i) {
        if (!has_failed(account.files[i])) {
            if (const auto times = times_of(parameters.inputFiles[i])) {
                all.push_back(*times);
            }
        }
    }
    return all;
}

/// Why no event of files was counted although some have events.
std::string reason_for_none(const Parameters& parameters, const Run_Account& account) {
    if (account.events.recorded == account.events.rejected() && account.events.recorded > 0) {
        return "none has the photon count and PSD value that -m, -M, -p and -P ask for";
    }
    if (!uses_triggers(parameters)) {
        return "they lie outside of the image or before or behind its time bins";
    }
    if (account.nIntervals == 0) {
        return "no file has two triggers or more";
    }
    const std::vector<File_Times> all = times_of_some(parameters, account);
    const bool before = std::ranges::all_of(all, [](const File_Times& times) {
        return times.first_trigger && times.last_event < *times.first_trigger;
    });
    return before ? "all come before the first trigger of their file"
                  : "they lie outside of the image, its bins or all trigger intervals";
}

void remark_on_none(const Parameters& parameters, const Run_Account& account, Remarks& remarks) {
    if (account.files.empty() || account.events.counted > 0) {
        return;
    }
    std::size_t nEvents = 0;
    for (const File_Account& file : account.files) {
        nEvents += has_failed(file) ? 0 : file.nEvents;
    }
    if (std::ranges::all_of(account.files, has_failed)) {
        remarks.doubt("no file could be read, so the image is all zeros");
    } else if (nEvents == 0) {
        remarks.doubt("the image is all zeros: no file has any events");
    } else {
        remarks.doubt("the image is all zeros: of " + number_of(nEvents, "event", "events") + ' ' +
                      reason_for_none(parameters, account) +
                      ". vexolan-info shows what is recorded");
    }
}

void remark_on_most_outside(const Parameters& parameters, const Event_Account& events,
                            Remarks& remarks) {
    if (events.counted > 0 && events.outside() > events.accepted / 2) {
        const std::string bins =
            parameters.time_res_s ? ", before its first time bin or behind its last one" : "";
        const std::string intervals =
            uses_triggers(parameters) ? ", or outside of all trigger intervals" : "";
        remarks.advise(percent_text(events.outside(), events.accepted) +
                       " of the events that pass the filter lie outside of the image" + bins +
                       intervals + ": vexolan-info suggests what shows them");
    }
}

void remark_on_unused_triggers(const Parameters& parameters, const Run_Account& account,
                               Remarks& remarks) {
    const bool recorded = std::ranges::any_of(account.files, [](const File_Account& file) {
        return !has_failed(file) && file.nTriggers.value_or(0) > 0;
    });
    if (recorded && parameters.time_res_s && !uses_triggers(parameters)) {
        remarks.advise(
            "the triggers that were recorded are not used: -E reference counts time from each of "
            "them, -E frameSync gives each a page");
    }
}

/// Whether the files are parts of one recording or follow each other, and do not lie over each
/// other.
bool lie_apart(std::vector<File_Times> all) {
    std::ranges::sort(all, {}, &File_Times::first_event);
    const auto overlap = std::ranges::adjacent_find(all, [](const auto& a, const auto& b) {
        // Parts of one recording may overlap a little.
        const auto length =
            static_cast<double>(a.last_event.value) - static_cast<double>(a.first_event.value);
        const auto later =
            static_cast<double>(b.first_event.value) - static_cast<double>(a.first_event.value);
        return later < length / 2;
    });
    return overlap == all.end();
}

void remark_on_overlap(const Parameters& parameters, const Run_Account& account, Remarks& remarks) {
    if (!parameters.time_res_s || uses_triggers(parameters) || account.files.size() < 2) {
        return;
    }
    if (!lie_apart(times_of_some(parameters, account))) {
        remarks.advise(
            "the times of files overlap, as where each begins at zero: their events are counted "
            "in the same time bins. An image for each file keeps them apart");
    }
}

void remark_on_truncation(const Event_Account& events, Remarks& remarks) {
    constexpr std::uint64_t worth_telling = 100;
    if (events.early * worth_telling > events.sampled) {
        remarks.advise(
            "about " + percent_text(events.early, events.sampled) +
            " of the counted events lie up to one pixel or time bin before the first one "
            "and were put into it: --region and --timeStart leave them out");
    }
}

}  // namespace

void remark_on_counts(const Parameters& parameters, const Run_Account& account, Remarks& remarks) {
    remark_on_none(parameters, account, remarks);
    remark_on_most_outside(parameters, account.events, remarks);
    remark_on_unused_triggers(parameters, account, remarks);
    remark_on_truncation(account.events, remarks);
    if (person_reads() || parameters.reportFile) {  // it takes another look into the files
        remark_on_overlap(parameters, account, remarks);
    }
}
