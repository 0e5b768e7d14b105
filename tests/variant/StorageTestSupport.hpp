// Helpers shared by the storage tests: owning handles, counts, and typed
// access to the elements of a storage object. Brings in the storage classes
// and every element class, which nearly every storage test needs.
#pragma once

#include <gtest/gtest.h>

#include <complex>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "LumCore/ArrayDimensionsView.hpp"
#include "LumCore/Complex.hpp"
#include "LumCore/Duration.hpp"
#include "LumCore/ExternalVariantStorageInterface.hpp"
#include "LumCore/internal/IVariantDataRefCounted.hpp"
#include "LumCore/internal/OwnedStorage.hpp"
#include "LumCore/internal/ScalarVariantData.hpp"
#include "LumCore/TimePoint.hpp"
#include "LumCore/VariantFactories.hpp"
#include "LumCore/internal/VectorVariantData.hpp"
#include "LumCore/ZString.hpp"
#include "support/ThrownText.hpp"

namespace StorageTest {

using namespace Marlowen::Lum;
using namespace Marlowen::Lum::Internal;
using LumTest::thrownText;
using Extents = std::vector<std::size_t>;
constexpr auto kRow = DataOrdering::RowMajor;
constexpr auto kColumn = DataOrdering::ColumnMajor;

using Owned = OwnedStorage<IVariantData>;

// The count of a counted object.
inline std::uint32_t refCount(const IVariantData* data)
{
    const auto* counted = dynamic_cast<const IVariantDataRefCounted*>(data);
    EXPECT_NE(counted, nullptr) << "not a counted object";
    return counted == nullptr ? 0 : counted->referenceCount();
}

inline Extents extentsOf(const IVariantData& data) { return data.dimensions().toVector(); }

template <class T>
const T* elementsOf(const IVariantData& data)
{
    return static_cast<const T*>(data.constStoredData());
}

// The first `count` elements of `data`, copied out (by default as many as
// the shape describes).
template <class T>
std::vector<T> valuesOf(const IVariantData& data, std::size_t count = SIZE_MAX)
{
    if (count == SIZE_MAX) {
        count = static_cast<std::size_t>(elementCount(data.dimensions()));
    }
    return std::vector<T>(elementsOf<T>(data), elementsOf<T>(data) + count);
}

// A VectorVariantData holding copies of `values` in the given shape.
template <class T>
Owned makeArray(const std::vector<T>& values, const Extents& extents, DataOrdering ordering = kRow)
{
    return Owned(constructVariantVectorWithDataWithDimsUnresolved<T>(values.data(), values.size(),
                                                                     ArrayDimensionsView(extents), ordering));
}

// A StdVectorVariantData that adopts `values`.
template <class T>
Owned adopt(std::vector<T> values, const Extents& extents, DataOrdering ordering = kRow)
{
    return Owned(constructVariantDataFromMovedVector<T>(std::move(values), ArrayDimensionsView(extents), ordering));
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

// A caller that lends a buffer of doubles, as an application would.
class LentSamples : public ExternalVariantStorageInterface {
public:
    LentSamples(std::vector<double> values, Extents shape, DataOrdering ordering = kRow)
        : values(std::move(values)), shape(std::move(shape)), ordering(ordering)
    {
    }
    ~LentSamples() override { withdraw(); }

    // What the caller does before its buffer goes away.
    void withdraw()
    {
        if (detachFromStorage) {
            auto detach = std::move(detachFromStorage);
            detachFromStorage = nullptr;
            detach();
        }
    }

    std::size_t numberAllocatedElements() const override { return values.size(); }
    // Handed out from scratch space that the next call may reuse.
    ArrayDimensionsView dimensions() const override
    {
        scratch = shape;
        return ArrayDimensionsView(scratch);
    }
    DataOrdering dataOrdering() const override { return ordering; }
    WellKnownType wellKnownDataType() const override { return type; }
    void reshapeNoRealloc(ArrayDimensionsView dims) override
    {
        if (elementCount(dims) > values.size()) {
            throw std::length_error("too large for the buffer");
        }
        shape = dims.toVector();
    }
    const void* constStoredData() const override
    {
        ++dataReads;
        return values.data();
    }
    void* mutableStoredData() override { return values.data(); }
    void adaptorDestroyed() override
    {
        ++destroyedCalls;
        detachFromStorage = nullptr;
    }

    std::vector<double> values;
    Extents shape;
    DataOrdering ordering;
    WellKnownType type{WellKnownTypeValue::double_};
    mutable Extents scratch;
    mutable int dataReads = 0;
    int destroyedCalls = 0;
};

}  // namespace StorageTest
