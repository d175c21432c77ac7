#pragma once

#include "Branchless.h"
#include "Data_Events.h"
#include "Event.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

namespace orven {

/// Filters that keep some events of a file. Trigger times are never filtered.
/// Threads: filters do not change once built.
template <class Length_Type, class Time_Type, class PSD_Type>
struct Filters_Events {
    using Event = orven::Event<Length_Type, Time_Type, PSD_Type>;
    using Data = Data_Events<Event>;

    class Base {
    public:
        /// The events that pass, in input order, and the same trigger times.
        [[nodiscard]] virtual Data apply(const Data& data) const = 0;

    protected:
        Base() = default;
        Base(const Base&) = default;
        Base& operator=(const Base&) = default;
        ~Base() = default;
    };

    /// Keeps photon counts from `min` to `max`, both included.
    struct NPhotons_Core {
        std::uint64_t min;
        std::uint64_t max;

        [[nodiscard]] bool accepts(const Event& event) const noexcept {
            // One comparison for both bounds: a count below `min` wraps to a large difference.
            return all_hold(event.nPhotons - min <= max - min, min <= max);
        }
    };

    /// Keeps PSD values from `min` to `max`, both included; an absent bound does not limit.
    /// A NaN value fails any bound that is present.
    struct PSD_Core {
        std::optional<double> min;
        std::optional<double> max;

        [[nodiscard]] bool accepts(const Event& event) const noexcept {
            constexpr double infinity = std::numeric_limits<double>::infinity();
            return one_holds(!min.has_value() && !max.has_value(),
                             all_hold(event.psd.value >= min.value_or(-infinity),
                                      event.psd.value <= max.value_or(infinity)));
        }
    };

    template <class Cores>
    class Independent;

    /// Keeps an event only if every core accepts it; all are asked.
    template <class... Cores>
    class Independent<std::tuple<Cores...>> final : public Base {
    public:
        explicit Independent(Cores... cores_) : cores(cores_...) {}

        [[nodiscard]] bool accepts(const Event& event) const noexcept {
            return std::apply(
                [&event](const auto&... core) { return all_hold(core.accepts(event)...); }, cores);
        }

        [[nodiscard]] Data apply(const Data& data) const noexcept override {
            std::vector<Event> kept;
            kept.reserve(data.events.size());
            for (const Event& event : data.events) {
                if (accepts(event)) {
                    kept.push_back(event);
                }
            }
            return Data(std::move(kept), std::optional(data.extTriggers));
        }

        /// The core of this type.
        template <class Core>
        [[nodiscard]] const Core& core() const noexcept {
            return std::get<Core>(cores);
        }

    private:
        std::tuple<Cores...> cores;
    };
};

/// The filters for the events of the event files.
using Photon_Filters = Filters_Events<Event_Length, Event_Time, PSD_Parameter_SumTimeDistToFirst>;

/// The filter that every run uses: photon count first, PSD second.
using Photon_Filter = Photon_Filters::Independent<
    std::tuple<Photon_Filters::NPhotons_Core, Photon_Filters::PSD_Core>>;

}  // namespace orven
