#pragma once

#include "Event.h"
#include "binning/Placement.h"
#include "counting/Counting_Image.h"
#include "progress/Progress_Count.h"
#include "settings/Parameters.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

struct Run_Account;

/// Counts events into an image, which the derived classes own.
template <Parameters::ExtTrigger_Mode mode>
class Binning_Events_Base {
public:
    using Event = orven::Photon_Event;
    using Time = Event::Time;

    Binning_Events_Base(const Binning_Events_Base&) = delete;
    Binning_Events_Base& operator=(const Binning_Events_Base&) = delete;

    /// Counts one event, placed by `time` and `frameIndex` where the image has pages; drops it if
    /// it lies outside the image.
    /// Threads: may be called from several at once.
    virtual void add_singleEvent(const Event& event, const Time& time, std::size_t frameIndex) = 0;

    /// Counts the events of all files that pass the filter. Callers include its definition,
    /// reading/add_data_filtered_files.h.
    /// With `concurrent`, one task per available core takes files in list order, and a file that
    /// fails is logged at level `error` and left, unless the settings are strict; otherwise the
    /// calling thread takes one file after another, and the first one that fails ends the run.
    /// Throws: std::bad_alloc; std::system_error if a thread cannot be started; what reading a file
    /// throws where that ends the run, and std::invalid_argument for a file without trigger data
    /// where the mode needs it.
    /// Threads: nothing else may count into this object meanwhile.
    template <class Filter, bool concurrent>
    void add_data_filtered_files(const std::vector<std::string>& files, const Filter& filter);

    /// The same, by a function that counts the events of files as `Count_Files` says.
    template <class Filter, bool concurrent, class Count>
    void add_data_filtered_files(const std::vector<std::string>& files, const Filter& filter,
                                 const Count& count);

    /// The number of trigger intervals processed so far, over all files.
    [[nodiscard]] std::size_t get_nTriggers() const noexcept { return nTriggers; }

    /// What became of the files and events added last; some must have been added.
    [[nodiscard]] const Run_Account& get_account() const noexcept { return *account; }

    /// How many events have been read so far.
    [[nodiscard]] const Progress_Count& get_nRead() const noexcept { return nRead; }

protected:
    explicit Binning_Events_Base(const Parameters& parameters)
        : strict(parameters.strict), keepAccount(parameters.reportFile.has_value()) {}
    ~Binning_Events_Base() = default;

private:
    /// Where events belong.
    [[nodiscard]] virtual Placement get_placement() const noexcept = 0;
    /// The cells of the image, in storage order.
    [[nodiscard]] virtual std::span<Counter> get_cells() noexcept = 0;

    std::atomic<std::size_t> nTriggers{0};
    bool strict;
    bool keepAccount;
    std::shared_ptr<const Run_Account> account;
    Progress_Count nRead;
};
