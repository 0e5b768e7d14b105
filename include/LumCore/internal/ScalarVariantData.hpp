// Internal: compiled into callers through the public headers; carries no promise of stability.
// Scalar storage: one element held in the object itself. The same code
// serves the counted form on the heap and the uncounted form that lives in a
// ZVariant's own buffer.
#pragma once

#include <stdexcept>
#include <typeinfo>
#include <utility>

#include "LumCore/internal/ConversionDispatch.hpp"
#include "LumCore/internal/ElementTraits.hpp"
#include "LumCore/internal/IVariantDataRefCounted.hpp"

namespace Marlowen::Lum::Internal {

template <class T>
IVariantData* reshapeIntoNewArray(const IVariantData& source, ArrayDimensionsView dimensions, DataOrdering ordering);

template <class T, class Base>
class ScalarVariantData : public Base {
public:
    explicit ScalarVariantData(const T& value) : m_value(value) {}
    explicit ScalarVariantData(T&& value) noexcept(std::is_nothrow_move_constructible_v<T>) : m_value(std::move(value))
    {
    }

    [[nodiscard]] std::size_t numberAllocatedElements() const override { return 1; }
    [[nodiscard]] ArrayDimensionsView dimensions() const override { return ArrayDimensionsView(&s_extent, 1); }
    [[nodiscard]] bool isScalarStorage() const override { return true; }
    [[nodiscard]] DataOrdering dataOrdering() const override { return DataOrdering::RowMajor; }
    [[nodiscard]] WellKnownType wellKnownDataType() const override { return WellKnownTypeOf<T>::value; }
    [[nodiscard]] const std::type_info* typeInfo() const override { return &typeid(T); }
    [[nodiscard]] const CustomTypeOperations* customTypeOperations() const override { return customOperationsOf<T>(); }

    // A scalar has no ordering to change: the object itself, one reference more.
    [[nodiscard]] IVariantData* reorderData(DataOrdering) const override
    {
        this->copy();
        return const_cast<ScalarVariantData*>(this);
    }

    void reshapeNoRealloc(ArrayDimensionsView dimensions) override
    {
        if (dimensions.size() != 1 || dimensions[0] != 1) {
            throw std::invalid_argument(
                "Cannot reshape a scalar ZVariant to different dimensions without reallocating.");
        }
    }

    [[nodiscard]] IVariantData* reshapeToZVariant(const IVariantData* source, ArrayDimensionsView dimensions,
                                                  DataOrdering ordering) const override
    {
        return reshapeIntoNewArray<T>(*source, dimensions, ordering);
    }

    [[nodiscard]] const void* constStoredData() const override { return &m_value; }
    void* mutableStoredData() override { return &m_value; }

    [[nodiscard]] IVariantData* convertDataTo(WellKnownType target, ConversionMode mode) const override
    {
        return convertStoredScalar<T>(m_value, target, mode);
    }

protected:
    ScalarVariantData(const ScalarVariantData&) = default;

    T m_value;

private:
    // What dimensions() points at, valid for the life of the process.
    static inline const std::size_t s_extent = 1;
};

template <class T>
class ScalarVariantDataRefCounted final : public ScalarVariantData<T, IVariantDataRefCounted> {
public:
    using ScalarVariantData<T, IVariantDataRefCounted>::ScalarVariantData;

    [[nodiscard]] IVariantData* clone() const override { return new ScalarVariantDataRefCounted(*this); }

private:
    ScalarVariantDataRefCounted(const ScalarVariantDataRefCounted&) = default;
};

template <class T>
class ScalarVariantDataNonCounted final : public ScalarVariantData<T, IVariantDataNonRefCounted> {
public:
    using ScalarVariantData<T, IVariantDataNonRefCounted>::ScalarVariantData;
};

}  // namespace Marlowen::Lum::Internal
