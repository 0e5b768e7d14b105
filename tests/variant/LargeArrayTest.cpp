// Arrays from the large-block size up keep every promise of small ones: one
// block with the header, elements on a 64-byte boundary, the same number of
// allocations for the same operation, the same results. Their block starts
// on a 2 MiB boundary and is freed by the route it came by.
#include <cstdint>
#include <functional>

#include "LumCore/c/LumCoreFlat.h"
#include "LumCore/internal/ArrayBlock.hpp"
#include "StorageTestSupport.hpp"
#include "support/CountingNew.hpp"

namespace {

using namespace StorageTest;

// Just past the large-block size, in doubles; an even count, so that it
// pairs into complex numbers and splits into two rows.
constexpr std::size_t kLargeCount = kLargeArrayBlockBytes / sizeof(double) + 1024;
constexpr std::size_t kSmallCount = 1024;

bool startsOnHugePage(const void* object) { return reinterpret_cast<std::uintptr_t>(object) % kHugePageBytes == 0; }

// Elements lie one header (a cache line or two) behind the block's start.
bool elementsOnHugePageBlock(const void* elements)
{
    const auto address = reinterpret_cast<std::uintptr_t>(elements);
    return address % kArrayBlockAlignment == 0 && address % kHugePageBytes <= 2 * kArrayBlockAlignment;
}

std::vector<std::int32_t> int32Iota(std::size_t count)
{
    std::vector<std::int32_t> values(count);
    for (std::size_t i = 0; i < count; ++i) {
        values[i] = static_cast<std::int32_t>(i);
    }
    return values;
}

// Runs `operation` on an array of `count` elements built beforehand; checks
// the new array it returns with `expect`, and returns the allocations the
// operation made.
using Operation = std::function<IVariantData*(std::size_t count)>;
using Expectation = std::function<void(const IVariantData& result, std::size_t count)>;

std::uint64_t allocationsOf(const Operation& operation, const Expectation& expect, std::size_t count)
{
    const std::uint64_t mismatchesBefore = LumTest::freedByAnotherRoute();
    std::uint64_t allocations = 0;
    {
        LumTest::AllocationCounter counter;
        Owned result(operation(count));
        allocations = counter.count();
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(result->constStoredData()) % kArrayBlockAlignment, 0u);
        if (count == kLargeCount) {
            EXPECT_TRUE(elementsOnHugePageBlock(result->constStoredData()));
        }
        expect(*result, count);
    }
    EXPECT_EQ(LumTest::freedByAnotherRoute(), mismatchesBefore);
    return allocations;
}

void expectSameAsSmall(const char* what, const std::function<Owned(std::size_t)>& makeSource,
                       const std::function<IVariantData*(IVariantData&)>& operate, const Expectation& expect)
{
    SCOPED_TRACE(what);
    std::uint64_t counts[2] = {};
    const std::size_t sizes[2] = {kSmallCount, kLargeCount};
    for (int i = 0; i < 2; ++i) {
        Owned source = makeSource(sizes[i]);
        counts[i] = allocationsOf([&](std::size_t) { return operate(*source); }, expect, sizes[i]);
    }
    EXPECT_EQ(counts[0], counts[1]) << "the large route must allocate as often as the small one";
}

TEST(LargeArrays, BuiltFromDataInOneBlockOnAHugePageBoundary)
{
    const std::vector<double> values = iota(kLargeCount);
    const std::uint64_t mismatchesBefore = LumTest::freedByAnotherRoute();
    {
        LumTest::AllocationCounter counter;
        Owned large = makeArray(values, {kLargeCount});
        const std::uint64_t largeCount = counter.count();
        Owned small = makeArray(iota(kSmallCount), {kSmallCount});
        EXPECT_TRUE(startsOnHugePage(large.get())) << "the header starts the block";
        EXPECT_EQ(static_cast<const char*>(large->constStoredData()) - reinterpret_cast<const char*>(large.get()),
                  static_cast<const char*>(small->constStoredData()) - reinterpret_cast<const char*>(small.get()))
            << "header and elements share one block, as in a small array";
        EXPECT_EQ(large->numberAllocatedElements(), kLargeCount);
        EXPECT_EQ(valuesOf<double>(*large), values);

        const std::vector<double> smallValues = iota(kSmallCount);
        LumTest::AllocationCounter smallCounter;
        Owned another = makeArray(smallValues, {kSmallCount});
        EXPECT_EQ(largeCount, smallCounter.count());
    }
    EXPECT_EQ(LumTest::freedByAnotherRoute(), mismatchesBefore);
}

TEST(LargeArrays, EveryOperationThatMakesAnArrayTakesTheLargeRoute)
{
    const auto doubles = [](std::size_t count) { return makeArray(iota(count), {2, count / 2}); };
    const auto int32s = [](std::size_t count) { return makeArray(int32Iota(count), {count}); };

    expectSameAsSmall(
        "reorder", doubles, [](IVariantData& a) { return a.reorderData(kColumn); },
        [](const IVariantData& r, std::size_t count) {
            const double* e = elementsOf<double>(r);
            const std::size_t rows = 2, columns = count / 2;
            for (std::size_t j = 0; j < columns; j += 997) {
                for (std::size_t i = 0; i < rows; ++i) {
                    ASSERT_EQ(e[j * rows + i], static_cast<double>(i * columns + j));
                }
            }
            EXPECT_EQ(r.dataOrdering(), kColumn);
        });
    expectSameAsSmall(
        "Cast int32 to double", int32s,
        [](IVariantData& a) { return a.convertDataTo(WellKnownTypeValue::double_, ConversionMode::Cast); },
        [](const IVariantData& r, std::size_t count) { EXPECT_EQ(valuesOf<double>(r), iota(count)); });
    // (A narrowing result of a large source may itself be small: widen.)
    expectSameAsSmall(
        "Lossless int32 to int64", int32s,
        [](IVariantData& a) { return a.convertDataTo(WellKnownTypeValue::int64, ConversionMode::Lossless); },
        [](const IVariantData& r, std::size_t count) {
            const auto* e = elementsOf<std::int64_t>(r);
            for (std::size_t i = 0; i < count; ++i) {
                ASSERT_EQ(e[i], static_cast<std::int64_t>(i));
            }
        });
    expectSameAsSmall(
        "Cast double to complex", doubles,
        [](IVariantData& a) { return a.convertDataTo(WellKnownTypeValue::complexDouble, ConversionMode::Cast); },
        [](const IVariantData& r, std::size_t count) {
            const auto* e = elementsOf<std::complex<double>>(r);
            for (std::size_t i = 0; i < count; ++i) {
                ASSERT_EQ(e[i], std::complex<double>(static_cast<double>(i), 0.0));
            }
        });
    expectSameAsSmall(
        "clone of a shared array", doubles,
        [](IVariantData& a) {
            a.copy();  // a second holder, so the writer gets a clone
            return a.mutableInstance();
        },
        [](const IVariantData& r, std::size_t count) { EXPECT_EQ(valuesOf<double>(r), iota(count)); });
    expectSameAsSmall(
        "reshape into a new array", doubles,
        [](IVariantData& a) {
            return a.reshapeToZVariant(&a, ArrayDimensionsView{a.numberAllocatedElements()}, kRow);
        },
        [](const IVariantData& r, std::size_t count) { EXPECT_EQ(valuesOf<double>(r), iota(count)); });
    expectSameAsSmall(
        "write through a complex view", doubles,
        [](IVariantData& a) {
            a.copy();  // the view takes this reference over
            return constructTransmuteRealToComplexVariant(&a)->mutableInstance();
        },
        [](const IVariantData& r, std::size_t count) {
            const auto* e = elementsOf<std::complex<double>>(r);
            EXPECT_EQ(elementCount(r.dimensions()), count / 2);
            EXPECT_EQ(e[count / 2 - 1], std::complex<double>(static_cast<double>(count - 2), count - 1.0));
        });
}

TEST(LargeArrays, DetachedExternalStorageAndFlatArraysTakeTheLargeRoute)
{
    for (std::size_t count : {kSmallCount, kLargeCount}) {
        auto lent = std::make_unique<LentSamples>(iota(count), Extents{count});
        Owned adaptor(constructVariantExternal(lent.get()));
        lent->withdraw();
        EXPECT_EQ(valuesOf<double>(*adaptor), iota(count));
        if (count == kLargeCount) {
            EXPECT_TRUE(elementsOnHugePageBlock(adaptor->constStoredData()));
        }
    }

    const std::uint64_t mismatchesBefore = LumTest::freedByAnotherRoute();
    ErrorRecord error{};
    const std::size_t extent = kLargeCount;
    ZVariantData* handle = ZVariantData_C_API_createWithAllocatedArray(
        &error, ZWellKnownType_double, ZArrayDimensions{&extent, 1}, ZDataOrdering_RowMajor);
    ASSERT_EQ(error.typeName, nullptr);
    void* elements = nullptr;
    handle = ZVariantData_C_API_mutableStoredData(&error, handle, &elements);
    EXPECT_TRUE(elementsOnHugePageBlock(elements));
    static_cast<double*>(elements)[kLargeCount - 1] = 1.5;
    ZVariantData_C_API_destruct(&error, handle);
    EXPECT_EQ(LumTest::freedByAnotherRoute(), mismatchesBefore);
}

}  // namespace

// Large reorders of 8-byte elements stream whole tiles and transpose the
// edges the cached way; every element must land where the index says.
template <class T>
void expectReorderedEverywhere(const Extents& extents, DataOrdering from)
{
    const std::size_t count = static_cast<std::size_t>(elementCount(ArrayDimensionsView(extents)));
    std::vector<T> values(count);
    for (std::size_t i = 0; i < count; ++i) {
        values[i] = static_cast<T>(i);
    }
    Owned source = makeArray(values, extents, from);
    const DataOrdering to = from == kRow ? kColumn : kRow;
    Owned reordered(source->reorderData(to));
    const T* e = elementsOf<T>(*reordered);
    // Walk the indices in the source's order, tracking the offset in the other.
    std::vector<std::size_t> index(extents.size(), 0);
    std::vector<std::size_t> stride(extents.size(), 1);
    if (to == kColumn) {
        for (std::size_t k = 1; k < extents.size(); ++k) {
            stride[k] = stride[k - 1] * extents[k - 1];
        }
    } else {
        for (std::size_t k = extents.size() - 1; k-- > 0;) {
            stride[k] = stride[k + 1] * extents[k + 1];
        }
    }
    for (std::size_t i = 0; i < count; ++i) {
        std::size_t offset = 0;
        for (std::size_t k = 0; k < extents.size(); ++k) {
            offset += index[k] * stride[k];
        }
        ASSERT_EQ(e[offset], static_cast<T>(i)) << "element " << i;
        // The source's fastest index turns first.
        if (from == kRow) {
            for (std::size_t k = extents.size(); k-- > 0;) {
                if (++index[k] != extents[k]) {
                    break;
                }
                index[k] = 0;
            }
        } else {
            for (std::size_t k = 0; k < extents.size(); ++k) {
                if (++index[k] != extents[k]) {
                    break;
                }
                index[k] = 0;
            }
        }
    }
}

TEST(LargeArrays, StreamedReordersPlaceEveryElement)
{
    // Neither extent a multiple of the tiles; both directions; a middle
    // dimension. The destination's rows (66, 80 elements) are even, so the
    // streaming route takes them.
    alignas(16) static const double aligned[2] = {};
    ASSERT_TRUE(canStreamTranspose(aligned, 66, 66, 8200));
    ASSERT_TRUE(canStreamTranspose(aligned, 80, 40, 14000));
    expectReorderedEverywhere<double>({66, 8200}, kRow);
    expectReorderedEverywhere<double>({8200, 66}, kColumn);
    expectReorderedEverywhere<std::int64_t>({40, 2, 14000}, kRow);
    expectReorderedEverywhere<std::int64_t>({14000, 2, 40}, kColumn);
    // An odd row length takes the cached tiles.
    EXPECT_FALSE(canStreamTranspose(aligned, 67, 67, 8200));
    expectReorderedEverywhere<double>({67, 8200}, kRow);
}
