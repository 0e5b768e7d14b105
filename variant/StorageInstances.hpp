// The storage classes of the element classes the library knows, compiled
// once in StorageInstances.cpp. Every other file of the library includes the
// storage classes through this header, so that it does not instantiate them
// again.
#pragma once

#include <string>

#include "LumCore/c/ElementTypeList.h"
#include "LumCore/internal/ScalarVariantData.hpp"
#include "LumCore/internal/VectorVariantData.hpp"

#ifndef LUMCORE_STORAGE_INSTANCE
#define LUMCORE_STORAGE_INSTANCE extern template
#endif

// Scalars of every class, both forms.
#define LUMCORE_SCALAR_STORAGE_INSTANCES(word, enumerator, code, T)                 \
    LUMCORE_STORAGE_INSTANCE class ScalarVariantData<T, IVariantDataRefCounted>;    \
    LUMCORE_STORAGE_INSTANCE class ScalarVariantDataRefCounted<T>;                  \
    LUMCORE_STORAGE_INSTANCE class ScalarVariantData<T, IVariantDataNonRefCounted>; \
    LUMCORE_STORAGE_INSTANCE class ScalarVariantDataNonCounted<T>;
// Arrays in one block, of every element class.
#define LUMCORE_ARRAY_STORAGE_INSTANCES(word, enumerator, code, T)            \
    LUMCORE_STORAGE_INSTANCE class ArrayVariantData<T, VectorVariantData<T>>; \
    LUMCORE_STORAGE_INSTANCE class VectorVariantData<T>;
// Adopted vectors, of every element class but bool.
#define LUMCORE_ADOPTED_STORAGE_INSTANCES(word, enumerator, code, T)             \
    LUMCORE_STORAGE_INSTANCE class ArrayVariantData<T, StdVectorVariantData<T>>; \
    LUMCORE_STORAGE_INSTANCE class StdVectorVariantData<T>;

namespace Marlowen::Lum::Internal {
LUMCORE_ELEMENT_TYPES(LUMCORE_SCALAR_STORAGE_INSTANCES)
LUMCORE_LIBRARY_CUSTOM_CLASSES(LUMCORE_SCALAR_STORAGE_INSTANCES)
LUMCORE_ELEMENT_TYPES(LUMCORE_ARRAY_STORAGE_INSTANCES)
LUMCORE_ELEMENT_TYPES_BUT_BOOL_AND_STRING(LUMCORE_ADOPTED_STORAGE_INSTANCES)
LUMCORE_ELEMENT_TYPE_STRING(LUMCORE_ADOPTED_STORAGE_INSTANCES)
}  // namespace Marlowen::Lum::Internal
