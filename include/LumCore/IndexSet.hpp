// IndexSet: which positions of one dimension an operation touches.
//
// An IndexValue picks one position, an IndexRange an arithmetic run; both may
// count from the end of the dimension (0 from the end is the last position),
// so a selection can be written before the length is known. An IndexSet is a
// union of items and owns clones of them; SliceFlattener resolves one set per
// dimension against a shape.
//
//     using namespace Marlowen::Lum;
//     IndexValue(0, true).indices(5);                        // {4}
//     IndexRange({1, false}, {0, true}, 2).indices(6);       // {1, 3, 5}
//     IndexSet rows(IndexValue(0), IndexRange({2}, {3}, 1)); // positions 0, 2, 3
//     rows.add(IndexRange::all);
//     ArraySliceFromIndices({2, 0, 7});                      // one set per index
//
// All arithmetic is unsigned 64-bit and wraps: a range whose first position
// lies after its last is no empty selection but a failure ("vector too long").
// Test isInRange before asking a range for its positions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

#include "LumCore/c/Export.h"

namespace Marlowen::Lum {

// The abstract selection. The order of the virtual functions is fixed.
class IndexItem {
public:
    virtual ~IndexItem() = default;
    // The selected positions of a dimension of `length`, ascending.
    [[nodiscard]] virtual std::vector<std::uint64_t> indices(std::uint64_t length) const = 0;
    // Whether the item fits a dimension of `length`.
    [[nodiscard]] virtual bool isInRange(std::uint64_t length) const = 0;
    // A new heap copy of the concrete item, owned by the caller.
    [[nodiscard]] virtual IndexItem* clone() const = 0;

protected:
    IndexItem() = default;
    IndexItem(const IndexItem&) = default;
    IndexItem& operator=(const IndexItem&) = default;
};

namespace Internal {

[[noreturn]] inline void throwIndexValueOutOfRange() { throw std::out_of_range("Index value out-of-range"); }

}  // namespace Internal

// One position: `value` counted from position 0, or back from the last
// position when `fromEnd` is true.
class IndexValue final : public IndexItem {
public:
    IndexValue(std::uint64_t value = 0, bool fromEnd = false) noexcept : value(value), fromEnd(fromEnd) {}

    // The position in a dimension of `length`; a value past the last
    // position throws std::out_of_range. A length of 0 wraps the last
    // position to the largest value, so every value passes.
    [[nodiscard]] std::uint64_t position(std::uint64_t length) const
    {
        const std::uint64_t last = length - 1;
        if (value > last) {
            Internal::throwIndexValueOutOfRange();
        }
        return fromEnd ? last - value : value;
    }

    [[nodiscard]] std::vector<std::uint64_t> indices(std::uint64_t length) const override
    {
        return std::vector<std::uint64_t>(1, position(length));
    }
    // Looks at `value` only, not at `fromEnd`, and does not wrap: no value
    // is in range of a length of 0.
    [[nodiscard]] bool isInRange(std::uint64_t length) const override { return value < length; }
    [[nodiscard]] IndexItem* clone() const override { return new IndexValue(*this); }

    std::uint64_t value;
    bool fromEnd;
};

// The positions from `start` to `stop` inclusive, `step` apart. A stop that
// the step does not land on is not selected.
class IndexRange final : public IndexItem {
public:
    IndexRange(IndexValue start, IndexValue stop, std::uint64_t step = 1) noexcept
        : start(start), stop(stop), step(step)
    {
    }

    // Every position of a dimension: from the first to 0 from the end.
    LUM_API static const IndexRange all;

    [[nodiscard]] std::vector<std::uint64_t> indices(std::uint64_t length) const override
    {
        const std::uint64_t first = start.position(length);
        const std::uint64_t final = stop.position(length);
        if (step == 0) {
            // Guarded by isInRange where a shape is known; a step that never
            // advances selects no finite list.
            throw std::invalid_argument("Index range step is 0");
        }
        std::vector<std::uint64_t> result;
        // A backward range wraps here into a huge count, as it always has.
        const std::uint64_t count = (final - first) / step + 1;
        if (count != 0) {
            if (count > 0x1fffffffffffffffULL) {
                throw std::length_error("vector too long");
            }
            if (count > result.max_size()) {
                throw std::bad_alloc();
            }
            result.reserve(count);
        }
        for (std::uint64_t position = first; position <= final; position += step) {
            result.push_back(position);
            if (position > std::numeric_limits<std::uint64_t>::max() - step) {
                break;  // the next position lies past every final one
            }
        }
        return result;
    }
    [[nodiscard]] bool isInRange(std::uint64_t length) const override
    {
        return start.isInRange(length) && stop.isInRange(length) && step > 0;
    }
    [[nodiscard]] IndexItem* clone() const override { return new IndexRange(*this); }

    IndexValue start;
    IndexValue stop;
    std::uint64_t step;
};

// A union of items for one dimension, each held as an owned clone; copying
// a set clones every item again, so two sets never share one. Overlaps and
// the order of the items do not matter; an empty set selects nothing.
class IndexSet {
public:
    IndexSet() = default;

    // A set of clones of the given items.
    template <class... Items,
              std::enable_if_t<(sizeof...(Items) > 0) && (std::is_base_of_v<IndexItem, Items> && ...), int> = 0>
    explicit IndexSet(const Items&... items)
    {
        m_items.reserve(sizeof...(Items));
        (add(items), ...);
    }

    IndexSet(const IndexSet& other)
    {
        m_items.reserve(other.m_items.size());
        for (const auto& item : other.m_items) {
            add(*item);
        }
    }
    IndexSet(IndexSet&&) noexcept = default;
    IndexSet& operator=(const IndexSet& other)
    {
        if (this != &other) {
            IndexSet copy(other);
            m_items.swap(copy.m_items);
        }
        return *this;
    }
    IndexSet& operator=(IndexSet&&) noexcept = default;
    ~IndexSet() = default;

    // Appends a clone of `item`.
    IndexSet& add(const IndexItem& item)
    {
        std::unique_ptr<IndexItem> clone(item.clone());
        m_items.push_back(std::move(clone));
        return *this;
    }

    [[nodiscard]] std::size_t size() const noexcept { return m_items.size(); }
    [[nodiscard]] bool empty() const noexcept { return m_items.empty(); }
    [[nodiscard]] const IndexItem& operator[](std::size_t i) const noexcept { return *m_items[i]; }

private:
    std::vector<std::unique_ptr<IndexItem>> m_items;
};

// The slice that is one element: a set of one IndexValue per index.
LUM_API std::vector<IndexSet> ArraySliceFromIndices(const std::vector<std::uint64_t>& indices);

}  // namespace Marlowen::Lum
