#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

/// Some of many values, each of which has a number of its own: one in 2^k, and at most so many.
/// Which ones does not depend on the order in which values and samples are added up.
template <class Value>
class Sample {
public:
    struct Numbered {
        std::uint64_t number;
        Value value;
    };

    explicit Sample(std::size_t most_) noexcept : most(most_) {}

    /// Throws: std::bad_alloc.
    void add(std::uint64_t number, const Value& value) {
        if (is_kept(number)) {
            kept.push_back({number, value});
            thin_out();
        }
    }

    /// Throws: std::bad_alloc.
    void add(const Sample& other) {
        if (other.power > power) {
            power = other.power;
            drop();
        }
        for (const Numbered& each : other.kept) {
            add(each.number, each.value);
        }
    }

    /// In no order.
    [[nodiscard]] const std::vector<Numbered>& values() const noexcept { return kept; }
    /// Of how many values one is kept.
    [[nodiscard]] std::uint64_t one_in() const noexcept { return std::uint64_t{1} << power; }

private:
    /// The multiples of the golden section are spread evenly over all residues: pulses often have a
    /// pattern, and every 2^power-th value could always be the same part of it.
    [[nodiscard]] bool is_kept(std::uint64_t number) const noexcept {
        constexpr std::uint64_t golden_section = 0x9e37'79b9'7f4a'7c15;
        return power == 0 ||
               number * golden_section >> (std::numeric_limits<std::uint64_t>::digits - power) == 0;
    }

    void thin_out() {
        while (kept.size() > most) {
            ++power;
            drop();
        }
    }

    void drop() {
        std::erase_if(kept, [&](const Numbered& each) { return !is_kept(each.number); });
    }

    std::size_t most;
    std::vector<Numbered> kept;
    int power = 0;
};
