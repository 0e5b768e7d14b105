// Array storage: how the factories resolve shapes, what new elements hold,
// the in-place reshapes of both classes, and the reorder, checked against a
// plain element-by-element walk.
#include <cstring>
#include <optional>
#include <type_traits>

#include "LumCore/ArrayIndexing.hpp"
#include "StorageTestSupport.hpp"

namespace {

using namespace StorageTest;

constexpr const char* kMismatch = "dimensions do not match data length";
constexpr const char* kShared = "Reference count is greater than 1 - cannot reshape without reallocating.";
constexpr const char* kBeyond = "Cannot reshape array to given dimensions without reallocating.";
// 3 times this is 5 modulo 2^64: a shape whose plain count looks like 5.
constexpr std::size_t kWrapsToFiveOverThree = 0x5555555555555557u;

TEST(ArrayStorage, FactoriesResolveAnEmptyShapeAndCheckAnyOther)
{
    // The adopting factory also resolves a shape with a zero extent; an
    // empty list counts no elements, not one.
    const struct {
        bool adopted;
        std::size_t count;
        Extents given;
        std::optional<Extents> made;  // none: the mismatch words
    } rows[] = {
        {false, 4, {}, Extents{4}},
        {false, 4, {2, 2}, Extents{2, 2}},
        {false, 4, {2, 3}, {}},
        {false, 4, {0, 4}, {}},
        {false, 0, {}, Extents{}},
        {false, 0, {0, 5}, Extents{0, 5}},
        {true, 4, {0}, Extents{4}},
        {true, 4, {}, Extents{4}},
        {true, 4, {2, 0, 3}, Extents{4}},
        {true, 0, {0, 7}, Extents{0, 7}},
        {true, 0, {}, Extents{}},
        {true, 4, {3}, {}},
        {true, 0, {2}, {}},
        {false, 5, {3, kWrapsToFiveOverThree}, {}},
        {true, 5, {3, kWrapsToFiveOverThree}, {}},
        {false, 0, {kWrapsToFiveOverThree, 0}, Extents{kWrapsToFiveOverThree, 0}},  // nothing, however wide
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(::testing::Message() << (row.adopted ? "adopted " : "copied ") << row.count << " into "
                                          << ::testing::PrintToString(row.given));
        std::vector<double> values = iota(row.count);
        const double* block = values.data();
        const auto make = [&] {
            return row.adopted ? adopt(std::move(values), row.given, kColumn) : makeArray(values, row.given, kColumn);
        };
        if (!row.made) {
            EXPECT_EQ(thrownText<std::length_error>(make), kMismatch);
            continue;
        }
        Owned array = make();
        EXPECT_EQ(extentsOf(*array), *row.made);
        EXPECT_EQ(array->numberAllocatedElements(), row.count);
        EXPECT_EQ(valuesOf<double>(*array, row.count), iota(row.count));
        EXPECT_EQ(array->dataOrdering(), kColumn);
        EXPECT_EQ(typeid(*array),
                  row.adopted ? typeid(StdVectorVariantData<double>) : typeid(VectorVariantData<double>));
        if (row.count != 0) {
            EXPECT_EQ(array->constStoredData() == block, row.adopted) << "adopted keeps the block, copied does not";
        }
    }

    // Strings are copied by sharing their text.
    const std::vector<ZString> texts{ZString("first text in a record"), ZString("second")};
    Owned copied = makeArray(texts, {});
    EXPECT_EQ(valuesOf<ZString>(*copied), texts);
    EXPECT_EQ(elementsOf<ZString>(*copied)[0].c_str(), texts[0].c_str());
    EXPECT_EQ(extentsOf(*adopt(texts, {})), Extents{2});
}

// Frees a block full of 0xA5 bytes, so that a new array of about that size
// that is not written shows it.
void leaveDirtyMemory(std::size_t bytes)
{
    void* dirty = ::operator new (bytes, std::align_val_t{64});
    std::memset(dirty, 0xA5, bytes);
    ::operator delete (dirty, std::align_val_t{64});
}

TEST(ArrayStorage, NewElementsOfEachKind)
{
    const auto allocated = [](auto tag, const Extents& extents, DataOrdering ordering = kRow) {
        using T = typename decltype(tag)::type;
        return Owned(constructVariantVectorWithoutDataWithDimsUnresolved<T>(ArrayDimensionsView(extents), ordering));
    };
    Owned strings = allocated(std::type_identity<ZString>(), {2});
    EXPECT_EQ(valuesOf<ZString>(*strings), (std::vector<ZString>{ZString(), ZString()}));
    EXPECT_EQ(allocated(std::type_identity<ZString>(), {})->numberAllocatedElements(), 0u);

    // Leave dirty memory behind, so that elements that are not zeroed show.
    leaveDirtyMemory(sizeof(VectorVariantData<Duration>) + 64 * 16);
    const Extents shape{8, 8};
    Owned durations = allocated(std::type_identity<Duration>(), shape);
    Owned complexes = allocated(std::type_identity<std::complex<double>>(), shape, kColumn);
    for (std::size_t i = 0; i < 64; ++i) {
        ASSERT_EQ(elementsOf<Duration>(*durations)[i], Duration{});
        ASSERT_EQ(elementsOf<std::complex<double>>(*complexes)[i], std::complex<double>{});
    }
    // Every array's elements start on a cache line, whatever their class.
    Owned bytes = allocated(std::type_identity<std::int8_t>(), {3});
    for (const IVariantData* array : {strings.get(), durations.get(), complexes.get(), bytes.get()}) {
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(array->constStoredData()) % 64, 0u);
    }
}

TEST(ArrayStorage, ReshapeOfASharedArrayOnlyKeepsItsShape)
{
    for (bool adopted : {false, true}) {
        Owned array = adopted ? adopt(iota(6), {2, 3}) : makeArray(iota(6), {2, 3});
        array->copy();
        Owned share(array.get());
        array->reshapeNoRealloc(ArrayDimensionsView{2, 3});
        // The count is checked before the limits: a shape beyond them gets
        // the reference-count words too.
        for (const Extents& refused : {Extents{3, 2}, Extents{99}}) {
            EXPECT_EQ(thrownText<std::runtime_error>([&] { array->reshapeNoRealloc(ArrayDimensionsView(refused)); }),
                      kShared);
        }
        EXPECT_EQ(extentsOf(*array), (Extents{2, 3}));
        share.reset();
        array->reshapeNoRealloc(ArrayDimensionsView{3, 2});
        EXPECT_EQ(extentsOf(*array), (Extents{3, 2}));
    }
}

// A block array stays within its elements and never gains dimensions; an
// adopted vector may grow to its capacity in any rank. Neither moves or
// changes its elements.
TEST(ArrayStorage, ReshapesWithinTheRoomOfEachClass)
{
    Owned block = makeArray(iota(6), {2, 3});
    std::vector<double> values = iota(6);
    values.reserve(12);
    const std::size_t capacity = values.capacity();
    Owned vector = adopt(std::move(values), {6});
    const struct {
        IVariantData* array;
        Extents extents;
        bool fits;
    } steps[] = {
        {block.get(), {3, 2}, true},
        {block.get(), {2, 2}, true},
        {block.get(), {1, 6}, true},
        {block.get(), {3, kWrapsToFiveOverThree}, false},
        {block.get(), {2, 4}, false},
        {block.get(), {1, 1, 1}, false},
        {block.get(), {2}, true},
        {block.get(), {2, 3}, false},
        {block.get(), {6}, true},
        {block.get(), {}, true},
        {vector.get(), {2, 3}, true},
        {vector.get(), {1, 2, 3}, true},
        {vector.get(), {capacity}, true},
        {vector.get(), {2, 2, 3}, true},
        {vector.get(), {capacity + 1}, false},
        {vector.get(), {3, kWrapsToFiveOverThree}, false},
        {vector.get(), {}, true},  // an empty list is not checked against anything
    };
    Extents expected[2] = {{2, 3}, {6}};
    const void* const blocks[2] = {block->constStoredData(), vector->constStoredData()};
    for (const auto& step : steps) {
        const auto reshape = [&] { step.array->reshapeNoRealloc(ArrayDimensionsView(step.extents)); };
        const bool isVector = step.array == vector.get();
        Extents& current = expected[isVector];
        if (step.fits) {
            reshape();
            current = step.extents;
        } else {
            EXPECT_EQ(thrownText<std::length_error>(reshape), kBeyond) << ::testing::PrintToString(step.extents);
        }
        EXPECT_EQ(extentsOf(*step.array), current);
        EXPECT_EQ(step.array->numberAllocatedElements(), 6u) << "the room does not follow the shape";
        EXPECT_EQ(step.array->constStoredData(), blocks[isVector]);
        EXPECT_EQ(valuesOf<double>(*step.array, 6), iota(6));
    }
}

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
void expectReorderMatchesTheWalk(const Extents& extents)
{
    const auto count = static_cast<std::size_t>(elementCount(ArrayDimensionsView(extents)));
    std::vector<T> values;
    for (std::size_t i = 0; i < count; ++i) {
        values.push_back(elementFor<T>(i));
    }
    for (DataOrdering from : {kRow, kColumn}) {
        const DataOrdering to = from == kRow ? kColumn : kRow;
        SCOPED_TRACE(::testing::PrintToString(extents) + (from == kRow ? " from row-major" : " from column-major"));
        Owned source = makeArray(values, extents, from);
        Owned reordered(source->reorderData(to));

        ASSERT_NE(reordered.get(), source.get());
        EXPECT_EQ(refCount(reordered.get()), 1u);
        EXPECT_EQ(refCount(source.get()), 1u);
        EXPECT_EQ(reordered->dataOrdering(), to);
        EXPECT_EQ(extentsOf(*reordered), extents);
        EXPECT_EQ(valuesOf<T>(*reordered), walkReorder(values.data(), count, extents, from, values, count));
        EXPECT_EQ(valuesOf<T>(*source), values);
        EXPECT_EQ(valuesOf<T>(*Owned(reordered->reorderData(from))), values);
    }
}

TEST(ArrayReorder, MatchesTheWalkBothWaysAndBack)
{
    // Degenerate shapes, partial blocks, and more rows and columns than a tile.
    for (const Extents& extents : std::vector<Extents>{{2, 3},
                                                       {1, 5},
                                                       {5, 1},
                                                       {7},
                                                       {0},
                                                       {},
                                                       {3, 0},
                                                       {1, 1, 1},
                                                       {3, 2, 5, 4},
                                                       {33, 65},
                                                       {40, 1, 33},
                                                       {31, 2, 2, 33},
                                                       {300, 20},
                                                       {20, 300},
                                                       {257, 3, 129}}) {
        expectReorderMatchesTheWalk<double>(extents);
    }
    // Each element size has its own block and tile sizes.
    for (const Extents& extents : {Extents{300, 70}, Extents{70, 300}, Extents{5, 3, 200}}) {
        expectReorderMatchesTheWalk<std::uint16_t>(extents);
        expectReorderMatchesTheWalk<std::int8_t>(extents);
        expectReorderMatchesTheWalk<std::complex<double>>(extents);
    }
    for (const Extents& extents : {Extents{3, 1, 4}, Extents{35, 33}, Extents{0, 2}}) {
        expectReorderMatchesTheWalk<ZString>(extents);
    }
}

TEST(ArrayReorder, AdoptedVectorGivesABlockArrayAndStaysAsItWas)
{
    Owned adopted = adopt(iota(6), {2, 3});
    Owned reordered(adopted->reorderData(kColumn));
    EXPECT_EQ(typeid(*reordered), typeid(VectorVariantData<double>));
    EXPECT_EQ(valuesOf<double>(*reordered), (std::vector<double>{0, 3, 1, 4, 2, 5}));
    EXPECT_EQ(valuesOf<double>(*adopted), iota(6));
    EXPECT_EQ(refCount(adopted.get()), 1u);
}

// After a shrinking reshape only the shape's elements are reordered. After a
// reshape up to an adopted vector's capacity the shape describes elements
// that were never made: the reorder reads none of them and leaves their
// places as a new array has them.
TEST(ArrayReorder, ReshapedArraysReorderTheirShapeAndReadOnlyTheirElements)
{
    const ZString stale("stale text left in the spare capacity");
    for (DataOrdering from : {kRow, kColumn}) {
        const DataOrdering to = from == kRow ? kColumn : kRow;
        Owned shrunk = makeArray(iota(12), {3, 4}, from);
        shrunk->reshapeNoRealloc(ArrayDimensionsView{2, 3});
        Owned reordered(shrunk->reorderData(to));
        EXPECT_EQ(reordered->numberAllocatedElements(), 6u);
        EXPECT_EQ(valuesOf<double>(*reordered), walkReorder(iota(12).data(), 12, {2, 3}, from, iota(6), 6));

        std::vector<ZString> texts(8, stale);
        texts.resize(4);
        for (std::size_t i = 0; i < 4; ++i) {
            texts[i] = elementFor<ZString>(i);
        }
        const std::vector<ZString> kept = texts;
        Owned grown = adopt(std::move(texts), {4}, from);
        grown->reshapeNoRealloc(ArrayDimensionsView{2, 4});
        EXPECT_EQ(valuesOf<ZString>(*Owned(grown->reorderData(to))),
                  walkReorder(kept.data(), 4, {2, 4}, from, std::vector<ZString>(8), 4));
    }
}

// Nothing the library hands out is memory it never wrote: a reorder of an
// ordering that is neither of the two walks nothing, so every element of
// the result is the default of its class (a complex bool of stray bytes is
// no bool at all); a reshape that grows starts its tail at the default.
TEST(ArrayReorder, WhatNoWalkWritesStartsAtTheDefault)
{
    const DataOrdering unknown = static_cast<DataOrdering>(7);
    leaveDirtyMemory(sizeof(VectorVariantData<double>) + 64 * 16);
    Owned numbers(makeArray(std::vector<double>(64, 1.5), {8, 8}, unknown)->reorderData(kRow));
    leaveDirtyMemory(sizeof(VectorVariantData<double>) + 64 * 16);
    Owned pairs(makeArray(std::vector<Complex<bool>>(64, {true, true}), {8, 8}, unknown)->reorderData(kColumn));
    for (std::size_t i = 0; i < 64; ++i) {
        ASSERT_EQ(elementsOf<double>(*numbers)[i], 0.0);
        ASSERT_EQ(elementsOf<Complex<bool>>(*pairs)[i], Complex<bool>{});
    }

    leaveDirtyMemory(sizeof(VectorVariantData<double>) + 64 * 8);
    Owned scalar(new ScalarVariantDataRefCounted<double>(2.5));
    Owned grown(scalar->reshapeToZVariant(scalar.get(), ArrayDimensionsView{64}, kRow));
    EXPECT_EQ(valuesOf<double>(*grown)[0], 2.5);
    for (std::size_t i = 1; i < 64; ++i) {
        ASSERT_EQ(elementsOf<double>(*grown)[i], 0.0);
    }
}

}  // namespace
