#include "survey_files.h"

#include "gather_failures.h"
#include "reading/count_files.h"
#include "system/run_concurrently.h"

#include <atomic>
#include <cstdint>
#include <exception>
#include <functional>
#include <optional>

namespace {

/// What one rank tells the others of a file.
struct Facts {
    std::int64_t bytes;
    std::size_t nEvents;
    std::optional<std::size_t> nTriggers;
    bool shared;
};

/// A file that has been looked at, or why it could not be.
struct Looked_At {
    Facts facts{};
    std::exception_ptr failure;
};

Looked_At look_at(std::size_t index, const std::string& path, const Look_At& look) {
    try {
        Input input(index, std::make_shared<orven::Event_File>(path));
        look(input);
        const auto [bytes, nEvents, nTriggers, failure] = input.account();
        return {{bytes, nEvents, nTriggers, input.shared}, failure};
    } catch (const std::exception&) {
        rethrow_lack_of_memory(std::current_exception());
        return {{}, std::current_exception()};
    }
}

/// Looks at files of which `begin` is the first one's index.
std::vector<Looked_At> look_at_all(std::span<const std::string> paths, std::size_t begin,
                                   const Look_At& look, std::size_t nTasks) {
    std::vector<Looked_At> files(paths.size());
    std::atomic<std::size_t> nTaken = 0;
    const auto look_at_each = [&](std::size_t /*task*/, const std::function<void()>& found_work) {
        for (std::size_t i = nTaken++; i < files.size(); i = nTaken++) {
            found_work();
            files[i] = look_at(begin + i, paths[i], look);
        }
    };
    run_concurrently(nTasks, look_at_each, [&] { nTaken = files.size(); });
    return files;
}

Survey tell_all(const Ranks& ranks, const std::vector<Looked_At>& own, std::size_t begin) {
    std::vector<Facts> facts;
    std::vector<File_Failure> failures;
    for (const auto& [fact, failure] : own) {
        if (failure != nullptr) {
            failures.push_back({begin + facts.size(), failure});
        }
        facts.push_back(fact);
    }
    Survey survey;
    for (const auto& [bytes, nEvents, nTriggers, shared] : ranks.gather(facts)) {
        survey.accounts.push_back({bytes, nEvents, nTriggers, {}});
        survey.files.push_back({shared});
    }
    survey.failures = gather_failures(ranks, failures);
    return survey;
}

void number_frames(Survey& survey, const Counting_Job& job) {
    std::size_t next = job.firstFrame;
    for (std::size_t i = 0; i < survey.files.size(); ++i) {
        survey.files[i].firstFrame = next;
        next += count_intervals(job.mode, std::span(&survey.accounts[i], 1));
    }
}

}  // namespace

Survey survey_files(const Ranks& ranks, const Ranked_Job& ranked, std::size_t nTasks) {
    const std::size_t begin = ranked.paths.size() * ranks.rank() / ranks.size();
    const std::size_t end = ranked.paths.size() * (ranks.rank() + 1) / ranks.size();
    const auto paths = std::span(ranked.paths).subspan(begin, end - begin);
    std::vector<Looked_At> own;
    ranks.together(
        [&] { own = look_at_all(paths, begin, look_at_files(ranked.job.mode), nTasks); });
    Survey survey = tell_all(ranks, own, begin);
    if (ranked.job.mode == Image_Settings::frameSync) {
        number_frames(survey, ranked.job);
    }
    return survey;
}
