#pragma once

#include <array>
#include <cassert>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <vector>

namespace orven {

/// A dense array of fixed size in one block of memory, row-major: the last index varies fastest.
/// Shape: `sizes` holds the extents, slowest-varying dimension first; with 2 dimensions {rows,
/// columns}, with 3 {pages, rows, columns}.
/// Threads: the shape never changes; cells are as thread-safe as `Content_Type`.
template <class Content_Type, std::size_t nDims, class Allocator = std::allocator<Content_Type>>
class Vector_MultiDim {
public:
    using Indices = std::array<std::size_t, nDims>;
    using Content = std::vector<Content_Type, Allocator>;

    /// Creates the array with every cell zero.
    /// Throws: std::length_error or std::bad_alloc if memory cannot hold it. The product of the
    /// sizes must fit std::size_t.
    explicit Vector_MultiDim(const Indices& sizes_)
        : sizes(sizes_), nElements(product_from(0)), strides(calc_strides()), content(nElements) {}

    /// The position in `content` of the cell with these indices.
    /// With `check`, asserts that it lies inside `content`.
    template <bool check>
    [[nodiscard]] std::size_t calc_linIndex_from_indices(const Indices& indices) const {
        std::size_t linIndex = 0;
        for (std::size_t dim = 0; dim < nDims; ++dim) {
            linIndex += indices[dim] * strides[dim];
        }
        if constexpr (check) {
            assert(linIndex < content.size());
        }
        return linIndex;
    }

    [[nodiscard]] Content_Type& operator[](std::size_t linIndex) { return content[linIndex]; }
    [[nodiscard]] const Content_Type& operator[](std::size_t linIndex) const {
        return content[linIndex];
    }
    [[nodiscard]] Content_Type& operator[](const Indices& indices) {
        return content[calc_linIndex_from_indices<true>(indices)];
    }
    [[nodiscard]] const Content_Type& operator[](const Indices& indices) const {
        return content[calc_linIndex_from_indices<true>(indices)];
    }

    /// The cell with these indices.
    /// Throws: std::invalid_argument "Index out of bounds!" if an index is not below its extent.
    [[nodiscard]] const Content_Type& at(const Indices& indices) const {
        for (std::size_t dim = 0; dim < nDims; ++dim) {
            if (indices[dim] >= sizes[dim]) {
                throw std::invalid_argument("Index out of bounds!");
            }
        }
        return (*this)[indices];
    }

    [[nodiscard]] const Indices& get_sizes() const noexcept { return sizes; }
    [[nodiscard]] Content& get_content() noexcept { return content; }
    [[nodiscard]] const Content& get_content() const noexcept { return content; }

private:
    [[nodiscard]] std::size_t product_from(std::size_t first) const {
        std::size_t product = 1;
        for (std::size_t dim = first; dim < nDims; ++dim) {
            product *= sizes[dim];
        }
        return product;
    }

    [[nodiscard]] Indices calc_strides() const {
        Indices steps{};
        for (std::size_t dim = 0; dim < nDims; ++dim) {
            steps[dim] = product_from(dim + 1);
        }
        return steps;
    }

    Indices sizes;
    std::size_t nElements;
    Indices strides;
    Content content;
};

}  // namespace orven
