#include "count_part.h"

#include "divide_events.h"
#include "reading/count_files.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>

namespace {

/// What the ranks after this one must know of its part.
struct Border {
    static constexpr std::size_t no_file = std::numeric_limits<std::size_t>::max();

    std::size_t first = no_file;  ///< index of the first file
    std::size_t last = no_file;   ///< and of the last one
    std::size_t reached = 0;      ///< the latest interval of the last file that its events are in
    bool failed = false;          ///< whether some of these could not be read
};

/// The walk along which the start of a rank's part was counted, if it was wrong.
std::optional<Wrong_Walk> wrong_walk(std::span<const Border> borders, std::size_t rank) {
    std::size_t start = 0;
    bool failed = false;
    for (const Border& lower : borders.first(rank)) {
        const bool same = lower.last == borders[rank].first && lower.last != Border::no_file;
        start = std::max(start, same ? lower.reached : 0);
        failed |= same && lower.failed;
    }
    if (failed) {
        return Wrong_Walk{0, {}};
    }
    return start > 0 ? std::optional(Wrong_Walk{0, start}) : std::nullopt;
}

/// How many events of a file are worth reading.
std::size_t wanted_events(const File_Account& account, std::size_t firstFrame,
                          const Counting_Job& job) {
    const bool counts =
        job.mode == Image_Settings::ignore || job.keepAccount ||
        (account.nTriggers.value_or(0) > 1 && firstFrame < end_frame(job.placement));
    return account.failure == nullptr && counts ? account.nEvents : 0;
}

std::vector<File_Part> part_of(const Ranks& ranks, const Counting_Job& job, const Survey& survey,
                               std::size_t piece_length) {
    std::vector<File_Share> shares;
    for (std::size_t i = 0; i < survey.files.size(); ++i) {
        const auto& [shared, firstFrame] = survey.files[i];
        shares.push_back({wanted_events(survey.accounts[i], firstFrame, job), shared});
    }
    return divide_events(shares, ranks.rank(), ranks.size(), piece_length);
}

class Part_Counter {
public:
    Part_Counter(const Ranked_Job& ranked, const Survey& survey_, std::vector<File_Part> parts_)
        : job(ranked.job), survey(survey_), parts(std::move(parts_)), ledgers(parts.size()) {
        for (const File_Part& part : parts) {
            paths.push_back(ranked.paths[part.file]);
        }
    }

    void count(const Sharing& sharing) {
        const Look_At want = [this](Input& input) {
            want_part(input);
            input.ledger = std::make_shared<Walk_Ledger>(input.first);
            ledgers[input.index] = input.ledger;
            if (input.index == 0) {
                firstFile = input.opened;
            }
        };
        add({paths}, want, sharing);
    }

    /// Corrects what was counted of the first file.
    void correct(const Wrong_Walk& wrong, const Sharing& sharing) {
        if (firstFile == nullptr) {
            return;
        }
        const Look_At want_again = [&](Input& input) {
            want_part(input);
            input.end = std::min(input.end, ledgers.front()->get_readable_end());
            input.wrong = wrong;
        };
        add({std::span(paths).first(1), {firstFile}}, want_again, {1, sharing.piece_length});
    }

    [[nodiscard]] Border border() const {
        if (parts.empty()) {
            return {};
        }
        const std::size_t last = parts.back().file;
        const std::size_t reached = ledgers.back() == nullptr ? 0 : ledgers.back()->lower_bound();
        const bool failed = std::ranges::find(counted.failures, last, &File_Failure::file) !=
                            counted.failures.end();
        return {parts.front().file, last, reached, failed};
    }

    [[nodiscard]] const Part_Count& get() const noexcept { return counted; }

private:
    void add(const Input_List& files, const Look_At& look, const Sharing& sharing) {
        Work_Queue queue(files, look, On_Failure::leave, sharing);
        const Run_Account account = count_events(job, queue, sharing);
        counted.events += account.events;
        for (std::size_t i = 0; i < account.files.size(); ++i) {
            if (account.files[i].failure != nullptr) {
                counted.failures.push_back({parts[i].file, account.files[i].failure});
            }
        }
    }

    void want_part(Input& input) const {
        const auto& [file, first, end] = parts[input.index];
        const File_Account& known = survey.accounts[file];
        const File_Account now = input.account();
        if (now.nEvents != known.nEvents || now.nTriggers != known.nTriggers) {
            throw std::invalid_argument("file \"" + paths[input.index] +
                                        "\" has changed since it was looked at!");
        }
        input.shared = survey.files[file].shared;
        input.firstFrame = survey.files[file].firstFrame;
        input.first = first;
        input.end = end;
    }

    const Counting_Job& job;
    const Survey& survey;
    std::vector<File_Part> parts;
    std::vector<std::string> paths;                           ///< of these
    std::vector<std::shared_ptr<const Walk_Ledger>> ledgers;  ///< of these; empty if not opened
    std::shared_ptr<const orven::Event_File> firstFile;       ///< stays open; empty if not opened
    Part_Count counted;
};

}  // namespace

Part_Count count_part(const Ranks& ranks, const Ranked_Job& ranked, const Survey& survey,
                      const Sharing& sharing) {
    Part_Counter part(ranked, survey, part_of(ranks, ranked.job, survey, sharing.piece_length));
    ranks.together([&] { part.count(sharing); });
    if (ranked.job.mode == Image_Settings::ignore) {
        return part.get();
    }
    const std::vector<Border> borders = ranks.gather(std::array{part.border()});
    const auto wrong = wrong_walk(borders, ranks.rank());
    ranks.together([&] {
        if (wrong) {
            part.correct(*wrong, sharing);
        }
    });
    return part.get();
}
