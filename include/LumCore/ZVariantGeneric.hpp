// ZVariantGeneric: the operations ZVariant and ZVariantAbi share, written
// once over a storage front, and ZVariantIterable, the elements of either as
// a range of one class. Include LumCore/ZVariant.hpp or LumCore/ZVariantAbi.hpp
// for the value classes themselves.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

#include "LumCore/ArrayDimensionsView.hpp"
#include "LumCore/ConversionMode.hpp"
#include "LumCore/DataOrdering.hpp"
#include "LumCore/c/Export.h"
#include "LumCore/WellKnownType.hpp"
#include "LumCore/ZString.hpp"
#include "LumCore/internal/ElementTypeName.hpp"

namespace Marlowen::Lum {

namespace Internal {
class ZVariantDirectStorage;
class ZVariantDataSharable;
class ExternalVariantStorageInterface;
}  // namespace Internal

template <class T, class Storage>
class ZVariantIterable;
template <class Storage>
class ZVariantGeneric;

namespace Internal {

// The classes a ZVariant may carry as custom data: any class of the
// application's, but not the variant itself, nor what the library stores in
// a form of its own (text).
template <class T>
struct IsZVariantGeneric : std::false_type {
};
template <class Storage>
struct IsZVariantGeneric<ZVariantGeneric<Storage>> : std::true_type {
};

template <class T>
inline constexpr bool kIsCustomElement =
    std::is_class_v<T> && !kIsWellKnownElement<T> && !std::is_same_v<T, std::string> &&
    !std::is_convertible_v<const T&, ZString> && !IsZVariantGeneric<T>::value;

// The type code a value of T reports. void is the null variant's unknown;
// custom classes have no code of their own and also expect unknown here.
template <class T>
constexpr WellKnownType expectedTypeOf() noexcept
{
    if constexpr (kIsWellKnownElement<T>) {
        return WellKnownTypeOf<T>::value;
    } else {
        return WellKnownTypeValue::unknown;
    }
}

}  // namespace Internal

template <class Storage>
class ZVariantGeneric {
public:
    // ---- Construction ------------------------------------------------------

    // The null variant.
    ZVariantGeneric() = default;

    // A scalar.
    template <class T, std::enable_if_t<Internal::kIsWellKnownElement<T>, int> = 0>
    ZVariantGeneric(const T& value) : m_storage(Storage::template scalar<T>(value))
    {
    }

    // An array holding copies of `count` elements. An empty list of
    // dimensions stands for one dimension of `count`.
    template <class T, std::enable_if_t<Internal::kIsWellKnownElement<T>, int> = 0>
    ZVariantGeneric(const T* data, std::size_t count, ArrayDimensionsView dimensions = {},
                    DataOrdering ordering = DataOrdering::RowMajor)
        : m_storage(Storage::template array<T>(data, count, dimensions, ordering))
    {
    }

    // An array that adopts the vector's block, with no copy (ZVariant only).
    template <class T, std::enable_if_t<Internal::kIsWellKnownElement<T> && !std::is_same_v<T, bool>, int> = 0>
    ZVariantGeneric(std::vector<T>&& data, ArrayDimensionsView dimensions = {},
                    DataOrdering ordering = DataOrdering::RowMajor)
        : m_storage(Storage::template movedVector<T>(std::move(data), dimensions, ordering))
    {
    }

    // A scalar of an application's class, carried as custom data (ZVariant
    // only). The class needs a default constructor and operator==: values
    // compare by it, and convert to another type only when equal to the
    // default (see ConversionDispatch.hpp). Explicit, so that nothing becomes
    // custom data by accident.
    template <
        class T, class S = Storage,
        std::enable_if_t<std::is_same_v<S, Internal::ZVariantDirectStorage> && Internal::kIsCustomElement<T>, int> = 0>
    explicit ZVariantGeneric(T value) : m_storage(Storage::customScalar(std::move(value)))
    {
    }

    // An array of an application's class that adopts the vector's block, with
    // no copy (ZVariant only).
    template <
        class T, class S = Storage,
        std::enable_if_t<std::is_same_v<S, Internal::ZVariantDirectStorage> && Internal::kIsCustomElement<T>, int> = 0>
    ZVariantGeneric(std::vector<T>&& data, ArrayDimensionsView dimensions = {},
                    DataOrdering ordering = DataOrdering::RowMajor)
        : m_storage(Storage::customMovedVector(std::move(data), dimensions, ordering))
    {
    }

    // A variant over memory the caller owns; see ExternalVariantStorageInterface.
    explicit ZVariantGeneric(Internal::ExternalVariantStorageInterface* storage) : m_storage(Storage::external(storage))
    {
    }

    // A new array of T in the given shape, to be written through
    // mutableStoredData(): numbers start uninitialised, others default.
    template <class T>
    [[nodiscard]] static ZVariantGeneric allocate(ArrayDimensionsView dimensions,
                                                  DataOrdering ordering = DataOrdering::RowMajor)
    {
        static_assert(Internal::kIsWellKnownElement<T>, "arrays are made of the well-known element classes");
        if constexpr (std::is_same_v<Storage, Internal::ZVariantDataSharable>) {
            return ZVariantGeneric(Storage::allocatedArray(WellKnownTypeOf<T>::value, dimensions, ordering));
        } else {
            return ZVariantGeneric(Storage::template allocatedArray<T>(dimensions, ordering));
        }
    }

    ZVariantGeneric(const ZVariantGeneric&) = default;
    ZVariantGeneric(ZVariantGeneric&&) = default;
    ZVariantGeneric& operator=(const ZVariantGeneric&) = default;
    ZVariantGeneric& operator=(ZVariantGeneric&&) = default;
    ~ZVariantGeneric() = default;

    // ---- Queries -----------------------------------------------------------

    [[nodiscard]] WellKnownType wellKnownDataType() const { return m_storage.wellKnownDataType(); }
    [[nodiscard]] ArrayDimensionsView dimensions() const { return m_storage.dimensions(); }
    [[nodiscard]] DataOrdering dataOrdering() const { return m_storage.dataOrdering(); }
    [[nodiscard]] bool isScalarStorage() const { return m_storage.isScalarStorage(); }
    [[nodiscard]] std::size_t numberAllocatedElements() const { return m_storage.numberAllocatedElements(); }
    [[nodiscard]] const void* constStoredData() const { return m_storage.constStoredData(); }
    // The element class's identity; always null on ZVariantAbi, whose flat
    // interface has none to give.
    [[nodiscard]] const std::type_info* typeInfo() const { return m_storage.typeInfo(); }

    // ---- Writing and reshaping ---------------------------------------------

    // Makes this value the only holder of its storage, copying it if it was
    // shared, and returns the writable elements.
    [[nodiscard]] void* mutableStoredData() { return m_storage.mutableStoredData(); }
    // Stores the elements in `ordering`; other holders keep the old storage.
    void reorderData(DataOrdering ordering) { m_storage.reorderData(ordering); }
    // A new shape over the same elements, for the only holder.
    void reshapeNoRealloc(ArrayDimensionsView dimensions) { m_storage.reshapeNoRealloc(dimensions); }
    // A new array of the given shape, its first elements taken from this one.
    void reshapeToZVariant(ArrayDimensionsView dimensions, DataOrdering ordering = DataOrdering::RowMajor)
    {
        m_storage.reshapeToZVariant(dimensions, ordering);
    }

    // ---- Views ---------------------------------------------------------------

    // The elements read as complex numbers, each made of two neighbours in
    // storage (the fastest-varying extent halves), with no copy. The first
    // write through the view makes a private plain array.
    [[nodiscard]] ZVariantGeneric viewRealAsComplex() const
    {
        return ZVariantGeneric(m_storage.transmuteRealToComplex());
    }
    // The elements read as real and imaginary parts (the fastest-varying
    // extent doubles), with no copy.
    [[nodiscard]] ZVariantGeneric viewComplexAsReal() const
    {
        return ZVariantGeneric(m_storage.transmuteComplexToReal());
    }

    // ---- Comparison --------------------------------------------------------

    // Same numbers across element types and orderings.
    [[nodiscard]] bool isEquivalentTo(const ZVariantGeneric& other, ConversionMode mode = ConversionMode::Cast) const
    {
        return m_storage.isEquivalentTo(other.m_storage, mode);
    }
    // Same type, shape, ordering, storage kind and elements.
    [[nodiscard]] bool isIdenticalTo(const ZVariantGeneric& other) const
    {
        return m_storage.isIdenticalTo(other.m_storage);
    }
    friend bool operator==(const ZVariantGeneric& a, const ZVariantGeneric& b) { return a.isEquivalentTo(b); }
    friend bool operator!=(const ZVariantGeneric& a, const ZVariantGeneric& b) { return !a.isEquivalentTo(b); }

    // ---- Typed access ------------------------------------------------------

    // Whether the elements are of class T; holds<void>() tests for the null
    // variant. A custom class is told by its type identity. On ZVariantAbi,
    // which has no identity to ask for, a value holding custom data answers
    // false for every T.
    template <class T>
    [[nodiscard]] bool holds() const
    {
        const WellKnownType type = wellKnownDataType();
        if (type == WellKnownType(Internal::WellKnownTypeValue::customType)) {
            const std::type_info* identity = typeInfo();
            if constexpr (std::is_void_v<T>) {
                return false;
            } else {
                return identity != nullptr && *identity == typeid(T);
            }
        }
        return type == Internal::expectedTypeOf<T>();
    }

    [[nodiscard]] bool isNull() const { return holds<void>(); }

    // No elements: an empty list or a zero extent.
    [[nodiscard]] static bool isEmpty(ArrayDimensionsView dimensions) noexcept { return elementCount(dimensions) == 0; }

    // Exactly one element, in any number of dimensions of extent 1.
    [[nodiscard]] static bool isSingleElement(ArrayDimensionsView dimensions) noexcept
    {
        if (elementCount(dimensions) == 0) {
            return false;
        }
        for (std::size_t extent : dimensions) {
            if (extent != 1) {
                return false;
            }
        }
        return true;
    }

    // The element at a linear index in storage order; no conversion.
    template <class T>
    [[nodiscard]] const T& elementAt(std::uint64_t index) const
    {
        if (holds<void>()) {
            throw std::invalid_argument("Cannot access element of null variant.");
        }
        if (!holds<T>()) {
            throw std::invalid_argument("Wrong data type.");
        }
        if (index >= elementCount(dimensions())) {
            throw std::out_of_range("Indices out of bounds.");
        }
        return static_cast<const T*>(constStoredData())[index];
    }

    // The elements as T, or null when they are of another class.
    template <class T>
    [[nodiscard]] const T* getIf() const
    {
        return holds<T>() ? static_cast<const T*>(constStoredData()) : nullptr;
    }

    // A new value with the elements converted; the same storage for the same
    // type. Throws std::runtime_error with the cannot-convert message when
    // `mode` refuses.
    [[nodiscard]] ZVariantGeneric convertTo(WellKnownType target, ConversionMode mode = ConversionMode::Cast) const
    {
        ZVariantGeneric result;
        Storage converted = m_storage.convertDataTo(target, mode);
        if (!converted.refused()) {
            result = ZVariantGeneric(std::move(converted));
        }
        if (!result.template holds<void>()) {
            return result;
        }
        throw std::runtime_error(cannotConvertMessage(Internal::elementTypeName(target)));
    }

    template <class T>
    [[nodiscard]] ZVariantGeneric convertTo(ConversionMode mode = ConversionMode::Cast) const
    {
        return convertTo(WellKnownTypeOf<T>::value, mode);
    }

    // Reads the value as one T, converting if needed. False for the null
    // variant, for anything but one element, and when `mode` refuses; `out`
    // is then left as it was.
    template <class T>
    bool tryGet(T& out, ConversionMode mode = ConversionMode::Cast) const
    {
        if (holds<void>()) {
            return false;
        }
        if (!isScalarStorage() && !isSingleElement(dimensions())) {
            return false;
        }
        // holds, not a comparison of codes: all custom classes share one code,
        // and only the identity tells them apart.
        if (holds<T>()) {
            out = *static_cast<const T*>(constStoredData());
            return true;
        }
        if (!Internal::kIsWellKnownElement<T>) {
            return false;  // custom data converts to no other class
        }
        Storage converted = m_storage.convertDataTo(WellKnownTypeOf<T>::value, mode);
        if (converted.refused()) {
            return false;
        }
        const ZVariantGeneric value(std::move(converted));
        if (value.template holds<void>()) {
            return false;
        }
        out = *static_cast<const T*>(value.constStoredData());
        return true;
    }

    // The value as one T; throws std::runtime_error with the cannot-convert
    // message when tryGet would answer false.
    template <class T>
    [[nodiscard]] T as(ConversionMode mode = ConversionMode::Cast) const
    {
        T value{};
        if (tryGet(value, mode)) {
            return value;
        }
        throw std::runtime_error(cannotConvertMessage(Internal::typeNameOf<T>()));
    }

    // The elements as a range of T in storage order, converted once if they
    // are of another class; shares the storage when they are not.
    template <class T>
    [[nodiscard]] ZVariantIterable<T, Storage> iterable(ConversionMode mode = ConversionMode::Cast) const
    {
        return ZVariantIterable<T, Storage>(*this, mode);
    }

    [[nodiscard]] const Storage& storage() const noexcept { return m_storage; }

    // The handle behind this value, for the flat functions (the DLPack export
    // of LumCore/c/DLPackTensor.h among them); it stays this value's.
    [[nodiscard]] ZVariantData* flatHandle() const noexcept { return m_storage.handle(); }
    // A value that takes over one reference to a handle that a flat function
    // returned (a DLPack import, say).
    [[nodiscard]] static ZVariantGeneric adoptFlatHandle(ZVariantData* handle) noexcept
    {
        return ZVariantGeneric(Storage::adoptHandle(handle));
    }

private:
    template <class, class>
    friend class ZVariantIterable;

    explicit ZVariantGeneric(Storage&& storage) : m_storage(std::move(storage)) {}

    // "Cannot convert <class> of type '<source>' (size: <n>) to '<target>'".
    // The source is named first: naming a custom or null source throws.
    [[nodiscard]] std::string cannotConvertMessage(const ZString& targetName) const
    {
        const ZString sourceName = Internal::elementTypeName(wellKnownDataType());
        std::string message("Cannot convert ");
        message += Internal::normaliseTypeName(Storage::kClassName, 0);
        message += " of type '";
        message.append(sourceName.data(), sourceName.size());
        message += "' (size: ";
        message += std::to_string(elementCount(dimensions()));
        message += ") to '";
        message.append(targetName.data(), targetName.size());
        message += "'";
        return message;
    }

    Storage m_storage;
};

// The elements of a variant as a read-only range of T. It holds its own
// value of element class T, which keeps the elements alive; for a scalar
// held in place the range points into that value's buffer, so a container is
// made where it is used and is never copied or moved.
template <class T, class Storage>
class ZVariantIterable {
public:
    using value_type = T;
    using const_iterator = const T*;
    using iterator = const T*;

    ZVariantIterable(const ZVariantGeneric<Storage>& source, ConversionMode mode)
        : m_variant(source.template convertTo<T>(mode))
    {
        const ArrayDimensionsView dims = m_variant.dimensions();
        if (!m_variant.template holds<T>() && !ZVariantGeneric<Storage>::isEmpty(dims)) {
            throw std::runtime_error("Data type mismatch, cannot provide iterable container");
        }
        const std::uint64_t count = elementCount(dims);
        if (count != 0) {
            m_begin = &m_variant.template elementAt<T>(0);
            m_end = &m_variant.template elementAt<T>(count - 1) + 1;
        }
    }

    ZVariantIterable(const ZVariantIterable&) = delete;
    ZVariantIterable& operator=(const ZVariantIterable&) = delete;

    [[nodiscard]] const T* begin() const noexcept { return m_begin; }
    [[nodiscard]] const T* end() const noexcept { return m_end; }
    [[nodiscard]] std::size_t size() const noexcept { return static_cast<std::size_t>(m_end - m_begin); }
    [[nodiscard]] bool empty() const noexcept { return m_begin == m_end; }
    const T& operator[](std::size_t i) const noexcept { return m_begin[i]; }
    [[nodiscard]] const ZVariantGeneric<Storage>& variant() const noexcept { return m_variant; }

private:
    ZVariantGeneric<Storage> m_variant;
    const T* m_begin = nullptr;
    const T* m_end = nullptr;
};

// The value's one-line text (its PrintTo) on a stream: std::cout << v. A
// template, so that nothing converts to a variant to be printed.
template <class Storage>
std::ostream& operator<<(std::ostream& out, const ZVariantGeneric<Storage>& value)
{
    PrintTo(value, &out);
    return out;
}

}  // namespace Marlowen::Lum
