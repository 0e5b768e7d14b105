#include "variant/VariantComparison.hpp"

#include <complex>
#include <cstring>
#include <exception>
#include <type_traits>
#include <utility>

#include "LumCore/ZString.hpp"
#include "LumCore/internal/ElementTypeDispatch.hpp"
#include "LumCore/internal/OwnedStorage.hpp"

namespace Marlowen::Lum::Internal {

namespace {

// Elements are compared in blocks of this many parts without a branch, and
// the block's verdict is tested once: an exit per element would keep the
// loop from being vectorised.
constexpr std::size_t kCompareBlock = 256;

// Whether any of kCompareBlock floating parts differs. The verdict is summed
// as 0.0 / 1.0 in one accumulator per lane of a cache line, so that the
// compiler keeps independent vector sums instead of one serial chain (a
// floating sum may not be reassociated); a block's sum stays exact.
template <class F>
bool floatingBlockDiffers(const F* lhs, const F* rhs) noexcept
{
    constexpr std::size_t kLanes = 64 / sizeof(F);
    static_assert(kCompareBlock % kLanes == 0);
    F differences[kLanes] = {};
    for (std::size_t i = 0; i < kCompareBlock; i += kLanes) {
        for (std::size_t lane = 0; lane < kLanes; ++lane) {
            differences[lane] += (lhs[i + lane] == rhs[i + lane]) ? F(0) : F(1);
        }
    }
    F total = 0;
    for (F difference : differences) {
        total += difference;
    }
    return total != 0;
}

// IEEE equality part by part: NaN equals nothing, +0 equals -0.
template <class F>
bool floatingPartsEqual(const F* lhs, const F* rhs, std::size_t count) noexcept
{
    std::size_t i = 0;
    for (; count - i >= kCompareBlock; i += kCompareBlock) {
        if (floatingBlockDiffers(lhs + i, rhs + i)) {
            return false;
        }
    }
    for (; i < count; ++i) {
        if (!(lhs[i] == rhs[i])) {
            return false;
        }
    }
    return true;
}

bool stringsEqual(const ZString* lhs, const ZString* rhs, std::size_t count) noexcept
{
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t length = lhs[i].size();
        if (length != rhs[i].size() || (length != 0 && std::memcmp(lhs[i].data(), rhs[i].data(), length) != 0)) {
            return false;
        }
    }
    return true;
}

template <class T>
inline constexpr bool kIsFloating = std::is_same_v<T, float> || std::is_same_v<T, double>;

template <class T>
inline constexpr bool kIsStdComplex = std::is_same_v<T, std::complex<float>> || std::is_same_v<T, std::complex<double>>;

template <class T>
bool typedElementsEqual(const T* lhs, const T* rhs, std::size_t count)
{
    if constexpr (kIsFloating<T>) {
        return floatingPartsEqual(lhs, rhs, count);
    } else if constexpr (kIsStdComplex<T>) {
        // std::complex is laid out as an array of two parts.
        using Part = typename T::value_type;
        return floatingPartsEqual(reinterpret_cast<const Part*>(lhs), reinterpret_cast<const Part*>(rhs), 2 * count);
    } else if constexpr (std::is_same_v<T, ZString>) {
        return stringsEqual(lhs, rhs, count);
    } else {
        // bool, integers, their complexes, Duration and TimePoint: equal
        // values are equal bytes, and no padding hides among them.
        static_assert(std::has_unique_object_representations_v<T>);
        return std::memcmp(lhs, rhs, count * sizeof(T)) == 0;
    }
}

bool holdsElements(const IVariantData& data, WellKnownType type, std::size_t count)
{
    return data.wellKnownDataType() == type && data.numberAllocatedElements() >= count;
}

// The other side converted to `common`, and brought to the kept side's
// ordering where that matters. Empty when the conversion refused.
OwnedStorage<const IVariantData> convertToKeptSide(const IVariantData& kept, const IVariantData& other,
                                                   WellKnownType common, ConversionMode mode)
{
    OwnedStorage<const IVariantData> converted(other.convertDataTo(common, mode));
    if (converted && orderingMatters(kept.dimensions())) {
        converted.reset(converted->reorderData(kept.dataOrdering()));
    }
    return converted;
}

// The steps of isEquivalentTo once the shapes agree; may throw.
bool equivalentElements(const IVariantData& lhs, const IVariantData& rhs, ConversionMode mode,
                        const CustomTypeOperations* comparator, std::size_t count)
{
    const WellKnownType leftType = lhs.wellKnownDataType();
    const WellKnownType rightType = rhs.wellKnownDataType();
    const DataOrdering leftOrdering = lhs.dataOrdering();
    const DataOrdering rightOrdering = rhs.dataOrdering();

    const auto compare = [&](WellKnownType type, const IVariantData& left, const IVariantData& right) {
        // A conversion may answer with something other than `count`
        // elements of `type` (a view's conversion is another view, of its
        // own element type and room): that is not equal, and not read.
        if (!holdsElements(left, type, count) || !holdsElements(right, type, count)) {
            return false;
        }
        if (comparator != nullptr) {
            return comparator->equal(left.constStoredData(), right.constStoredData(), count, false);
        }
        return elementsEqual(type, left.constStoredData(), right.constStoredData(), count);
    };

    if (leftType == rightType) {
        // Vectors, and shapes such as [1, 5, 1], lie the same in both
        // orderings, so only true matrices pay for a reorder.
        if (leftOrdering != rightOrdering && orderingMatters(lhs.dimensions())) {
            const OwnedStorage<const IVariantData> reordered(rhs.reorderData(leftOrdering));
            return compare(leftType, lhs, *reordered);
        }
        return compare(leftType, lhs, rhs);
    }

    const WellKnownType common = WellKnownType::getCommonWellKnownType(leftType, rightType);
    if (common == WellKnownTypeValue::unknown) {
        return false;
    }
    // A refused conversion leaves nothing to compare: not equivalent.
    if (common == leftType) {
        const OwnedStorage<const IVariantData> converted = convertToKeptSide(lhs, rhs, common, mode);
        return converted && compare(common, lhs, *converted);
    }
    if (common == rightType) {
        const OwnedStorage<const IVariantData> converted = convertToKeptSide(rhs, lhs, common, mode);
        return converted && compare(common, *converted, rhs);
    }
    const OwnedStorage<const IVariantData> left(lhs.convertDataTo(common, mode));
    if (!left) {
        return false;
    }
    OwnedStorage<const IVariantData> right(rhs.convertDataTo(common, mode));
    if (!right) {
        return false;
    }
    if (orderingMatters(lhs.dimensions())) {
        right.reset(right->reorderData(leftOrdering));
    }
    return compare(common, *left, *right);
}

}  // namespace

bool elementsEqual(WellKnownType type, const void* lhs, const void* rhs, std::size_t count)
{
    return dispatchElementType(type, [&](auto tag) {
        using T = typename decltype(tag)::type;
        // An empty array may have no element pointer at all.
        return count == 0 || typedElementsEqual(static_cast<const T*>(lhs), static_cast<const T*>(rhs), count);
    });
}

bool orderingMatters(ArrayDimensionsView dimensions) noexcept
{
    if (dimensions.empty() || elementCount(dimensions) < 2) {
        return false;
    }
    std::size_t spread = 0;
    for (std::size_t extent : dimensions) {
        if (extent >= 2) {
            ++spread;
        }
    }
    return spread > 1;
}

bool isIdenticalTo(const IVariantData& lhs, const IVariantData& rhs)
{
    const WellKnownType type = lhs.wellKnownDataType();
    const WellKnownType rightType = rhs.wellKnownDataType();
    if (type == WellKnownTypeValue::unknown) {
        return rightType == WellKnownTypeValue::unknown;
    }
    if (rightType == WellKnownTypeValue::unknown || type != rightType) {
        return false;
    }
    if (lhs.isScalarStorage() != rhs.isScalarStorage()) {
        return false;
    }
    const ArrayDimensionsView dimensions = lhs.dimensions();
    if (!sameExtents(dimensions, rhs.dimensions())) {
        return false;
    }
    // Even where the ordering makes no difference to the data, as for a
    // vector: identity is of the representation.
    if (lhs.dataOrdering() != rhs.dataOrdering()) {
        return false;
    }
    const std::size_t count = elementCount(dimensions);
    // A view's shape may promise more than the block beneath it holds (a
    // complex-to-real view of real elements): such objects are not read.
    if (lhs.numberAllocatedElements() < count || rhs.numberAllocatedElements() < count) {
        return false;
    }
    if (type == WellKnownTypeValue::customType) {
        // Only the left class's comparator tells two custom classes apart.
        if (const CustomTypeOperations* operations = lhs.customTypeOperations(); operations != nullptr) {
            return operations->equal(lhs.constStoredData(), rhs.constStoredData(), count, true);
        }
    }
    return elementsEqual(type, lhs.constStoredData(), rhs.constStoredData(), count);
}

bool isEquivalentTo(const IVariantData& lhs, const IVariantData& rhs, ConversionMode mode)
{
    const CustomTypeOperations* comparator = nullptr;
    if (lhs.wellKnownDataType() == WellKnownTypeValue::customType &&
        rhs.wellKnownDataType() == WellKnownTypeValue::customType) {
        if (lhs.isScalarStorage() && rhs.isScalarStorage()) {
            return isIdenticalTo(lhs, rhs);
        }
        comparator = lhs.customTypeOperations();
    }

    // Nothing equals nothing, whatever the types and shapes: a null variant
    // is equivalent to any empty array.
    const ArrayDimensionsView leftDimensions = lhs.dimensions();
    const ArrayDimensionsView rightDimensions = rhs.dimensions();
    const std::size_t count = elementCount(leftDimensions);
    if (count == 0 && elementCount(rightDimensions) == 0) {
        return true;
    }
    if (!sameExtents(leftDimensions, rightDimensions)) {
        return false;
    }

    // A conversion that throws, or an element class that cannot be
    // compared, means "not equivalent"; what was obtained is released by
    // then.
    try {
        return equivalentElements(lhs, rhs, mode, comparator, count);
    } catch (const std::exception&) {
        return false;
    }
}

}  // namespace Marlowen::Lum::Internal
