#pragma once

#include "Binning_Events_Base.h"
#include "Cell_Counter.h"
#include "FileHandler_Events.h"
#include "File_Queue.h"
#include "Parameters.h"
#include "Trigger_Walk.h"
#include "logging.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <exception>
#include <future>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

/// What one task does with files: reads their events piece by piece, filters and counts them.
/// All memory is made at construction and used again for each piece, so it does not grow with the
/// files.
/// Threads: one object per task; the binning object is shared.
template <Parameters::ExtTrigger_Mode mode, class Filter>
class File_Task {
public:
    using Binning = Binning_Events_Base<mode>;
    using Stream = orven::Photon_FileHandler::Stream;

    /// `piece_length_` is from 1 to `events_per_piece`; images do not depend on it.
    /// Throws: std::bad_alloc.
    File_Task(Binning& binning_, Filter filter_, Image_Use use,
              std::size_t piece_length_ = events_per_piece)
        : binning(&binning_),
          filter(std::move(filter_)),
          counter(binning_.counters(), use),
          piece_length(piece_length_) {}

    /// Counts the events of one file, or in mode `ignore` those that no other task has taken.
    /// Throws: what reading the file throws; std::invalid_argument for missing trigger data.
    void add_file(const std::string& file, std::atomic<std::size_t>& nextEvent) {
        auto checked = orven::Photon_FileHandler::open_file(file);
        Stream stream(checked.stream, checked.fileEnd);
        if constexpr (mode == Parameters::ignore) {
            add_ranges(stream, nextEvent);
        } else {
            add_intervals(stream);
        }
    }

    /// Takes files from the queue until none is left, then helps with those still being read.
    /// Throws: only what goes wrong outside of a file, such as std::bad_alloc while logging.
    void run(const std::vector<std::string>& files, File_Queue& queue) {
        for (std::size_t i = queue.take_file(); i < files.size(); i = queue.take_file()) {
            add_file_or_log(files[i], queue[i]);
        }
        if constexpr (mode == Parameters::ignore) {
            for (std::size_t i = 0; i < files.size(); ++i) {
                if (!queue[i].ended) {
                    add_file_or_log(files[i], queue[i]);
                }
            }
        }
    }

    /// Adds what the task counted apart to the image; call when no task runs any more.
    void merge() noexcept { counter.merge(); }

private:
    /// How many events a task takes of a file at a time: long enough for the system to read ahead.
    static constexpr std::size_t events_per_range = 32 * events_per_piece;

    void add_file_or_log(const std::string& file, File_Queue::Progress& progress) {
        try {
            add_file(file, progress.nextEvent);
        } catch (const std::exception& exception) {
            if (!progress.failed.exchange(true)) {
                logging<error>(exception.what());
            }
        }
        progress.ended = true;
    }

    void add_ranges(Stream& stream, std::atomic<std::size_t>& nextEvent) {
        const std::size_t nEvents = stream.nEvents();
        const auto take_range = [&] { return nextEvent.fetch_add(events_per_range); };
        for (std::size_t first = take_range(); first < nEvents; first = take_range()) {
            const std::size_t end = first + std::min(events_per_range, nEvents - first);
            for (std::size_t i = first; i < end; i += piece_length) {
                const auto piece = read_piece(stream, i, end);
                binning->find_cells(piece, filter, Interval{}, memory->found);
                count_found();
            }
        }
    }

    void add_intervals(Stream& stream) {
        auto triggers = stream.read_extTriggers();
        if (!triggers) {
            throw std::invalid_argument(
                "External trigger data requested from data set recorded without external trigger "
                "enabled!");
        }
        Trigger_Walk walk(std::move(*triggers), binning->nTriggers);
        const std::size_t nEvents = stream.nEvents();
        for (std::size_t i = 0; i < nEvents && !walk.finished(); i += piece_length) {
            walk.walk(
                read_piece(stream, i, nEvents), filter,
                [this](std::span<const orven::Photon_Event> events, const Interval& interval) {
                    binning->find_cells(events, filter, interval, memory->found);
                });
            count_found();
        }
        binning->nTriggers += walk.nIntervals();
    }

    std::span<const orven::Photon_Event> read_piece(Stream& stream, std::size_t first,
                                                    std::size_t end) {
        const std::span piece(memory->piece.data(), std::min(piece_length, end - first));
        stream.read_events(first, piece);
        return piece;
    }

    void count_found() {
        counter.count(memory->found);
        memory->found.size = 0;
    }

    struct Piece_Memory {
        std::array<orven::Photon_Event, events_per_piece> piece;
        Cell_List found;
    };

    Binning* binning;
    Filter filter;
    Cell_Counter counter;
    std::size_t piece_length;
    std::unique_ptr<Piece_Memory> memory = std::make_unique<Piece_Memory>();
};

/// Counts all files with this many concurrent tasks. A file that fails is logged and left.
/// Throws: std::bad_alloc; std::system_error if a thread cannot be started.
template <Parameters::ExtTrigger_Mode mode, class Filter>
void count_files_concurrently(Binning_Events_Base<mode>& binning,
                              const std::vector<std::string>& files, const Filter& filter,
                              std::size_t nTasks, std::size_t piece_length = events_per_piece) {
    static_assert(mode != Parameters::frameSync, "frames are numbered in the order of the files");
    using Task = File_Task<mode, Filter>;
    const Image_Use use = nTasks == 1 ? Image_Use::alone : Image_Use::shared;
    std::vector<Task> tasks;
    tasks.reserve(nTasks);
    for (std::size_t i = 0; i < nTasks; ++i) {
        tasks.emplace_back(binning, filter, use, piece_length);
    }
    File_Queue queue(files.size());
    std::vector<std::future<void>> futures;
    futures.reserve(nTasks);
    for (Task& task : tasks) {
        futures.push_back(std::async(std::launch::async, [&] { task.run(files, queue); }));
    }
    for (std::future<void>& future : futures) {
        future.wait();
    }
    for (std::future<void>& future : futures) {
        future.get();  // a failure outside of a file would lose events without a word
    }
    for (Task& task : tasks) {
        task.merge();
    }
}

/// Counts one file after another on the calling thread.
/// Throws: what the first file that fails throws; std::bad_alloc.
template <Parameters::ExtTrigger_Mode mode, class Filter>
void count_files_in_order(Binning_Events_Base<mode>& binning, const std::vector<std::string>& files,
                          const Filter& filter) {
    File_Task<mode, Filter> task(binning, filter, Image_Use::alone);
    for (const std::string& file : files) {
        std::atomic<std::size_t> nextEvent{0};
        task.add_file(file, nextEvent);
    }
}

template <Parameters::ExtTrigger_Mode mode>
template <class Filter_Type, bool concurrent>
void Binning_Events_Base<mode>::add_data_filtered_files(const std::vector<std::string>& files,
                                                        const Filter_Type& filter) {
    if constexpr (concurrent) {
        const std::size_t nTasks = std::max(1U, std::thread::hardware_concurrency());
        count_files_concurrently(*this, files, filter, nTasks);
    } else {
        count_files_in_order(*this, files, filter);
    }
}
