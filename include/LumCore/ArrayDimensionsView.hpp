// ArrayDimensionsView: a non-owning view of an array's extents.
//
// Two words, passed by value. A view handed out by a variant is valid until
// that variant is destroyed or reshaped.
//
//     std::vector<size_t> extents{2, 3};
//     Marlowen::Lum::ArrayDimensionsView dims(extents);
//     Marlowen::Lum::elementCount(dims);   // 6; an empty list counts 0, not 1
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Marlowen::Lum {

class ArrayDimensionsView {
public:
    constexpr ArrayDimensionsView() noexcept = default;
    constexpr ArrayDimensionsView(const std::size_t* data, std::size_t size) noexcept : m_data(data), m_size(size) {}
    ArrayDimensionsView(const std::vector<std::size_t>& extents) noexcept
        : m_data(extents.data()), m_size(extents.size())
    {
    }

    [[nodiscard]] constexpr const std::size_t* data() const noexcept { return m_data; }
    [[nodiscard]] constexpr std::size_t size() const noexcept { return m_size; }
    [[nodiscard]] constexpr bool empty() const noexcept { return m_size == 0; }
    [[nodiscard]] constexpr const std::size_t* begin() const noexcept { return m_data; }
    [[nodiscard]] constexpr const std::size_t* end() const noexcept { return m_data + m_size; }
    constexpr std::size_t operator[](std::size_t i) const noexcept { return m_data[i]; }

    [[nodiscard]] std::vector<std::size_t> toVector() const { return std::vector<std::size_t>(begin(), end()); }

private:
    const std::size_t* m_data = nullptr;
    std::size_t m_size = 0;
};

// The number of elements a list of extents describes: their product, and 0
// for an empty list. The product wraps silently like all index arithmetic.
[[nodiscard]] constexpr std::uint64_t elementCount(ArrayDimensionsView dimensions) noexcept
{
    if (dimensions.empty()) {
        return 0;
    }
    std::uint64_t count = 1;
    for (std::size_t extent : dimensions) {
        count *= extent;
    }
    return count;
}

// Same extents in the same number of dimensions.
[[nodiscard]] constexpr bool sameExtents(ArrayDimensionsView a, ArrayDimensionsView b) noexcept
{
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (a[i] != b[i]) {
            return false;
        }
    }
    return true;
}

}  // namespace Marlowen::Lum
