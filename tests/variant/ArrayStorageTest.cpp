// Array storage: how the factories resolve shapes, what new elements hold,
// the in-place reshapes of both classes, and the reorder, checked against a
// plain element-by-element walk.
#include <gtest/gtest.h>

#include <algorithm>
#include <complex>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "LumCore/ArrayIndexing.hpp"
#include "LumCore/Complex.hpp"
#include "LumCore/Duration.hpp"
#include "LumCore/TimePoint.hpp"
#include "LumCore/ZString.hpp"
#include "StorageTestSupport.hpp"
#include "LumCore/VectorVariantData.hpp"
#include "support/ThrownText.hpp"

namespace {

using namespace StorageTest;
using namespace Marlowen::Lum;
using namespace Marlowen::Lum::Internal;

constexpr auto kRow = DataOrdering::RowMajor;
constexpr auto kColumn = DataOrdering::ColumnMajor;
constexpr const char* kMismatch = "dimensions do not match data length";
constexpr const char* kShared = "Reference count is greater than 1 - cannot reshape without reallocating.";
constexpr const char* kBeyond = "Cannot reshape array to given dimensions without reallocating.";

using LumTest::thrownText;

Owned adopt(std::vector<double> values, const Extents& extents, DataOrdering ordering = kRow)
{
    return Owned(
        constructVariantDataFromMovedVector<double>(std::move(values), ArrayDimensionsView(extents), ordering));
}

// A new array to be filled afterwards.
template <class T>
Owned allocated(const Extents& extents, DataOrdering ordering = kRow)
{
    return Owned(constructVariantVectorWithoutDataWithDimsUnresolved<T>(ArrayDimensionsView(extents), ordering));
}

// ---- Shapes at construction -----------------------------------------------------

TEST(ArrayStorage, CopyingFactoryResolvesAnEmptyShapeAndChecksAnyOther)
{
    const std::vector<double> four = iota(4);
    Owned flat = makeArray(four, {});
    EXPECT_EQ(extentsOf(*flat), Extents{4});
    EXPECT_EQ(valuesOf<double>(*flat), four);
    EXPECT_NE(flat->constStoredData(), static_cast<const void*>(four.data()));

    Owned square = makeArray(four, {2, 2}, kColumn);
    EXPECT_EQ(extentsOf(*square), (Extents{2, 2}));
    EXPECT_EQ(square->dataOrdering(), kColumn);
    EXPECT_FALSE(square->isScalarStorage());

    EXPECT_EQ(thrownText<std::length_error>([&] { makeArray(four, {2, 3}); }), kMismatch);
    // A zero extent describes no elements, which four are not.
    EXPECT_EQ(thrownText<std::length_error>([&] { makeArray(four, {0, 4}); }), kMismatch);

    // An empty list counts no elements, not one.
    Owned none = makeArray(std::vector<double>{}, {});
    EXPECT_TRUE(extentsOf(*none).empty());
    EXPECT_EQ(none->numberAllocatedElements(), 0u);
    Owned noneShaped = makeArray(std::vector<double>{}, {0, 5});
    EXPECT_EQ(extentsOf(*noneShaped), (Extents{0, 5}));
}

TEST(ArrayStorage, StringsAreCopiedBySharing)
{
    const std::vector<ZString> texts{ZString("first text in a record"), ZString("second")};
    Owned array = makeArray(texts, {2});
    EXPECT_EQ(valuesOf<ZString>(*array), texts);
    EXPECT_EQ(elementsOf<ZString>(*array)[0].c_str(), texts[0].c_str());
}

TEST(ArrayStorage, NewElementsOfEachKind)
{
    Owned strings = allocated<ZString>({2});
    EXPECT_EQ(valuesOf<ZString>(*strings), (std::vector<ZString>{ZString(), ZString()}));
    Owned noStrings = allocated<ZString>({});
    EXPECT_EQ(noStrings->numberAllocatedElements(), 0u);
    EXPECT_TRUE(extentsOf(*noStrings).empty());

    // Leave dirty memory behind, so that elements that are not zeroed show.
    constexpr std::size_t kBytes = sizeof(VectorVariantData<Duration>) + 64 * 16;
    void* dirty = ::operator new(kBytes);
    std::memset(dirty, 0xA5, kBytes);
    ::operator delete(dirty);
    const Extents shape{8, 8};
    Owned durations = allocated<Duration>(shape);
    Owned times = allocated<TimePoint>(shape);
    Owned complexes = allocated<std::complex<double>>(shape);
    Owned integers = allocated<Complex<std::int64_t>>(shape, kColumn);
    for (std::size_t i = 0; i < 64; ++i) {
        ASSERT_EQ(elementsOf<Duration>(*durations)[i], Duration{});
        ASSERT_EQ(elementsOf<TimePoint>(*times)[i], TimePoint{});
        ASSERT_EQ(elementsOf<std::complex<double>>(*complexes)[i], std::complex<double>{});
        ASSERT_TRUE(elementsOf<Complex<std::int64_t>>(*integers)[i] == Complex<std::int64_t>{});
    }
    EXPECT_EQ(extentsOf(*integers), shape);
    EXPECT_EQ(integers->dataOrdering(), kColumn);
}

TEST(ArrayStorage, AdoptedVectorKeepsItsBlockAndResolvesItsShapeMoreWidely)
{
    std::vector<double> values = iota(4);
    const double* block = values.data();
    Owned adopted = adopt(std::move(values), {2, 2});
    EXPECT_EQ(adopted->constStoredData(), static_cast<const void*>(block));
    EXPECT_EQ(typeid(*adopted), typeid(StdVectorVariantData<double>));

    EXPECT_EQ(extentsOf(*adopt(iota(4), {0})), Extents{4});
    EXPECT_EQ(extentsOf(*adopt(iota(4), {})), Extents{4});
    EXPECT_EQ(extentsOf(*adopt(iota(4), {2, 0, 3})), Extents{4});
    EXPECT_EQ(extentsOf(*adopt({}, {0, 7})), (Extents{0, 7}));
    EXPECT_TRUE(extentsOf(*adopt({}, {})).empty());
    EXPECT_EQ(thrownText<std::length_error>([] { adopt(iota(4), {3}); }), kMismatch);
    EXPECT_EQ(thrownText<std::length_error>([] { adopt({}, {2}); }), kMismatch);

    Owned strings(constructVariantDataFromMovedVector<ZString>({ZString("a"), ZString("b")}, ArrayDimensionsView(),
                                                               kColumn));
    EXPECT_EQ(extentsOf(*strings), Extents{2});
    EXPECT_EQ(strings->dataOrdering(), kColumn);
}

// ---- Reshapes in place ----------------------------------------------------------

TEST(ArrayStorage, ReshapeOfASharedArrayOnlyKeepsItsShape)
{
    for (bool adopted : {false, true}) {
        Owned array = adopted ? adopt(iota(6), {2, 3}) : makeArray(iota(6), {2, 3});
        array->copy();
        Owned share(array.get());
        array->reshapeNoRealloc(ArrayDimensionsView(Extents{2, 3}));
        // The count is checked before the limits: a shape beyond them gets
        // the reference-count words too.
        EXPECT_EQ(thrownText<std::runtime_error>([&] { array->reshapeNoRealloc(ArrayDimensionsView(Extents{3, 2})); }),
                  kShared);
        EXPECT_EQ(thrownText<std::runtime_error>([&] { array->reshapeNoRealloc(ArrayDimensionsView(Extents{99})); }),
                  kShared);
        EXPECT_EQ(extentsOf(*array), (Extents{2, 3}));
        share.reset();
        array->reshapeNoRealloc(ArrayDimensionsView(Extents{3, 2}));
        EXPECT_EQ(extentsOf(*array), (Extents{3, 2}));
    }
}

TEST(ArrayStorage, BlockArrayReshapesWithinItsRoomAndRank)
{
    Owned array = makeArray(iota(6), {2, 3});
    const void* elements = array->constStoredData();
    const auto reshape = [&](const Extents& extents) { array->reshapeNoRealloc(ArrayDimensionsView(extents)); };

    reshape({3, 2});
    reshape({2, 2});
    reshape({1, 6});
    EXPECT_EQ(thrownText<std::length_error>([&] { reshape({2, 4}); }), kBeyond);
    EXPECT_EQ(thrownText<std::length_error>([&] { reshape({1, 1, 1}); }), kBeyond) << "more dimensions than now";
    reshape({2});
    EXPECT_EQ(thrownText<std::length_error>([&] { reshape({2, 3}); }), kBeyond) << "back to more dimensions";
    reshape({6});
    reshape({});
    EXPECT_TRUE(extentsOf(*array).empty());
    EXPECT_EQ(array->numberAllocatedElements(), 6u);
    EXPECT_EQ(array->constStoredData(), elements);
    EXPECT_EQ(std::vector<double>(elementsOf<double>(*array), elementsOf<double>(*array) + 6), iota(6));
}

TEST(ArrayStorage, AdoptedVectorReshapesUpToItsCapacityInAnyRank)
{
    std::vector<double> values = iota(6);
    values.reserve(12);
    const std::size_t capacity = values.capacity();
    Owned array = adopt(std::move(values), {6});
    const auto reshape = [&](const Extents& extents) { array->reshapeNoRealloc(ArrayDimensionsView(extents)); };

    reshape({2, 3});
    reshape({1, 2, 3});
    reshape({capacity});
    reshape({2, 2, 3});
    EXPECT_EQ(array->numberAllocatedElements(), 6u) << "the vector's size does not follow the shape";
    EXPECT_EQ(thrownText<std::length_error>([&] { reshape({capacity + 1}); }), kBeyond);
    reshape({});  // an empty list is not checked against anything
    EXPECT_TRUE(extentsOf(*array).empty());
    EXPECT_EQ(std::vector<double>(elementsOf<double>(*array), elementsOf<double>(*array) + 6), iota(6));
}

// ---- Reorder ------------------------------------------------------------------

// The reorder as a walk over the multi-index, last index fastest, with the
// column-major offset computed afresh each step: `steps` steps, skipping
// reads of source elements that do not exist.
template <class T>
std::vector<T> walkReorder(const T* source, std::size_t available, const Extents& extents, DataOrdering from,
                           std::vector<T> destination, std::size_t steps)
{
    std::vector<std::uint64_t> indices(extents.size(), 0);
    for (std::size_t i = 0; i < steps; ++i) {
        const std::uint64_t offset =
            ArrayIndexing::calculateOffsetColumnMajor(indices, ArrayDimensionsView(extents), false);
        if (from == kRow) {
            destination[offset] = source[i];
        } else if (offset < available) {
            destination[i] = source[offset];
        }
        for (std::size_t k = extents.size(); k-- > 0;) {
            if (++indices[k] != extents[k]) {
                break;
            }
            indices[k] = 0;
        }
    }
    return destination;
}

// Element i of a test array, of any class the reorder tests use.
template <class T>
T elementFor(std::size_t i)
{
    if constexpr (std::is_same_v<T, ZString>) {
        return ZString(std::to_string(i).c_str());
    } else if constexpr (std::is_same_v<T, std::complex<double>>) {
        return {static_cast<double>(i), -static_cast<double>(i)};
    } else if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(i) + T(0.25);
    } else {
        return static_cast<T>(i * 37 % 251);
    }
}

template <class T>
std::vector<T> distinctElements(std::size_t count)
{
    std::vector<T> values;
    for (std::size_t i = 0; i < count; ++i) {
        values.push_back(elementFor<T>(i));
    }
    return values;
}

std::string shapeText(const Extents& extents)
{
    std::string text = "[";
    for (std::size_t e : extents) {
        text += (text.size() > 1 ? ", " : "") + std::to_string(e);
    }
    return text + "]";
}

template <class T>
void expectReorderMatchesTheWalk(const Extents& extents)
{
    const auto count = static_cast<std::size_t>(Marlowen::Lum::elementCount(ArrayDimensionsView(extents)));
    const std::vector<T> values = distinctElements<T>(count);
    for (DataOrdering from : {kRow, kColumn}) {
        const DataOrdering to = from == kRow ? kColumn : kRow;
        SCOPED_TRACE(shapeText(extents) + (from == kRow ? " from row-major" : " from column-major"));
        Owned source = makeArray(values, extents, from);
        Owned reordered(source->reorderData(to));

        ASSERT_NE(reordered.get(), source.get());
        EXPECT_EQ(typeid(*reordered), typeid(VectorVariantData<T>));
        EXPECT_EQ(refCount(reordered.get()), 1u);
        EXPECT_EQ(refCount(source.get()), 1u);
        EXPECT_EQ(reordered->dataOrdering(), to);
        EXPECT_EQ(extentsOf(*reordered), extents);
        EXPECT_EQ(valuesOf<T>(*reordered), walkReorder(values.data(), count, extents, from, values, count));
        EXPECT_EQ(valuesOf<T>(*source), values);

        Owned back(reordered->reorderData(from));
        EXPECT_EQ(valuesOf<T>(*back), values);
    }
}

const std::vector<Extents> kReorderShapes{
    {2, 3},    {3, 2},     {1, 5},     {5, 1},     {1, 1},        {7},          {1},           {0},
    {},        {0, 3},     {3, 0},     {4, 1, 3},  {2, 3, 4},     {3, 0, 2},    {1, 1, 1},     {3, 2, 5, 4},
    {33, 65},  {64, 64},   {2, 33, 40}, {1, 40, 33}, {40, 1, 33}, {31, 2, 2, 33}, {100, 3},    {3, 100},
    {300, 20}, {20, 300},  {600, 1},   {1, 600},   {257, 3, 129},
};

TEST(ArrayReorder, DoublesMatchTheWalkBothWaysAndBack)
{
    for (const Extents& extents : kReorderShapes) {
        expectReorderMatchesTheWalk<double>(extents);
    }
}

// Each element size has its own block and tile sizes.
TEST(ArrayReorder, OtherElementSizesMatchTheWalk)
{
    for (const Extents& extents : {Extents{2, 3}, Extents{300, 70}, Extents{70, 300}, Extents{5, 3, 200}}) {
        expectReorderMatchesTheWalk<std::uint16_t>(extents);
        expectReorderMatchesTheWalk<std::int8_t>(extents);
        expectReorderMatchesTheWalk<std::complex<double>>(extents);
    }
}

TEST(ArrayReorder, StringsMatchTheWalkBothWaysAndBack)
{
    for (const Extents& extents : {Extents{2, 3}, Extents{5}, Extents{3, 1, 4}, Extents{35, 33}, Extents{0, 2}}) {
        expectReorderMatchesTheWalk<ZString>(extents);
    }
}

TEST(ArrayReorder, TwoByThreeExample)
{
    Owned rowMajor = makeArray(std::vector<double>{1, 2, 3, 4, 5, 6}, {2, 3});
    Owned columnMajor(rowMajor->reorderData(kColumn));
    EXPECT_EQ(valuesOf<double>(*columnMajor), (std::vector<double>{1, 4, 2, 5, 3, 6}));
}

TEST(ArrayReorder, AdoptedVectorGivesABlockArrayAndStaysAsItWas)
{
    Owned adopted = adopt(iota(6), {2, 3});
    Owned reordered(adopted->reorderData(kColumn));
    EXPECT_EQ(typeid(*reordered), typeid(VectorVariantData<double>));
    EXPECT_EQ(valuesOf<double>(*reordered), (std::vector<double>{0, 3, 1, 4, 2, 5}));
    EXPECT_EQ(valuesOf<double>(*adopted), iota(6));
    EXPECT_EQ(refCount(adopted.get()), 1u);
    EXPECT_EQ(typeid(*adopted), typeid(StdVectorVariantData<double>));
}

// After a shrinking reshape the array holds more elements than its shape:
// only the shape's elements are reordered.
TEST(ArrayReorder, ShrunkArrayReordersItsShapeOnly)
{
    for (DataOrdering from : {kRow, kColumn}) {
        Owned array = makeArray(iota(12), {3, 4}, from);
        const Extents shape{2, 3};
        array->reshapeNoRealloc(ArrayDimensionsView(shape));
        Owned reordered(array->reorderData(from == kRow ? kColumn : kRow));
        EXPECT_EQ(reordered->numberAllocatedElements(), 6u);
        const std::vector<double> values = iota(12);
        EXPECT_EQ(valuesOf<double>(*reordered), walkReorder(values.data(), 12, shape, from, iota(6), 6));
    }
}

// After a reshape up to the vector's capacity the shape describes elements
// that were never made: the reorder reads none of them and leaves their
// places as a new array has them.
TEST(ArrayReorder, GrownAdoptedVectorReadsOnlyItsElements)
{
    const ZString stale("stale text left in the spare capacity");
    for (DataOrdering from : {kRow, kColumn}) {
        std::vector<ZString> texts(8, stale);
        texts.resize(4);
        for (std::size_t i = 0; i < 4; ++i) {
            texts[i] = elementFor<ZString>(i);
        }
        const std::vector<ZString> kept = texts;
        Owned array(constructVariantDataFromMovedVector<ZString>(std::move(texts), ArrayDimensionsView(Extents{4}),
                                                                 from));
        const Extents grown{2, 4};
        array->reshapeNoRealloc(ArrayDimensionsView(grown));
        Owned reordered(array->reorderData(from == kRow ? kColumn : kRow));
        EXPECT_EQ(valuesOf<ZString>(*reordered),
                  walkReorder(kept.data(), 4, grown, from, std::vector<ZString>(8), 4));
    }
}

}  // namespace
