// The typed factories of variant storage, exported from the library.
//
// They take standard-library types and so serve callers built against the
// same standard library (ZVariant); other modules use the flat functions.
// Each returns an IVariantData* of which the caller owns a reference, or an
// object built in the caller's buffer (compare the result with the buffer).
//
//     alignas(void*) unsigned char buffer[32];
//     IVariantData* v = constructVariantScalar<double>(buffer, sizeof buffer, 1.5);  // == buffer
//     std::vector<size_t> dims{2, 3};
//     IVariantData* a = constructVariantVectorWithDataWithDimsUnresolved<int32_t>(
//         values, 6, ArrayDimensionsView(dims), DataOrdering::RowMajor);
#pragma once

#include <cstddef>
#include <vector>

#include "LumCore/internal/SameRuntime.hpp"
#include "LumCore/ArrayDimensionsView.hpp"
#include "LumCore/DataOrdering.hpp"
#include "LumCore/c/Export.h"
#include "LumCore/IVariantData.hpp"

namespace Marlowen::Lum::Internal {

class ZVariantDirectStorage;
class ExternalVariantStorageInterface;

// A scalar in `buffer` when an uncounted scalar object of T fits
// `bufferSize` bytes, otherwise a counted scalar on the heap.
template <class T>
LUM_API IVariantData* constructVariantScalar(void* buffer, std::size_t bufferSize, T value);

// Always an uncounted scalar in `buffer`; the buffer must be large enough.
template <class T>
LUM_API IVariantData* moveVariantScalar(void* buffer, std::size_t bufferSize, T&& value);

// The source's scalar value, made as constructVariantScalar would.
LUM_API IVariantData* copyConstructVariantScalar(void* buffer, std::size_t bufferSize,
                                                 const ZVariantDirectStorage& source);
// The source's scalar value moved into `buffer`; the source is left empty.
LUM_API IVariantData* moveConstructVariantScalar(void* buffer, std::size_t bufferSize, ZVariantDirectStorage& source);

// A new array holding copies of `count` elements at `data`. An empty list of
// dimensions stands for [count]; otherwise the list must describe `count`
// elements, or std::length_error "dimensions do not match data length".
template <class T>
LUM_API IVariantData* constructVariantVectorWithDataWithDimsUnresolved(const void* data, std::size_t count,
                                                                       ArrayDimensionsView dimensions,
                                                                       DataOrdering ordering);

// A new array of elementCount(dimensions) elements, to be filled through
// mutableStoredData().
template <class T>
LUM_API IVariantData* constructVariantVectorWithoutDataWithDimsUnresolved(ArrayDimensionsView dimensions,
                                                                          DataOrdering ordering);

// An array that adopts the vector's block; no element is copied.
template <class T>
LUM_API IVariantData* constructVariantDataFromMovedVector(std::vector<T> data, ArrayDimensionsView dimensions,
                                                          DataOrdering ordering);

// The null storage: a static object of its own, never freed, whose copy and
// release do nothing. It reports the type unknown and no dimensions.
LUM_API IVariantData* constructVariantNull();

// A variant over caller-owned memory (see ExternalVariantStorageInterface).
LUM_API IVariantData* constructVariantExternal(ExternalVariantStorageInterface* storage);

// Views of a real array as complex (pairs of neighbours) and of a complex
// array as real, with no copy. They take over the caller's reference to
// `inner`, unless they throw.
LUM_API IVariantData* constructTransmuteRealToComplexVariant(IVariantData* inner);
LUM_API IVariantData* constructTransmuteComplexToRealVariant(IVariantData* inner);

}  // namespace Marlowen::Lum::Internal
