// The flat variant functions. Each is a shell around guardedCall and one or
// two virtual operations of the storage object behind the handle.
#include <iterator>

#include "LumCore/Cbor.hpp"
#include "LumCore/ExternalVariantStorageInterface.hpp"
#include "LumCore/c/LumCoreFlat.h"
#include "LumCore/VariantFactories.hpp"
#include "LumCore/internal/ElementTypeDispatch.hpp"
#include "LumCore/internal/OwnedStorage.hpp"
#include "LumCore/internal/VectorVariantData.hpp"
#include "boundary/GuardedCall.hpp"
#include "variant/CountedShare.hpp"
#include "variant/NullVariantData.hpp"
#include "variant/StorageInstances.hpp"
#include "variant/VariantComparison.hpp"

namespace {

using namespace Marlowen::Lum;
using namespace Marlowen::Lum::Internal;

// A flat handle is the storage object's address, opaque to the caller.
IVariantData* storage(ZVariantData* handle) noexcept { return reinterpret_cast<IVariantData*>(handle); }
const IVariantData* storage(const ZVariantData* handle) noexcept { return reinterpret_cast<const IVariantData*>(handle); }

ZVariantData* handleOf(IVariantData* data) noexcept { return reinterpret_cast<ZVariantData*>(data); }

ArrayDimensionsView viewOf(ZArrayDimensions dimensions) noexcept
{
    return ArrayDimensionsView(dimensions.data, dimensions.size);
}

WellKnownType typeOf(ZWellKnownType code) noexcept { return WellKnownType::fromBits(code); }

}  // namespace

extern "C" {

LUM_API const char* ZWellKnownType_C_API_wordAt(size_t index, ZWellKnownType* code)
{
    struct Entry {
        ZWellKnownType code;
        const char* word;
    };
#define LUMCORE_WORD_ENTRY(word, enumerator, typeCode, Class) Entry{typeCode, #word},
    static constexpr Entry kEntries[] = {LUMCORE_TYPE_CODES(LUMCORE_WORD_ENTRY)};
#undef LUMCORE_WORD_ENTRY
    if (index >= std::size(kEntries)) {
        return nullptr;
    }
    *code = kEntries[index].code;
    return kEntries[index].word;
}

LUM_API ZVariantData* ZVariantData_C_API_constructNull(void) { return handleOf(flatNullVariant()); }

LUM_API ZVariantData* ZVariantData_C_API_constructScalar(ErrorRecord* error, const void* value, ZWellKnownType type)
{
    return guardedCall(error, [&] {
        return handleOf(dispatchElementType(typeOf(type), [&](auto tag) -> IVariantData* {
            using T = typename decltype(tag)::type;
            return new ScalarVariantDataRefCounted<T>(*static_cast<const T*>(value));
        }));
    });
}

LUM_API ZVariantData* ZVariantData_C_API_constructArray(ErrorRecord* error, const void* data, ZWellKnownType type,
                                                        size_t count, ZArrayDimensions dimensions,
                                                        ZDataOrdering ordering)
{
    return guardedCall(error, [&] {
        return handleOf(dispatchElementType(typeOf(type), [&](auto tag) {
            using T = typename decltype(tag)::type;
            return constructVariantVectorWithDataWithDimsUnresolved<T>(data, count, viewOf(dimensions),
                                                                       static_cast<DataOrdering>(ordering));
        }));
    });
}

LUM_API ZVariantData* ZVariantData_C_API_createWithAllocatedArray(ErrorRecord* error, ZWellKnownType type,
                                                                  ZArrayDimensions dimensions, ZDataOrdering ordering)
{
    return guardedCall(error, [&] {
        return handleOf(dispatchElementType(typeOf(type), [&](auto tag) {
            using T = typename decltype(tag)::type;
            return constructVariantVectorWithoutDataWithDimsUnresolved<T>(viewOf(dimensions),
                                                                          static_cast<DataOrdering>(ordering));
        }));
    });
}

LUM_API ZVariantData* ZVariantData_C_API_createWithExternalStorage(ErrorRecord* error,
                                                                   ZExternalVariantStorage* external)
{
    return guardedCall(error, [&] {
        return handleOf(constructVariantExternal(reinterpret_cast<ExternalVariantStorageInterface*>(external)));
    });
}

LUM_API ZVariantData* ZVariantData_C_API_constructText(ErrorRecord* error, const char* text, size_t size)
{
    return guardedCall(error, [&] {
        return handleOf(new ScalarVariantDataRefCounted<ZString>(ZString(size != 0 ? text : "", size)));
    });
}

LUM_API ZVariantData* ZVariantData_C_API_constructTextArray(ErrorRecord* error, const char* const* texts,
                                                            const size_t* sizes, size_t count,
                                                            ZArrayDimensions dimensions, ZDataOrdering ordering)
{
    return guardedCall(error, [&] {
        ArrayDimensionsView dims = viewOf(dimensions);
        if (dims.empty()) {
            dims = ArrayDimensionsView(&count, 1);
        } else if (elementCount(dims) != count) {
            throwDimensionsMismatch();
        }
        OwnedStorage<IVariantData> array(
            constructVariantVectorWithoutDataWithDimsUnresolved<ZString>(dims, static_cast<DataOrdering>(ordering)));
        auto* elements = static_cast<ZString*>(array->mutableStoredData());
        for (size_t i = 0; i < count; ++i) {
            if (sizes[i] != 0) {
                elements[i] = ZString(texts[i], sizes[i]);
            }
        }
        return handleOf(array.release());
    });
}

LUM_API const char* ZVariantData_C_API_textElementAt(ErrorRecord* error, const ZVariantData* handle, size_t index,
                                                     size_t* size)
{
    return guardedCall(error, [&] {
        const IVariantData& data = *storage(handle);
        const WellKnownType type = data.wellKnownDataType();
        if (type != WellKnownType::Value::string) {
            throw std::invalid_argument("Text elements are read from a string variant, not one of element type '" +
                                        std::string(type.toString()) + "'.");
        }
        const size_t count = data.numberAllocatedElements();
        if (index >= count) {
            throw std::out_of_range("Element " + std::to_string(index) + " is past the last of " +
                                    std::to_string(count) + " elements.");
        }
        const ZString& text = static_cast<const ZString*>(data.constStoredData())[index];
        *size = text.size();
        return text.c_str();
    });
}

LUM_API ZVariantData* ZVariantData_C_API_constructTransmuteComplexToRealVariant(ErrorRecord* error,
                                                                                ZVariantData* handle)
{
    return guardedCall(error, [&] { return handleOf(constructTransmuteComplexToRealVariant(storage(handle))); });
}

LUM_API ZVariantData* ZVariantData_C_API_constructTransmuteRealToComplexVariant(ErrorRecord* error,
                                                                                ZVariantData* handle)
{
    return guardedCall(error, [&] { return handleOf(constructTransmuteRealToComplexVariant(storage(handle))); });
}

// A handle into a ZVariant's own buffer (flatHandle() of an in-place scalar)
// is no share to hand on: the copy is a counted object of its own.
LUM_API ZVariantData* ZVariantData_C_API_copy(ErrorRecord* error, const ZVariantData* handle)
{
    return guardedCall(error, [&] { return handleOf(countedShare(*storage(handle))); });
}

LUM_API void ZVariantData_C_API_destruct(ErrorRecord* error, ZVariantData* handle)
{
    guardedCall(error, [&] {
        if (handle != nullptr) {
            storage(handle)->destruct();
        }
    });
}

LUM_API const void* ZVariantData_C_API_constStoredData(ErrorRecord* error, const ZVariantData* handle)
{
    return guardedCall(error, [&] { return storage(handle)->constStoredData(); });
}

LUM_API ZVariantData* ZVariantData_C_API_mutableStoredData(ErrorRecord* error, ZVariantData* handle, void** data)
{
    return guardedCall(error, [&] {
        IVariantData* own = storage(handle)->mutableInstance();
        *data = own->mutableStoredData();
        return handleOf(own);
    });
}

LUM_API ZVariantData* ZVariantData_C_API_convertDataTo(ErrorRecord* error, const ZVariantData* handle, ZWellKnownType target,
                                                       ZConversionMode mode)
{
    return guardedCall(error, [&] {
        const IVariantData* source = storage(handle);
        // The same type is a share: no rule runs and the mode is not read.
        if (source->wellKnownDataType() == typeOf(target)) {
            return handleOf(countedShare(*source));
        }
        return handleOf(source->convertDataTo(typeOf(target), static_cast<ConversionMode>(mode)));
    });
}

LUM_API ZDataOrdering ZVariantData_C_API_dataOrdering(ErrorRecord* error, const ZVariantData* handle)
{
    return guardedCall(error, [&] { return static_cast<ZDataOrdering>(storage(handle)->dataOrdering()); });
}

LUM_API ZArrayDimensions ZVariantData_C_API_dimensions(ErrorRecord* error, const ZVariantData* handle)
{
    return guardedCall(error, [&] {
        const ArrayDimensionsView view = storage(handle)->dimensions();
        return ZArrayDimensions{view.data(), view.size()};
    });
}

LUM_API bool ZVariantData_C_API_isEquivalentTo(ErrorRecord* error, const ZVariantData* lhs, const ZVariantData* rhs,
                                               ZConversionMode mode)
{
    return guardedCall(error,
                       [&] { return isEquivalentTo(*storage(lhs), *storage(rhs), static_cast<ConversionMode>(mode)); });
}

LUM_API bool ZVariantData_C_API_isIdenticalTo(ErrorRecord* error, const ZVariantData* lhs, const ZVariantData* rhs)
{
    return guardedCall(error, [&] { return isIdenticalTo(*storage(lhs), *storage(rhs)); });
}

LUM_API bool ZVariantData_C_API_isScalarStorage(ErrorRecord* error, const ZVariantData* handle)
{
    return guardedCall(error, [&] { return storage(handle)->isScalarStorage(); });
}

LUM_API size_t ZVariantData_C_API_numberAllocatedElements(ErrorRecord* error, const ZVariantData* handle)
{
    return guardedCall(error, [&] { return storage(handle)->numberAllocatedElements(); });
}

// The caller's reference is given up only once the reorder has succeeded.
LUM_API ZVariantData* ZVariantData_C_API_reorderData(ErrorRecord* error, ZVariantData* handle, ZDataOrdering ordering)
{
    return guardedCall(error, [&] {
        IVariantData* reordered = storage(handle)->reorderData(static_cast<DataOrdering>(ordering));
        storage(handle)->destruct();
        return handleOf(reordered);
    });
}

LUM_API void ZVariantData_C_API_reshapeNoRealloc(ErrorRecord* error, ZVariantData* handle, ZArrayDimensions dimensions)
{
    guardedCall(error, [&] { storage(handle)->reshapeNoRealloc(viewOf(dimensions)); });
}

// `source` is released only once the reshape has succeeded; the null
// variant answers null and still releases it.
LUM_API ZVariantData* ZVariantData_C_API_reshapeToZVariant(ErrorRecord* error, ZVariantData* handle,
                                                           ZVariantData* source, ZArrayDimensions dimensions,
                                                           ZDataOrdering ordering)
{
    return guardedCall(error, [&] {
        IVariantData* reshaped = storage(handle)->reshapeToZVariant(storage(source), viewOf(dimensions),
                                                                    static_cast<DataOrdering>(ordering));
        if (source != nullptr) {
            storage(source)->destruct();
        }
        return handleOf(reshaped);
    });
}

LUM_API ZWellKnownType ZVariantData_C_API_wellKnownDataType(ErrorRecord* error, const ZVariantData* handle)
{
    return guardedCall(error, [&] { return storage(handle)->wellKnownDataType().bits(); });
}

LUM_API ZVariantData* ZVariantData_C_API_encodeCbor(ErrorRecord* error, const ZVariantData* value)
{
    return guardedCall(error, [&] {
        const ZVariant held = ZVariant::adoptFlatHandle(handleOf(countedShare(*storage(value))));
        const ZVariant bytes = encodeCbor(held);
        return handleOf(countedShare(*bytes.storage().data()));
    });
}

LUM_API ZVariantData* ZVariantData_C_API_decodeCbor(ErrorRecord* error, const void* bytes, size_t size)
{
    return guardedCall(error, [&] {
        const ZVariant value = decodeCborVariant(bytes, size);
        return handleOf(countedShare(*value.storage().data()));
    });
}

}  // extern "C"
