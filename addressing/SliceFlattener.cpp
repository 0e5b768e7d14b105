#include "LumCore/SliceFlattener.hpp"

#include <algorithm>
#include <optional>
#include <stdexcept>

#include "LumCore/ArrayIndexing.hpp"

namespace Marlowen::Lum {

namespace {

using Positions = std::vector<std::uint64_t>;

// Every ordering but RowMajor counts as ColumnMajor.
bool isRowMajor(DataOrdering ordering) noexcept { return ordering == DataOrdering::RowMajor; }

std::optional<DataOrdering> enumerationOf(UseDataOrdering use, DataOrdering ordering) noexcept
{
    switch (use) {
        case UseDataOrdering::RowMajor: return DataOrdering::RowMajor;
        case UseDataOrdering::ColumnMajor: return DataOrdering::ColumnMajor;
        case UseDataOrdering::AsArray: return isRowMajor(ordering) ? DataOrdering::RowMajor : DataOrdering::ColumnMajor;
    }
    return std::nullopt;
}

DataOrdering checkedEnumerationOf(UseDataOrdering use, DataOrdering ordering)
{
    if (const std::optional<DataOrdering> enumeration = enumerationOf(use, ordering)) {
        return *enumeration;
    }
    throw std::invalid_argument("invalid UseDataOrdering");
}

// The positions a set selects in a dimension of `length`: the union of its
// items, ascending, each once.
Positions resolve(const IndexSet& set, std::uint64_t length)
{
    if (set.size() == 1) {
        Positions positions = set[0].indices(length);
        if (std::adjacent_find(positions.begin(), positions.end(), std::greater_equal<>()) == positions.end()) {
            return positions;  // the usual case: one item, ascending already
        }
        std::sort(positions.begin(), positions.end());
        positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
        return positions;
    }
    Positions positions;
    for (std::size_t i = 0; i < set.size(); ++i) {
        const Positions more = set[i].indices(length);
        positions.insert(positions.end(), more.begin(), more.end());
    }
    std::sort(positions.begin(), positions.end());
    positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
    return positions;
}

// The whole list as one run when its ascending positions leave no gap.
std::uint64_t runOfAscending(const Positions& positions) noexcept
{
    if (!positions.empty() && positions.back() - positions.front() == positions.size() - 1) {
        return positions.size();
    }
    return 1;
}

// The run length of an odometer walk: the fastest wheel makes runs when each
// of its steps moves one element on, and a run grows by the next wheel while
// that wheel's steps move exactly one run on.
std::uint64_t runOfWheels(const std::vector<Positions>& contributions, const std::vector<std::size_t>& wheels,
                          std::uint64_t count) noexcept
{
    std::uint64_t run = 1;
    for (std::size_t wheel : wheels) {
        const Positions& steps = contributions[wheel];
        for (std::size_t j = 1; j < steps.size(); ++j) {
            if (steps[j] - steps[j - 1] != run) {
                return count % run == 0 ? run : 1;
            }
        }
        run *= steps.size();
    }
    return count % run == 0 ? run : 1;
}

// The storage stride of every dimension of an array in `ordering`.
Positions stridesOf(ArrayDimensionsView dims, DataOrdering ordering)
{
    Positions strides(dims.size());
    for (std::size_t d = 0; d < dims.size(); ++d) {
        strides[d] = isRowMajor(ordering) ? ArrayIndexing::CalculateDimStrideRowMajor(d, dims)
                                          : ArrayIndexing::CalculateDimStrideColumnMajor(d, dims);
    }
    return strides;
}

// Fills `offsets` with `count` entries: the sum over the dimensions of the
// contribution of each one's current position, walked like an odometer whose
// fastest wheel is the first of `wheels`. The fastest wheel is written as a
// whole run per turn of the others.
void walkOdometer(Positions& offsets, std::uint64_t count, const std::vector<Positions>& contributions,
                  const std::vector<std::size_t>& wheels)
{
    offsets.resize(count);
    std::uint64_t* out = offsets.data();
    const Positions& fastest = contributions[wheels[0]];
    std::vector<std::size_t> turn(wheels.size(), 0);
    std::uint64_t base = 0;
    for (std::size_t w = 1; w < wheels.size(); ++w) {
        base += contributions[wheels[w]][0];
    }
    std::uint64_t written = 0;
    while (written < count) {
        const std::uint64_t run = std::min<std::uint64_t>(fastest.size(), count - written);
        for (std::uint64_t j = 0; j < run; ++j) {
            out[j] = base + fastest[j];
        }
        out += run;
        written += run;
        // Turn the next wheel; a wheel that comes round moves the one after.
        for (std::size_t w = 1; w < wheels.size(); ++w) {
            const Positions& wheel = contributions[wheels[w]];
            base -= wheel[turn[w]];
            if (++turn[w] < wheel.size()) {
                base += wheel[turn[w]];
                break;
            }
            turn[w] = 0;
            base += wheel[0];
        }
    }
}

// The linear position `position` of an array enumerated in `enumeration`,
// as a storage offset of the array in `ordering`: its indices in the one,
// their offset in the other.
std::uint64_t remapPosition(std::uint64_t position, ArrayDimensionsView dims, const Positions& enumerationStrides,
                            DataOrdering enumeration, const Positions& storageStrides)
{
    std::uint64_t offset = 0;
    const auto take = [&](std::size_t d) {
        const std::uint64_t stride = enumerationStrides[d];
        if (stride == 0) {
            // Only an array with a zero extent has such a stride, and no
            // position lies within it.
            throw std::out_of_range("Index value out-of-range");
        }
        offset += position / stride * storageStrides[d];
        position %= stride;
    };
    if (isRowMajor(enumeration)) {
        for (std::size_t d = 0; d < dims.size(); ++d) {
            take(d);
        }
    } else {
        // Dimensions of extent 0 or 1 keep the index 0.
        for (std::size_t d = dims.size(); d-- > 0;) {
            if (dims[d] > 1) {
                take(d);
            }
        }
    }
    return offset;
}

}  // namespace

SliceFlattener::SliceFlattener(const std::vector<IndexSet>& slices, ArrayDimensionsView dims, DataOrdering ordering,
                               UseDataOrdering use)
{
    if (slices.size() != dims.size()) {
        throw std::invalid_argument("slice dimensions don't match ZVariant dimensions");
    }
    std::vector<Positions> positions;
    positions.reserve(dims.size());
    m_sliceDimensions.reserve(dims.size());
    for (std::size_t d = 0; d < dims.size(); ++d) {
        for (std::size_t i = 0; i < slices[d].size(); ++i) {
            if (!slices[d][i].isInRange(dims[d])) {
                throw std::invalid_argument("slice dimensions are out of bounds");
            }
        }
        positions.push_back(resolve(slices[d], dims[d]));
        m_sliceDimensions.push_back(positions.back().size());
    }
    if (dims.size() == 1) {
        // Either ordering lays out a vector alike; an invalid `use` goes unnoticed.
        m_enumeration = enumerationOf(use, ordering).value_or(DataOrdering::RowMajor);
        m_offsets = std::move(positions[0]);
        m_runLength = runOfAscending(m_offsets);
        return;
    }
    m_enumeration = checkedEnumerationOf(use, ordering);
    const std::uint64_t count = elementCount(ArrayDimensionsView(m_sliceDimensions));
    if (count == 0) {
        return;
    }
    // Each dimension's positions become their share of the storage offset.
    const Positions strides = stridesOf(dims, ordering);
    for (std::size_t d = 0; d < dims.size(); ++d) {
        for (std::uint64_t& position : positions[d]) {
            position *= strides[d];
        }
    }
    // The enumeration turns the last dimension fastest in row-major order,
    // the first in column-major order.
    std::vector<std::size_t> wheels(dims.size());
    for (std::size_t w = 0; w < wheels.size(); ++w) {
        wheels[w] = isRowMajor(m_enumeration) ? wheels.size() - 1 - w : w;
    }
    walkOdometer(m_offsets, count, positions, wheels);
    m_runLength = runOfWheels(positions, wheels, count);
}

SliceFlattener::SliceFlattener(const IndexSet& slice, ArrayDimensionsView dims, DataOrdering ordering,
                               UseDataOrdering use)
{
    const std::uint64_t total = elementCount(dims);
    Positions positions = resolve(slice, total);
    m_sliceDimensions.assign(1, positions.size());
    m_enumeration = checkedEnumerationOf(use, ordering);
    const auto longDimensions = std::count_if(dims.begin(), dims.end(), [](std::size_t extent) { return extent >= 2; });
    const bool vectorInFact = !dims.empty() && total != 0 && longDimensions < 2;
    if (vectorInFact || isRowMajor(ordering) == isRowMajor(m_enumeration)) {
        m_offsets = std::move(positions);
        m_runLength = runOfAscending(m_offsets);
        return;
    }
    const Positions enumerationStrides = stridesOf(dims, m_enumeration);
    const Positions storageStrides = stridesOf(dims, ordering);
    m_offsets.reserve(positions.size());
    for (std::uint64_t position : positions) {
        m_offsets.push_back(remapPosition(position, dims, enumerationStrides, m_enumeration, storageStrides));
    }
}

}  // namespace Marlowen::Lum
