// ArrayDimensionsView: a non-owning view of an array's extents.
//
// Two words, passed by value. A view handed out by a variant is valid until
// that variant is destroyed or reshaped. A view of a vector must not outlive
// the vector, so none is made from a temporary one; a braced list of extents
// lives as long as the call it is written in, so it serves as an argument
// (never keep such a view in a variable).
//
//     std::vector<size_t> extents{2, 3};
//     Marlowen::Lum::ArrayDimensionsView dims(extents);
//     Marlowen::Lum::elementCount(dims);   // 6; an empty list counts 0, not 1
//     ZVariant::allocate<double>({0, 4});  // the shape 0 x 4
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
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
    // A temporary vector would be gone before the view is read.
    ArrayDimensionsView(std::vector<std::size_t>&&) = delete;
    // The extents of a braced list, {0, 4}: without this, {0, 4} would pick
    // the pointer-and-size constructor as a null pointer and a size of 4.
    // The list lives to the end of the call it is written in (GCC's warning
    // says as much).
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winit-list-lifetime"
#endif
    constexpr ArrayDimensionsView(std::initializer_list<std::size_t> extents) noexcept
        : m_data(extents.begin()), m_size(extents.size())
    {
    }
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

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
