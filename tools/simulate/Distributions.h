#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/// Draws one of 65536 cells, each as often as its weight says (Walker's alias method): one lookup
/// for any shape. All decisions are made in integers, so every machine draws the same.
class Alias_Table {
public:
    static constexpr std::size_t nCells = 65536;

    /// Range: weights from 0 on, `nCells` of them, not all zero.
    explicit Alias_Table(std::span<const double> weights);

    /// The cell that 32 random bits stand for.
    [[nodiscard]] std::uint32_t operator()(std::uint32_t bits) const noexcept {
        const std::uint32_t own = bits >> 16;
        const Cell& cell = cells[own];
        // An index, not a branch: nobody could predict it.
        const std::array<std::uint32_t, 2> choice{own, cell.alias};
        return choice[(bits & 0xFFFF) < cell.threshold ? 0 : 1];
    }

private:
    struct Cell {
        std::uint16_t threshold;  ///< in 1/65536: how often the cell itself is drawn here
        std::uint16_t alias;      ///< the cell that is drawn otherwise
    };

    std::vector<Cell> cells;
};

/// Draws integers whose density is given as weights over equal parts of a range.
class Quantile_Table {
public:
    /// Range: values from `low` up to, not including, `high`.
    Quantile_Table(std::span<const double> weights, std::int64_t low, std::int64_t high);

    /// The value below which the fraction `u` / 2^32 of all values lies.
    [[nodiscard]] std::int64_t operator()(std::uint32_t u) const noexcept {
        const std::int64_t* const knot = &knots[u >> step_bits];
        const std::int64_t part = u & ((std::uint32_t{1} << step_bits) - 1);
        return knot[0] + (((knot[1] - knot[0]) * part) >> step_bits);
    }

private:
    static constexpr unsigned step_bits = 20;
    static constexpr std::size_t nSteps = std::size_t{1} << (32 - step_bits);

    std::vector<std::int64_t> knots;
};
