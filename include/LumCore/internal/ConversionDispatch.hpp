// Internal: compiled into callers through the public headers; carries no promise of stability.
// convertStoredElements: the conversion behind every storage object's
// convertDataTo, from elements of class From to a new object of the class a
// WellKnownType names. A refusal is a null result, never an exception.
//
// The classes the library knows (the 25 well-known ones and the custom
// classes of its element type list, std::string) go to the conversion matrix
// compiled into the library. Any other class, such as an application's class
// carried by a codec, is converted here, in the caller's own code, by the
// default-only rule: with at least one element, in Lossless mode, and when
// every element equals a default-constructed one, the result holds default
// values of the target class; otherwise it is refused.
// Such classes need a default constructor and operator==.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>

#include "LumCore/ArrayDimensionsView.hpp"
#include "LumCore/ConversionMode.hpp"
#include "LumCore/DataOrdering.hpp"
#include "LumCore/IVariantData.hpp"
#include "LumCore/VariantFactories.hpp"
#include "LumCore/WellKnownType.hpp"
#include "LumCore/internal/ElementTypeDispatch.hpp"
#include "LumCore/c/ElementTypeList.h"

namespace Marlowen::Lum::Internal {

// The custom classes whose conversions the library compiles itself.
template <class T>
struct IsLibraryCustomClass : std::false_type {
};
#define LUMCORE_LIBRARY_CUSTOM_CLASS_TRAIT(word, enumerator, code, Class) \
    template <>                                                           \
    struct IsLibraryCustomClass<Class> : std::true_type {                 \
    };
LUMCORE_LIBRARY_CUSTOM_CLASSES(LUMCORE_LIBRARY_CUSTOM_CLASS_TRAIT)
#undef LUMCORE_LIBRARY_CUSTOM_CLASS_TRAIT

// The source classes whose conversions the library compiles itself.
template <class T>
inline constexpr bool kConvertedByLibrary = kIsWellKnownElement<T> || IsLibraryCustomClass<T>::value;

// Inside the library: a new VectorVariantData<To> of the source's shape and
// ordering, or a new counted scalar of the target class; null on refusal.
template <class From>
IVariantData* convertArrayData(const IVariantData& source, WellKnownType target, ConversionMode mode);
template <class From>
IVariantData* convertScalarData(const From& value, WellKnownType target, ConversionMode mode);

// The default-only rule for a class the library does not know. The target is
// looked up first, so a code that names no class throws as it does for every
// other source.
template <class From>
IVariantData* convertCustomElements(const From* elements, std::uint64_t count, bool scalar,
                                    ArrayDimensionsView dimensions, DataOrdering ordering, WellKnownType target,
                                    ConversionMode mode)
{
    return dispatchElementType(target, [&](auto tag) -> IVariantData* {
        using To = typename decltype(tag)::type;
        if (count == 0 || mode != ConversionMode::Lossless) {
            return nullptr;
        }
        const From defaultValue{};
        for (std::uint64_t i = 0; i < count; ++i) {
            if (!(elements[i] == defaultValue)) {
                return nullptr;
            }
        }
        if (scalar) {
            return constructVariantScalar<To>(nullptr, 0, To{});
        }
        IVariantData* result = constructVariantVectorWithoutDataWithDimsUnresolved<To>(dimensions, ordering);
        if constexpr (std::is_arithmetic_v<To>) {
            // New numbers start uninitialised; the other classes start default.
            std::memset(result->mutableStoredData(), 0, static_cast<std::size_t>(count) * sizeof(To));
        }
        return result;
    });
}

template <class From>
IVariantData* convertStoredScalar(const From& value, WellKnownType target, ConversionMode mode)
{
    if constexpr (kConvertedByLibrary<From>) {
        return convertScalarData<From>(value, target, mode);
    } else {
        return convertCustomElements<From>(&value, 1, true, {}, DataOrdering::RowMajor, target, mode);
    }
}

// `source` holds elements of class From.
template <class From>
IVariantData* convertStoredArray(const IVariantData& source, WellKnownType target, ConversionMode mode)
{
    if constexpr (kConvertedByLibrary<From>) {
        return convertArrayData<From>(source, target, mode);
    } else {
        const ArrayDimensionsView dimensions = source.dimensions();
        return convertCustomElements<From>(static_cast<const From*>(source.constStoredData()), elementCount(dimensions),
                                           false, dimensions, source.dataOrdering(), target, mode);
    }
}

}  // namespace Marlowen::Lum::Internal
