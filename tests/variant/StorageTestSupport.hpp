// Helpers shared by the storage tests: owning handles, counts, and typed
// access to the elements of a storage object.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "LumCore/ArrayDimensionsView.hpp"
#include "LumCore/DataOrdering.hpp"
#include "LumCore/IVariantData.hpp"
#include "LumCore/VariantFactories.hpp"
#include "LumCore/IVariantDataRefCounted.hpp"

namespace StorageTest {

using Marlowen::Lum::ArrayDimensionsView;
using Marlowen::Lum::DataOrdering;
using Marlowen::Lum::Internal::IVariantData;
using Marlowen::Lum::Internal::IVariantDataRefCounted;

using Extents = std::vector<std::size_t>;

// One reference to a counted object, given up when the holder goes.
struct Release {
    void operator()(IVariantData* data) const noexcept
    {
        if (data != nullptr) {
            data->destruct();
        }
    }
};
using Owned = std::unique_ptr<IVariantData, Release>;

// The count of a counted object.
inline std::uint32_t refCount(const IVariantData* data)
{
    const auto* counted = dynamic_cast<const IVariantDataRefCounted*>(data);
    EXPECT_NE(counted, nullptr) << "not a counted object";
    return counted == nullptr ? 0 : counted->referenceCount();
}

inline Extents extentsOf(const IVariantData& data)
{
    return data.dimensions().toVector();
}

template <class T>
const T* elementsOf(const IVariantData& data)
{
    return static_cast<const T*>(data.constStoredData());
}

// The first `count` elements of `data`, copied out (count defaults to the
// number the shape describes).
template <class T>
std::vector<T> valuesOf(const IVariantData& data)
{
    const auto count = static_cast<std::size_t>(Marlowen::Lum::elementCount(data.dimensions()));
    const T* first = elementsOf<T>(data);
    return std::vector<T>(first, first + count);
}

// A VectorVariantData holding copies of `values` in the given shape.
template <class T>
Owned makeArray(const std::vector<T>& values, const Extents& extents,
                DataOrdering ordering = DataOrdering::RowMajor)
{
    return Owned(Marlowen::Lum::Internal::constructVariantVectorWithDataWithDimsUnresolved<T>(
        values.data(), values.size(), ArrayDimensionsView(extents), ordering));
}

// 0, 1, 2, ... as doubles, `count` of them.
inline std::vector<double> iota(std::size_t count)
{
    std::vector<double> values(count);
    for (std::size_t i = 0; i < count; ++i) {
        values[i] = static_cast<double>(i);
    }
    return values;
}

}  // namespace StorageTest
