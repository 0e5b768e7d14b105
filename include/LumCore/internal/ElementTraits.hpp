// Internal: compiled into callers through the public headers; carries no promise of stability.
// What the storage classes need to know about an element class: its type
// code, the operations of a custom class, and whether a block copy will do.
#pragma once

#include <cstring>
#include <string>
#include <type_traits>

#include "LumCore/IVariantData.hpp"
#include "LumCore/WellKnownType.hpp"

namespace Marlowen::Lum::Internal {

// Custom element classes compare through a per-class record; well-known ones
// have none.
template <class T>
const CustomTypeOperations* customOperationsOf() noexcept
{
    if constexpr (WellKnownTypeOf<T>::value == WellKnownTypeValue::customType) {
        static const CustomTypeOperations s_operations{[](const void* lhs, const void* rhs, std::size_t count, bool) {
            const T* left = static_cast<const T*>(lhs);
            const T* right = static_cast<const T*>(rhs);
            for (std::size_t i = 0; i < count; ++i) {
                if (!(left[i] == right[i])) {
                    return false;
                }
            }
            return true;
        }};
        return &s_operations;
    } else {
        return nullptr;
    }
}

// Elements of these classes are copied as raw bytes.
template <class T>
inline constexpr bool kCopiedAsBlock = std::is_trivially_copyable_v<T>;

// Copies `count` elements in storage order into constructed destinations.
template <class T>
void assignElements(T* destination, const T* source, std::size_t count)
{
    if constexpr (kCopiedAsBlock<T>) {
        if (count != 0) {
            std::memcpy(static_cast<void*>(destination), source, count * sizeof(T));
        }
    } else {
        for (std::size_t i = 0; i < count; ++i) {
            destination[i] = source[i];
        }
    }
}

}  // namespace Marlowen::Lum::Internal
