// Internal: compiled into callers through the public headers; carries no promise of stability.
// Array storage. VectorVariantData keeps its header and its elements in one
// heap block and never grows; StdVectorVariantData adopts a caller's filled
// std::vector without copying an element. Both are counted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

#include "LumCore/ArrayDimensionsView.hpp"
#include "LumCore/internal/ArrayBlock.hpp"
#include "LumCore/internal/ConversionDispatch.hpp"
#include "LumCore/internal/ElementTraits.hpp"
#include "LumCore/internal/IVariantDataRefCounted.hpp"
#include "LumCore/internal/OwnedStorage.hpp"
#include "LumCore/internal/ReorderWalk.hpp"

namespace Marlowen::Lum::Internal {

[[noreturn]] inline void throwReshapeShared()
{
    throw std::runtime_error("Reference count is greater than 1 - cannot reshape without reallocating.");
}

[[noreturn]] inline void throwReshapeBeyondAllocation()
{
    throw std::length_error("Cannot reshape array to given dimensions without reallocating.");
}

// Whether the true product of the extents fits in 64 bits. Counts are plain
// products everywhere else; a shape is checked where it enters an array, so
// that no wrapped count can size a block smaller than what its shape says.
[[nodiscard]] inline bool elementCountFits(ArrayDimensionsView dimensions) noexcept
{
    std::uint64_t count = 1;
    bool overflowed = false;
    for (std::size_t extent : dimensions) {
        if (extent == 0) {
            return true;  // nothing, however large the other extents
        }
        overflowed = overflowed || count > std::numeric_limits<std::uint64_t>::max() / extent;
        count *= extent;
    }
    return !overflowed;
}

// Whether a shape describes no more than `room` elements, its true count
// included: a wrapped count must not pass for a small one.
[[nodiscard]] inline bool shapeFitsIn(ArrayDimensionsView dimensions, std::size_t room) noexcept
{
    return elementCountFits(dimensions) && elementCount(dimensions) <= room;
}

[[noreturn]] inline void throwDimensionsMismatch() { throw std::length_error("dimensions do not match data length"); }

template <class T>
class VectorVariantData;

// The operations both array classes share, written once over the element
// pointer and shape that each of them provides.
template <class T, class Derived>
class ArrayVariantData : public IVariantDataRefCounted {
public:
    [[nodiscard]] ArrayDimensionsView dimensions() const override { return ArrayDimensionsView(m_dimensions); }
    [[nodiscard]] bool isScalarStorage() const override { return false; }
    [[nodiscard]] DataOrdering dataOrdering() const override { return m_ordering; }
    [[nodiscard]] WellKnownType wellKnownDataType() const override { return WellKnownTypeOf<T>::value; }
    [[nodiscard]] const std::type_info* typeInfo() const override { return &typeid(T); }
    [[nodiscard]] const CustomTypeOperations* customTypeOperations() const override { return customOperationsOf<T>(); }

    [[nodiscard]] IVariantData* reorderData(DataOrdering ordering) const override;

    [[nodiscard]] IVariantData* reshapeToZVariant(const IVariantData* source, ArrayDimensionsView dimensions,
                                                  DataOrdering ordering) const override;

    [[nodiscard]] const void* constStoredData() const override { return self().elements(); }
    void* mutableStoredData() override { return self().elements(); }

    [[nodiscard]] IVariantData* convertDataTo(WellKnownType target, ConversionMode mode) const override
    {
        return convertStoredArray<T>(*this, target, mode);
    }

protected:
    ArrayVariantData(std::vector<std::size_t> dimensions, DataOrdering ordering)
        : m_dimensions(std::move(dimensions)), m_ordering(ordering)
    {
    }
    ArrayVariantData(const ArrayVariantData&) = default;

    // Steps shared by both reshapes: an unchanged shape passes, also when
    // shared; any other needs the sole reference.
    [[nodiscard]] bool reshapeIsNoOp(ArrayDimensionsView dimensions) const
    {
        if (sameExtents(dimensions, ArrayDimensionsView(m_dimensions))) {
            return true;
        }
        if (!this->hasSingleReference()) {
            throwReshapeShared();
        }
        return false;
    }

    std::vector<std::size_t> m_dimensions;
    DataOrdering m_ordering;

private:
    const Derived& self() const { return static_cast<const Derived&>(*this); }
    Derived& self() { return static_cast<Derived&>(*this); }
};

template <class T>
class VectorVariantData final : public ArrayVariantData<T, VectorVariantData<T>> {
    using Base = ArrayVariantData<T, VectorVariantData<T>>;

public:
    // A new array of elementCount(dimensions) elements: numbers uninitialised,
    // complex values and times zero, strings and custom classes default.
    // Booleans are zero too: a byte other than 0 or 1 is no bool at all, and
    // a caller who reads before writing (the tail of a growing reshape, say)
    // must not make every later cast or comparison of it undefined.
    [[nodiscard]] static VectorVariantData* create(ArrayDimensionsView dimensions, DataOrdering ordering)
    {
        const std::size_t count = elementCount(dimensions);
        VectorVariantData* array = allocate(count, dimensions, ordering);
        if constexpr (!std::is_arithmetic_v<T> || std::is_same_v<T, bool>) {
            std::uninitialized_value_construct_n(array->elements(), count);
        }
        return array;
    }

    // A new array whose every element the caller writes before anything
    // reads it: elements copied as blocks are left as they are, so that the
    // memory of a new array is touched once; others are default.
    [[nodiscard]] static VectorVariantData* createForOverwrite(ArrayDimensionsView dimensions, DataOrdering ordering)
    {
        if constexpr (kCopiedAsBlock<T>) {
            return allocate(elementCount(dimensions), dimensions, ordering);
        } else {
            return create(dimensions, ordering);
        }
    }

    // A new array whose first `written` elements the caller writes before
    // anything reads them; every later one starts at its default (zero), so
    // that the library never hands out an element nobody wrote. Only the
    // tail is touched here.
    [[nodiscard]] static VectorVariantData* createWritingFirst(std::size_t written, ArrayDimensionsView dimensions,
                                                               DataOrdering ordering)
    {
        VectorVariantData* array = createForOverwrite(dimensions, ordering);
        if constexpr (kCopiedAsBlock<T>) {
            const std::size_t count = elementCount(dimensions);
            if (written < count) {
                std::uninitialized_value_construct_n(array->elements() + written, count - written);
            }
        }
        return array;
    }

    // A new array holding copies of `count` elements at `data`; the caller
    // has checked that `dimensions` describes `count` elements.
    [[nodiscard]] static VectorVariantData* createWithData(const T* data, std::size_t count,
                                                           ArrayDimensionsView dimensions, DataOrdering ordering)
    {
        VectorVariantData* array = allocate(count, dimensions, ordering);
        if constexpr (kCopiedAsBlock<T>) {
            if (count != 0) {
                std::memcpy(static_cast<void*>(array->elements()), data, count * sizeof(T));
            }
        } else {
            try {
                std::uninitialized_copy_n(data, count, array->elements());
            } catch (...) {
                array->m_allocatedElements = 0;  // nothing left to destroy
                delete array;
                throw;
            }
        }
        return array;
    }

    ~VectorVariantData() override { std::destroy_n(elements(), m_allocatedElements); }

#if LUMCORE_ARRAY_BLOCK_ROUTES
    // The deleting destructor gives back the one block that allocate() took,
    // by the route its size chose; the size is read before the header goes.
    void operator delete(VectorVariantData* array, std::destroying_delete_t) noexcept
    {
        const std::size_t bytes = array->m_blockBytes;
        array->~VectorVariantData();
        freeBlock(array, bytes);
    }
#else
    // Without a destroying delete (C++17) the size is gone by the time the
    // block is freed, so such a caller takes the small route for every size.
    static void operator delete(void* block) noexcept { freeBlock(block, 0); }
#endif

    [[nodiscard]] std::size_t numberAllocatedElements() const override { return m_allocatedElements; }

    void reshapeNoRealloc(ArrayDimensionsView dimensions) override
    {
        if (this->reshapeIsNoOp(dimensions)) {
            return;
        }
        // The current number of dimensions is a limit of its own: [6] may
        // not become [2, 3] in place, although [2, 3] may become [6].
        if (!shapeFitsIn(dimensions, m_allocatedElements) || dimensions.size() > this->m_dimensions.size()) {
            throwReshapeBeyondAllocation();
        }
        this->m_dimensions.assign(dimensions.begin(), dimensions.end());
    }

    [[nodiscard]] IVariantData* clone() const override
    {
        VectorVariantData* copy =
            createWithData(elements(), m_allocatedElements, ArrayDimensionsView(this->m_dimensions), this->m_ordering);
        return copy;
    }

    [[nodiscard]] T* elements() noexcept
    {
        return std::launder(reinterpret_cast<T*>(reinterpret_cast<unsigned char*>(this) + elementsOffset()));
    }
    [[nodiscard]] const T* elements() const noexcept
    {
        return std::launder(
            reinterpret_cast<const T*>(reinterpret_cast<const unsigned char*>(this) + elementsOffset()));
    }

private:
    // The block starts on a cache line, and the elements on the first line
    // boundary behind the header: no array begins mid-line, wide loads over
    // the elements split no more lines than they must, and callers may use
    // aligned vector loads on what mutableStoredData() returns.
    static_assert(alignof(T) <= kArrayBlockAlignment);

    static constexpr std::size_t elementsOffset() noexcept
    {
        return (sizeof(VectorVariantData) + kArrayBlockAlignment - 1) / kArrayBlockAlignment * kArrayBlockAlignment;
    }

    VectorVariantData(ArrayDimensionsView dimensions, DataOrdering ordering)
        : Base(dimensions.toVector(), ordering), m_allocatedElements(0)
    {
    }

    // One block for header and elements. The elements are left for the
    // caller to construct, which it must do before anything can fail.
    static VectorVariantData* allocate(std::size_t count, ArrayDimensionsView dimensions, DataOrdering ordering)
    {
        if (!elementCountFits(dimensions)) {
            throwDimensionsMismatch();
        }
        if (count > (std::numeric_limits<std::size_t>::max() - elementsOffset()) / sizeof(T)) {
            throw std::bad_array_new_length();
        }
        const std::size_t bytes = elementsOffset() + count * sizeof(T);
        void* block = allocateBlock(bytes);
        try {
            auto* array = ::new (block) VectorVariantData(dimensions, ordering);
            array->m_allocatedElements = count;
            array->m_blockBytes = bytes;
            return array;
        } catch (...) {
            freeBlock(block, bytes);
            throw;
        }
    }

    // The block and its release, by a route that the deleting destructor can
    // take again.
    static void* allocateBlock(std::size_t bytes)
    {
#if LUMCORE_ARRAY_BLOCK_ROUTES
        return allocateArrayBlock(bytes);
#else
        return ::operator new (bytes, std::align_val_t{kArrayBlockAlignment});
#endif
    }
    static void freeBlock(void* block, [[maybe_unused]] std::size_t bytes) noexcept
    {
#if LUMCORE_ARRAY_BLOCK_ROUTES
        freeArrayBlock(block, bytes);
#else
        ::operator delete (block, std::align_val_t{kArrayBlockAlignment});
#endif
    }

    std::size_t m_allocatedElements;
    std::size_t m_blockBytes = 0;  // as asked of allocateArrayBlock
};

template <class T>
class StdVectorVariantData final : public ArrayVariantData<T, StdVectorVariantData<T>> {
    using Base = ArrayVariantData<T, StdVectorVariantData<T>>;

public:
    // Takes the vector over. An empty shape, or one with a zero extent, is
    // replaced by [size] when there is data; a shape that describes another
    // number of elements is refused (and the vector freed with it).
    StdVectorVariantData(std::vector<T>&& data, ArrayDimensionsView dimensions, DataOrdering ordering)
        : Base(dimensions.toVector(), ordering), m_data(std::move(data))
    {
        const std::uint64_t described = elementCount(dimensions);
        if (!dimensions.empty() && described != 0) {
            if (described != m_data.size() || !elementCountFits(dimensions)) {
                throwDimensionsMismatch();
            }
        } else if (!m_data.empty()) {
            this->m_dimensions.assign(1, m_data.size());
        }
    }

    [[nodiscard]] std::size_t numberAllocatedElements() const override { return m_data.size(); }

    // Limited by the vector's capacity, not its size, and not by the number
    // of dimensions; the vector itself is not resized.
    void reshapeNoRealloc(ArrayDimensionsView dimensions) override
    {
        if (this->reshapeIsNoOp(dimensions)) {
            return;
        }
        if (!dimensions.empty() && !shapeFitsIn(dimensions, m_data.capacity())) {
            throwReshapeBeyondAllocation();
        }
        this->m_dimensions = dimensions.toVector();
    }

    [[nodiscard]] IVariantData* clone() const override { return new StdVectorVariantData(*this); }

    [[nodiscard]] T* elements() noexcept { return m_data.data(); }
    [[nodiscard]] const T* elements() const noexcept { return m_data.data(); }

private:
    StdVectorVariantData(const StdVectorVariantData&) = default;

    std::vector<T> m_data;
};

template <class T, class Derived>
IVariantData* ArrayVariantData<T, Derived>::reorderData(DataOrdering ordering) const
{
    if (ordering == m_ordering) {
        this->copy();
        return const_cast<ArrayVariantData*>(this);
    }
    const ArrayDimensionsView dims(m_dimensions);
    const std::size_t available = self().numberAllocatedElements();
    OwnedStorage<VectorVariantData<T>> result(VectorVariantData<T>::createWritingFirst(
        reorderWritesEvery(available, dims, m_ordering) ? elementCount(dims) : 0, dims, ordering));
    reorderElements(self().elements(), available, result->elements(), dims, m_ordering);
    return result.release();
}

// A new array of the given shape, its first elements copied from `source`
// in storage order. `source` must hold elements of class T: one of another
// class is refused rather than read as T (past its block, or as the wrong
// object).
template <class T>
IVariantData* reshapeIntoNewArray(const IVariantData& source, ArrayDimensionsView dimensions, DataOrdering ordering)
{
    const bool sameClass = WellKnownTypeOf<T>::value == WellKnownTypeValue::customType
                               ? source.typeInfo() != nullptr && *source.typeInfo() == typeid(T)
                               : source.wellKnownDataType() == WellKnownTypeOf<T>::value;
    if (!sameClass) {
        throw std::invalid_argument("Cannot reshape from data of another element type.");
    }
    // What the source fills is written once; a tail beyond it starts at the default.
    const std::size_t count = std::min<std::uint64_t>(elementCount(dimensions), source.numberAllocatedElements());
    OwnedStorage<VectorVariantData<T>> result(VectorVariantData<T>::createWritingFirst(count, dimensions, ordering));
    assignElements(result->elements(), static_cast<const T*>(source.constStoredData()), count);
    return result.release();
}

template <class T, class Derived>
IVariantData* ArrayVariantData<T, Derived>::reshapeToZVariant(const IVariantData* source,
                                                              ArrayDimensionsView dimensions,
                                                              DataOrdering ordering) const
{
    return reshapeIntoNewArray<T>(*source, dimensions, ordering);
}

}  // namespace Marlowen::Lum::Internal
