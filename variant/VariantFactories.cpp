// The typed factories, instantiated and exported for every element class
// that callers may store.
#include "LumCore/VariantFactories.hpp"

#include <string>
#include <utility>

#include "LumCore/internal/ElementTypeDispatch.hpp"
#include "LumCore/c/ElementTypeList.h"
#include "LumCore/internal/ZVariantDirectStorage.hpp"
#include "variant/StorageInstances.hpp"

namespace Marlowen::Lum::Internal {

// The one test for buffer or heap: size alone, evaluated per call.
template <class T>
IVariantData* constructVariantScalar(void* buffer, std::size_t bufferSize, T value)
{
    if (bufferSize >= sizeof(ScalarVariantDataNonCounted<T>)) {
        return ::new (buffer) ScalarVariantDataNonCounted<T>(std::move(value));
    }
    return new ScalarVariantDataRefCounted<T>(std::move(value));
}

// Every instantiation of an exported factory is exported, so the library's
// own in-place moves go through this hidden helper instead.
template <class T>
IVariantData* emplaceUncountedScalar(void* buffer, T&& value)
{
    return ::new (buffer) ScalarVariantDataNonCounted<T>(std::move(value));
}

template <class T>
IVariantData* moveVariantScalar(void* buffer, std::size_t, T&& value)
{
    return emplaceUncountedScalar<T>(buffer, std::move(value));
}

IVariantData* copyConstructVariantScalar(void* buffer, std::size_t bufferSize, const ZVariantDirectStorage& source)
{
    const IVariantData& data = *source.data();
    return dispatchElementType(data.wellKnownDataType(), [&](auto tag) {
        using T = typename decltype(tag)::type;
        return constructVariantScalar<T>(buffer, bufferSize, *static_cast<const T*>(data.constStoredData()));
    });
}

IVariantData* moveConstructVariantScalar(void* buffer, std::size_t, ZVariantDirectStorage& source)
{
    IVariantData& data = *source.data();
    IVariantData* moved = dispatchElementType(data.wellKnownDataType(), [&](auto tag) {
        using T = typename decltype(tag)::type;
        return emplaceUncountedScalar<T>(buffer, std::move(*static_cast<T*>(data.mutableStoredData())));
    });
    source.release();
    return moved;
}

// An empty list stands for one dimension of `count` elements; any other list
// must describe exactly `count` elements.
template <class T>
IVariantData* constructVariantVectorWithDataWithDimsUnresolved(const void* data, std::size_t count,
                                                               ArrayDimensionsView dimensions, DataOrdering ordering)
{
    if (dimensions.empty() && count != 0) {
        dimensions = ArrayDimensionsView(&count, 1);
    }
    if (elementCount(dimensions) != count) {
        throwDimensionsMismatch();
    }
    return VectorVariantData<T>::createWithData(static_cast<const T*>(data), count, dimensions, ordering);
}

template <class T>
IVariantData* constructVariantVectorWithoutDataWithDimsUnresolved(ArrayDimensionsView dimensions, DataOrdering ordering)
{
    return VectorVariantData<T>::create(dimensions, ordering);
}

template <class T>
IVariantData* constructVariantDataFromMovedVector(std::vector<T> data, ArrayDimensionsView dimensions,
                                                  DataOrdering ordering)
{
    return new StdVectorVariantData<T>(std::move(data), dimensions, ordering);
}

#define LUMCORE_INSTANTIATE_SCALAR_AND_ARRAY_FACTORIES(word, enumerator, code, T)                              \
    template LUM_API IVariantData* constructVariantScalar<T>(void*, std::size_t, T);                           \
    template LUM_API IVariantData* constructVariantVectorWithDataWithDimsUnresolved<T>(                        \
        const void*, std::size_t, ArrayDimensionsView, DataOrdering);                                          \
    template LUM_API IVariantData* constructVariantVectorWithoutDataWithDimsUnresolved<T>(ArrayDimensionsView, \
                                                                                          DataOrdering);
#define LUMCORE_INSTANTIATE_MOVE_FACTORY(word, enumerator, code, T) \
    template LUM_API IVariantData* moveVariantScalar<T>(void*, std::size_t, T&&);
#define LUMCORE_INSTANTIATE_MOVED_VECTOR_FACTORY(word, enumerator, code, T)                                    \
    template LUM_API IVariantData* constructVariantDataFromMovedVector<T>(std::vector<T>, ArrayDimensionsView, \
                                                                          DataOrdering);

LUMCORE_ELEMENT_TYPES(LUMCORE_INSTANTIATE_SCALAR_AND_ARRAY_FACTORIES)

// Moved scalars: every class the library stores but ZString, whose place
// std::string takes (a std::string scalar has no other factory).
LUMCORE_ELEMENT_TYPE_BOOL(LUMCORE_INSTANTIATE_MOVE_FACTORY)
LUMCORE_ELEMENT_TYPES_BUT_BOOL_AND_STRING(LUMCORE_INSTANTIATE_MOVE_FACTORY)
LUMCORE_LIBRARY_CUSTOM_CLASSES(LUMCORE_INSTANTIATE_MOVE_FACTORY)

// Adopted vectors: every element class but bool, as std::vector<bool> does
// not hold one element per byte.
LUMCORE_ELEMENT_TYPES_BUT_BOOL_AND_STRING(LUMCORE_INSTANTIATE_MOVED_VECTOR_FACTORY)
LUMCORE_ELEMENT_TYPE_STRING(LUMCORE_INSTANTIATE_MOVED_VECTOR_FACTORY)

}  // namespace Marlowen::Lum::Internal
