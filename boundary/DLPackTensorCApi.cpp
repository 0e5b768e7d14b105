// The flat DLPack functions: variants out as managed tensors that hold a
// share, tensors in as variants over the producer's memory.
#include <algorithm>
#include <complex>
#include <cstdint>
#include <iterator>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "LumCore/ArrayIndexing.hpp"
#include "LumCore/c/DLPackTensor.h"
#include "boundary/GuardedCall.hpp"
#include "variant/ArrayCopies.hpp"
#include "variant/CountedShare.hpp"
#include "variant/DLPackVariantData.hpp"
#include "variant/ExternalVariantStorageAdaptor.hpp"
#include "variant/TransmuteComplexToRealVariant.hpp"
#include "variant/TransmuteRealToComplexVariant.hpp"

namespace {

using namespace Marlowen::Lum;
using namespace Marlowen::Lum::Internal;

static_assert(sizeof(void*) != 8 || (sizeof(ZDLTensor) == 48 && sizeof(ZDLManagedTensor) == 64 &&
                                     sizeof(ZDLManagedTensorVersioned) == 80),
              "the DLPack structures keep the published layout");

// How an element class travels in DLPack: its data type, and whether each
// element goes as a pair of parts along an extra trailing dimension.
struct DLPackElement {
    bool mapped = false;
    std::uint8_t code = 0;
    std::uint8_t bits = 0;
    bool pairs = false;
};

template <class T>
struct ComplexPart {
    using type = void;
};
template <class Part>
struct ComplexPart<std::complex<Part>> {
    using type = Part;
};
template <class Part>
struct ComplexPart<Complex<Part>> {
    using type = Part;
};

template <class T>
constexpr DLPackElement dlpackElementOf()
{
    using Part = typename ComplexPart<T>::type;
    constexpr auto bitsOf = [](std::size_t bytes) { return static_cast<std::uint8_t>(bytes * 8); };
    if constexpr (std::is_same_v<T, bool>) {
        return {true, ZDLDataTypeCode_Bool, 8, false};
    } else if constexpr (std::is_integral_v<T>) {
        return {true, std::is_signed_v<T> ? ZDLDataTypeCode_Int : ZDLDataTypeCode_UInt, bitsOf(sizeof(T)), false};
    } else if constexpr (std::is_floating_point_v<T>) {
        return {true, ZDLDataTypeCode_Float, bitsOf(sizeof(T)), false};
    } else if constexpr (std::is_floating_point_v<Part>) {
        return {true, ZDLDataTypeCode_Complex, bitsOf(sizeof(T)), false};
    } else if constexpr (std::is_integral_v<Part> && !std::is_same_v<Part, bool>) {
        DLPackElement part = dlpackElementOf<Part>();
        part.pairs = true;
        return part;
    } else {
        return {};
    }
}

DLPackElement dlpackElementFor(WellKnownType type)
{
    if (type == WellKnownTypeValue::unknown || type == WellKnownTypeValue::customType) {
        return {};
    }
    return dispatchElementType(type, [](auto tag) {
        using T = typename decltype(tag)::type;
        return dlpackElementOf<T>();
    });
}

// The element type a tensor's data type names directly, or unknown.
WellKnownType elementTypeOf(ZDLDataType dtype)
{
    WellKnownType found;
    if (dtype.lanes != 1) {
        return found;
    }
#define LUMCORE_DLPACK_MATCH(word, enumerator, typeCode, Class)                                             \
    {                                                                                                       \
        constexpr DLPackElement element = dlpackElementOf<Class>();                                         \
        if (element.mapped && !element.pairs && element.code == dtype.code && element.bits == dtype.bits) { \
            found = WellKnownTypeValue::enumerator;                                                         \
        }                                                                                                   \
    }
    LUMCORE_ELEMENT_TYPES(LUMCORE_DLPACK_MATCH)
#undef LUMCORE_DLPACK_MATCH
    return found;
}

// The stride in elements of dimension `i` when `dims` lie densely in the
// given ordering, as tensors state it both ways.
std::uint64_t denseStride(std::size_t i, ArrayDimensionsView dims, bool rowMajor)
{
    return rowMajor ? ArrayIndexing::CalculateDimStrideRowMajor(i, dims)
                    : ArrayIndexing::CalculateDimStrideColumnMajor(i, dims);
}

// ---- Export ------------------------------------------------------------------

// Whether `data` reads memory that a caller lent and may take back.
bool readsLentMemory(const IVariantData& data)
{
    if (dynamic_cast<const ExternalVariantStorageAdaptor*>(&data) != nullptr) {
        return true;
    }
    if (const auto* view = dynamic_cast<const TransmuteComplexToRealVariant*>(&data)) {
        return readsLentMemory(view->inner());
    }
    if (const auto* view = dynamic_cast<const TransmuteRealToComplexVariant*>(&data)) {
        return readsLentMemory(view->inner());
    }
    return false;
}

// The object a tensor may hold for as long as its consumer likes: a share of
// `source`, or a copy where `source` reads memory lent to it.
const IVariantData* holdForExport(const IVariantData& source, bool& copied)
{
    const bool lent = readsLentMemory(source);
    copied = lent || isUncountedScalar(source);
    // Lent memory is read only through counted objects (adaptors and views).
    return lent ? static_cast<const IVariantDataRefCounted&>(source).clone() : countedShare(source);
}

// One block per exported tensor: the managed structure the consumer sees
// (first, so that its address is the block's), the share it holds, and the
// extents its tensor points at.
template <class Managed>
struct ExportedTensor {
    Managed managed{};
    const IVariantData* share = nullptr;
    // Extents and strides: in the block for arrays of a few dimensions, so
    // that a handover makes one allocation.
    std::int64_t fewExtents[2 * 8 + 2] = {};
    std::vector<std::int64_t> moreExtents;

    std::int64_t* shapeAndStrides(std::size_t ndim)
    {
        if (2 * ndim + 2 <= std::size(fewExtents)) {
            return fewExtents;
        }
        moreExtents.assign(2 * ndim + 2, 0);
        return moreExtents.data();
    }

    ExportedTensor() = default;
    ExportedTensor(const ExportedTensor&) = delete;
    ~ExportedTensor()
    {
        if (share != nullptr) {
            share->destruct();
        }
    }

    static void deleter(Managed* self) noexcept { delete static_cast<ExportedTensor*>(self->manager_ctx); }
};

std::int64_t asExtent(std::uint64_t extent)
{
    if (extent > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        throw std::length_error("An extent is too large for a DLPack tensor.");
    }
    return static_cast<std::int64_t>(extent);
}

template <class Managed>
Managed* exportTensor(ZVariantData* handle, bool& copied)
{
    const IVariantData& source = *reinterpret_cast<const IVariantData*>(handle);
    const WellKnownType type = source.wellKnownDataType();
    const DLPackElement element = dlpackElementFor(type);
    if (!element.mapped) {
        throw std::invalid_argument("A variant of element type '" + std::string(type.toString()) +
                                    "' has no DLPack data type.");
    }
    const ArrayDimensionsView sourceDims = source.dimensions();
    if (!shapeFitsIn(sourceDims, source.numberAllocatedElements())) {
        throwDimensionsMismatch();
    }
    // A scalar has no dimensions, and an array without any (which holds
    // nothing) one of 0; a pair of parts has one more.
    const bool scalar = source.isScalarStorage();
    const std::size_t rank = scalar ? 0 : std::max<std::size_t>(sourceDims.size(), 1);
    const std::size_t ndim = rank + (element.pairs ? 1 : 0);

    auto exported = std::make_unique<ExportedTensor<Managed>>();
    std::int64_t* shape = exported->shapeAndStrides(ndim);
    std::int64_t* strides = shape + ndim + 1;
    // Strides in elements of the exported type, of which a pair takes two.
    const bool rowMajor = source.dataOrdering() == DataOrdering::RowMajor;
    std::uint64_t step = element.pairs ? 2 : 1;
    for (std::size_t k = 0; k < rank; ++k) {
        const std::size_t i = rowMajor ? rank - 1 - k : k;
        const std::uint64_t extent = sourceDims.size() == 0 ? 0 : sourceDims[i];
        shape[i] = asExtent(extent);
        strides[i] = static_cast<std::int64_t>(step);
        step *= extent;
    }
    if (element.pairs) {
        shape[ndim - 1] = 2;
        strides[ndim - 1] = 1;
    }

    exported->share = holdForExport(source, copied);
    ZDLTensor& tensor = exported->managed.dl_tensor;
    tensor.data = const_cast<void*>(exported->share->constStoredData());
    tensor.device = ZDLDevice{ZDLDeviceType_CPU, 0};
    tensor.ndim = static_cast<std::int32_t>(ndim);
    tensor.dtype = ZDLDataType{element.code, element.bits, 1};
    tensor.shape = shape;
    tensor.strides = strides;
    tensor.byte_offset = 0;
    exported->managed.manager_ctx = exported.get();
    exported->managed.deleter = &ExportedTensor<Managed>::deleter;
    return &exported.release()->managed;
}

// ---- Import ------------------------------------------------------------------

// Whether a strided layout is the dense one of `rowMajor` (extents of 1 may
// carry any stride).
bool isDense(const std::int64_t* strides, const std::vector<std::size_t>& dims, bool rowMajor)
{
    for (std::size_t i = 0; i < dims.size(); ++i) {
        if (dims[i] != 1 && static_cast<std::uint64_t>(strides[i]) != denseStride(i, dims, rowMajor)) {
            return false;
        }
    }
    return true;
}

template <class Managed>
void releaseTensor(void* managedTensor) noexcept
{
    auto* managed = static_cast<Managed*>(managedTensor);
    if (managed->deleter != nullptr) {
        managed->deleter(managed);
    }
}

template <class Managed>
ZVariantData* importTensor(Managed* managed)
{
    const ZDLTensor& tensor = managed->dl_tensor;
    if (tensor.device.device_type != ZDLDeviceType_CPU) {
        throw std::invalid_argument("Only DLPack tensors in CPU memory can be imported.");
    }
    const WellKnownType type = elementTypeOf(tensor.dtype);
    if (type == WellKnownTypeValue::unknown) {
        throw std::invalid_argument("No element type has the DLPack data type of code " +
                                    std::to_string(tensor.dtype.code) + ", " + std::to_string(tensor.dtype.bits) +
                                    " bits and " + std::to_string(tensor.dtype.lanes) + " lanes.");
    }
    if (tensor.ndim < 0 || (tensor.ndim > 0 && tensor.shape == nullptr)) {
        throw std::invalid_argument("A DLPack tensor's shape is malformed.");
    }
    std::vector<std::size_t> dims;
    for (std::int32_t i = 0; i < tensor.ndim; ++i) {
        if (tensor.shape[i] < 0) {
            throw std::invalid_argument("A DLPack tensor's shape has a negative extent.");
        }
        dims.push_back(static_cast<std::size_t>(tensor.shape[i]));
    }
    if (!elementCountFits(ArrayDimensionsView(dims))) {
        throwDimensionsMismatch();
    }
    DataOrdering ordering = DataOrdering::RowMajor;
    if (tensor.strides != nullptr && !isDense(tensor.strides, dims, true)) {
        if (!isDense(tensor.strides, dims, false)) {
            throw std::invalid_argument("Only DLPack tensors with row-major or column-major strides can be imported.");
        }
        ordering = DataOrdering::ColumnMajor;
    }
    const std::uint64_t count = dims.empty() ? 1 : elementCount(ArrayDimensionsView(dims));
    const void* elements = static_cast<const char*>(tensor.data) + tensor.byte_offset;
    if (count != 0 && tensor.data == nullptr) {
        throw std::invalid_argument("A DLPack tensor with elements has no data.");
    }
    const std::size_t alignment =
        dispatchElementType(type, [](auto tag) { return alignof(typename decltype(tag)::type); });
    if (reinterpret_cast<std::uintptr_t>(elements) % alignment != 0) {
        throw std::invalid_argument("The elements of a DLPack tensor are not aligned for their type.");
    }
    if (dims.empty()) {
        // No dimensions: one element, read into a scalar of the library's own.
        IVariantData* scalar = dispatchElementType(type, [&](auto tag) -> IVariantData* {
            using T = typename decltype(tag)::type;
            return new ScalarVariantDataRefCounted<T>(*static_cast<const T*>(elements));
        });
        releaseTensor<Managed>(managed);
        return reinterpret_cast<ZVariantData*>(scalar);
    }
    IVariantData* imported =
        new DLPackVariantData(elements, type, std::move(dims), ordering, managed, &releaseTensor<Managed>);
    return reinterpret_cast<ZVariantData*>(imported);
}

void requireTensor(const void* tensor)
{
    if (tensor == nullptr) {
        throw std::invalid_argument("No DLPack tensor to import.");
    }
}

}  // namespace

extern "C" {

LUM_API ZDLManagedTensor* ZVariantData_C_API_exportDLManagedTensor(ErrorRecord* error, ZVariantData* handle)
{
    return guardedCall(error, [&] {
        bool copied = false;
        return exportTensor<ZDLManagedTensor>(handle, copied);
    });
}

LUM_API ZDLManagedTensorVersioned* ZVariantData_C_API_exportDLManagedTensorVersioned(ErrorRecord* error,
                                                                                     ZVariantData* handle)
{
    return guardedCall(error, [&] {
        bool copied = false;
        ZDLManagedTensorVersioned* managed = exportTensor<ZDLManagedTensorVersioned>(handle, copied);
        managed->version = ZDLPackVersion{ZDLPACK_MAJOR_VERSION, ZDLPACK_MINOR_VERSION};
        managed->flags = ZDLPACK_FLAG_READ_ONLY | (copied ? ZDLPACK_FLAG_IS_COPIED : 0);
        return managed;
    });
}

LUM_API ZVariantData* ZVariantData_C_API_importDLManagedTensor(ErrorRecord* error, ZDLManagedTensor* tensor)
{
    return guardedCall(error, [&] {
        requireTensor(tensor);
        return importTensor(tensor);
    });
}

LUM_API ZVariantData* ZVariantData_C_API_importDLManagedTensorVersioned(ErrorRecord* error,
                                                                        ZDLManagedTensorVersioned* tensor)
{
    return guardedCall(error, [&] {
        requireTensor(tensor);
        if (tensor->version.major != ZDLPACK_MAJOR_VERSION) {
            throw std::invalid_argument("A DLPack tensor of major version " + std::to_string(tensor->version.major) +
                                        " cannot be read; this library reads version 1.");
        }
        return importTensor(tensor);
    });
}

}  // extern "C"
