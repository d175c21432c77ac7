#include "remarks/remark_on_counts.h"

#include "logging.h"
#include "number_texts.h"
#include "reading/File_Times.h"
#include "remarks/remark_on_settings.h"

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

bool come_before_triggers(const Parameters& parameters, const Run_Account& account) {
    const std::vector<File_Times> all = times_of_some(parameters, account);
    return !all.empty() && std::ranges::all_of(all, [](const File_Times& times) {
        return times.first_trigger && times.last_event < *times.first_trigger;
    });
}

/// Why no event was counted, of so many.
std::string reason_for_none(const Parameters& parameters, const Run_Account& account,
                            std::size_t nEvents) {
    const Event_Account& events = account.events;
    if (nEvents == 0) {
        return "the files hold no events";
    }
    if (events.recorded > 0 && events.accepted == 0) {
        return "no event has a photon count and a PSD value within the bounds of -m, -M, -p and -P";
    }
    if (uses_triggers(parameters) && account.nIntervals == 0) {
        return "no file has two triggers, between which events could lie";
    }
    if (uses_triggers(parameters) && come_before_triggers(parameters, account)) {
        return "all events come before the first trigger of their file";
    }
    return std::string("all events that pass the filter lie outside of the image") +
           (parameters.time_res_s ? " or its time bins" : "") +
           (uses_triggers(parameters) ? ", or outside of all trigger intervals" : "");
}

void remark_on_none(const Parameters& parameters, const Run_Account& account, Remarks& remarks) {
    if (account.files.empty() || account.events.counted > 0 || accepts_no_photons(parameters) ||
        accepts_no_psd(parameters)) {
        return;
    }
    std::size_t nEvents = 0;
    for (const File_Account& file : account.files) {
        nEvents += has_failed(file) ? 0 : file.nEvents;
    }
    const bool none_read = std::ranges::all_of(account.files, has_failed);
    remarks.doubt("the image is all zeros: " +
                  (none_read ? "no file could be read"
                             : reason_for_none(parameters, account, nEvents) +
                                   ". vexolan-info tells what is recorded"));
}

/// What was asked for, as by a region, is not remarked on.
void remark_on_most_outside(const Parameters& parameters, const Event_Account& events,
                            Remarks& remarks) {
    const bool chosen = parameters.region || parameters.timeStart ||
                        parameters.extTrigger_mode == Parameters::frameSync;
    if (!chosen && events.counted > 0 && events.outside() > events.accepted / 2) {
        remarks.advise(
            percent_text(events.outside(), events.accepted) +
            " of the events that pass the filter lie outside of the image" +
            (parameters.time_res_s ? ", before its first time bin or behind its last one" : "") +
            (uses_triggers(parameters) ? ", or outside of all trigger intervals" : "") +
            ". vexolan-info suggests what shows them");
    }
}

void remark_on_triggers(const Parameters& parameters, const Run_Account& account,
                        Remarks& remarks) {
    const bool recorded = std::ranges::any_of(account.files, [](const File_Account& file) {
        return !has_failed(file) && file.nTriggers.value_or(0) > 0;
    });
    if (recorded && parameters.time_res_s && !parameters.trigger_mode_given) {
        remarks.advise(
            "triggers were recorded, and time is counted from the start. -E reference counts it "
            "from each trigger, -E frameSync makes a page of each interval, -E ignore keeps it so "
            "without this note");
    }
    const bool counts_whole_intervals = uses_triggers(parameters) && account.events.counted > 0;
    if (counts_whole_intervals && come_before_triggers(parameters, account)) {
        remarks.advise("all events come before the first trigger of their file");
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

void remark_on_truncation(const Parameters& parameters, const Event_Account& events,
                          Remarks& remarks) {
    constexpr std::uint64_t worth_telling = 100;
    if (events.early * worth_telling > events.sampled) {
        const bool by_time =
            parameters.time_res_s && parameters.extTrigger_mode != Parameters::frameSync;
        remarks.advise("about " + percent_text(events.early, events.sampled) +
                       " of the counted events lie less than one pixel" +
                       (by_time ? " or time bin" : "") +
                       " before the first one and are counted in it: --region 0,0,256,256" +
                       (by_time ? " and --timeStart 0 leave" : " leaves") + " them out");
    }
}

}  // namespace

void remark_on_counts(const Parameters& parameters, const Run_Account& account, Remarks& remarks) {
    remark_on_none(parameters, account, remarks);
    remark_on_most_outside(parameters, account.events, remarks);
    remark_on_truncation(parameters, account.events, remarks);
    if (person_reads() || parameters.reportFile) {  // they take another look into the files
        remark_on_triggers(parameters, account, remarks);
        remark_on_overlap(parameters, account, remarks);
    }
}
