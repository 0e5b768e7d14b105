// The typed value layer on both of its forms: what application code sees.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "LumCore/ZVariant.hpp"
#include "support/ThrownText.hpp"

namespace {

using namespace Marlowen::Lum;
using Dims = std::vector<std::size_t>;
// A view of a vector must not outlive it: none is made from a temporary one.
static_assert(!std::is_constructible_v<ArrayDimensionsView, std::vector<std::size_t>&&>);
static_assert(std::is_constructible_v<ArrayDimensionsView, const std::vector<std::size_t>&>);

template <class V>
class ZVariantForms : public ::testing::Test {
};
using Forms = ::testing::Types<ZVariant, ZVariantAbi>;
TYPED_TEST_SUITE(ZVariantForms, Forms);

// The exact words of the exception of class E that `call` throws.
template <class Exception, class Call>
void expectThrowWith(Call&& call, const std::string& what)
{
    EXPECT_EQ(LumTest::thrownText<Exception>(call), what);
}

TYPED_TEST(ZVariantForms, NullVariant)
{
    const TypeParam null;
    EXPECT_TRUE(null.isNull());
    EXPECT_EQ(null.dimensions().size(), 0u);
    EXPECT_TRUE(TypeParam::isEmpty(null.dimensions()));
    EXPECT_TRUE(null.template iterable<double>().empty());
    double out = 7;
    EXPECT_FALSE(null.tryGet(out));
    EXPECT_EQ(out, 7);
    expectThrowWith<std::invalid_argument>([&] { (void)null.template elementAt<double>(0); },
                                           "Cannot access element of null variant.");
    // A custom class expects the null code too; the null check comes first.
    EXPECT_TRUE(null.template holds<std::string>());
}

TYPED_TEST(ZVariantForms, ScalarsReadAndConvert)
{
    const TypeParam x = 2.75;
    EXPECT_TRUE(x.template holds<double>());
    EXPECT_TRUE(x.isScalarStorage());
    EXPECT_EQ(x.template as<double>(), 2.75);
    EXPECT_EQ(x.template as<std::int32_t>(), 2);
    EXPECT_EQ(x.template elementAt<double>(0), 2.75);
    expectThrowWith<std::out_of_range>([&] { (void)x.template elementAt<double>(1); }, "Indices out of bounds.");
    EXPECT_EQ(x.template getIf<float>(), nullptr);
    ASSERT_NE(x.template getIf<double>(), nullptr);

    const TypeParam text = ZString("12.5");
    EXPECT_EQ(text.template as<double>(ConversionMode::CastOrParse), 12.5);
    EXPECT_TRUE(TypeParam(true).template as<bool>());
}

TYPED_TEST(ZVariantForms, CannotConvertMessageNamesClassTypesAndSize)
{
    const std::string cls =
        std::is_same_v<TypeParam, ZVariant> ? "Marlowen::Lum::ZVariant" : "Marlowen::Lum::ZVariantAbi";
    const TypeParam x = 1.5;
    expectThrowWith<std::runtime_error>([&] { (void)x.template as<std::uint8_t>(ConversionMode::Lossless); },
                                        "Cannot convert " + cls + " of type 'double' (size: 1) to 'uint8_t'");
    const std::int32_t values[] = {1, 2, 3, 4, 5, 6};
    const TypeParam array(values, 6, ArrayDimensionsView{2, 3});
    expectThrowWith<std::runtime_error>(
        [&] { (void)array.convertTo(WellKnownType(Internal::WellKnownTypeValue::string)); },
        "Cannot convert " + cls + " of type 'int' (size: 6) to 'Marlowen::Lum::ZString'");
}

TYPED_TEST(ZVariantForms, ArraysAccessIterateAndReorder)
{
    const std::int32_t values[] = {1, 2, 3, 4, 5, 6};
    TypeParam grid(values, 6, ArrayDimensionsView{2, 3});
    EXPECT_FALSE(grid.isScalarStorage());
    EXPECT_EQ(grid.template elementAt<std::int32_t>(5), 6);
    expectThrowWith<std::invalid_argument>([&] { (void)grid.template elementAt<ZString>(0); }, "Wrong data type.");

    double sum = 0;
    for (double v : grid.template iterable<double>()) {
        sum += v;
    }
    EXPECT_EQ(sum, 21.0);

    TypeParam columns = grid;
    columns.reorderData(DataOrdering::ColumnMajor);
    EXPECT_EQ(columns.dataOrdering(), DataOrdering::ColumnMajor);
    const std::vector<std::int32_t> expected{1, 4, 2, 5, 3, 6};
    const auto range = columns.template iterable<std::int32_t>();
    EXPECT_EQ(std::vector<std::int32_t>(range.begin(), range.end()), expected);
    EXPECT_EQ(grid.template elementAt<std::int32_t>(1), 2);  // the other holder keeps its storage
    EXPECT_TRUE(columns.isEquivalentTo(grid));
    EXPECT_FALSE(columns.isIdenticalTo(grid));
    EXPECT_TRUE(columns == grid);
}

TYPED_TEST(ZVariantForms, TryGetReadsOneElementOnly)
{
    const std::uint64_t one[] = {42};
    const TypeParam cube(one, 1, ArrayDimensionsView{1, 1, 1});
    std::uint64_t out = 0;
    EXPECT_TRUE(cube.tryGet(out));
    EXPECT_EQ(out, 42u);
    double asDouble = 0;
    EXPECT_TRUE(cube.tryGet(asDouble));
    EXPECT_EQ(asDouble, 42.0);

    const std::uint64_t two[] = {1, 2};
    const TypeParam pair(two, 2);
    out = 9;
    EXPECT_FALSE(pair.tryGet(out));
    EXPECT_EQ(out, 9u);

    // A braced list is a shape, never a null pointer and a size.
    const TypeParam empty = TypeParam::template allocate<double>({0, 4});
    EXPECT_TRUE(sameExtents(empty.dimensions(), ArrayDimensionsView{0, 4}));
    EXPECT_FALSE(empty.isNull());
    EXPECT_TRUE(TypeParam::isEmpty(empty.dimensions()));
    EXPECT_FALSE(empty.tryGet(asDouble));
    EXPECT_TRUE(empty.template iterable<std::int16_t>().empty());
}

TYPED_TEST(ZVariantForms, WritingGoesThroughAPrivateCopy)
{
    const double values[] = {1, 2, 3};
    const TypeParam original(values, 3);
    TypeParam writer = original;
    static_cast<double*>(writer.mutableStoredData())[0] = 10;
    EXPECT_EQ(writer.template elementAt<double>(0), 10);
    EXPECT_EQ(original.template elementAt<double>(0), 1);  // a shared object is never written

    TypeParam filled = TypeParam::template allocate<double>(ArrayDimensionsView{2});
    double* data = static_cast<double*>(filled.mutableStoredData());
    data[0] = 0.5;
    data[1] = 1.5;
    EXPECT_EQ(filled.template elementAt<double>(1), 1.5);
    EXPECT_THROW((void)filled.template as<double>(), std::runtime_error);  // two elements are not one
}

TYPED_TEST(ZVariantForms, ReshapesKeepTheirRules)
{
    const double values[] = {1, 2, 3, 4, 5, 6};
    TypeParam array(values, 6, ArrayDimensionsView{2, 3});
    array.reshapeNoRealloc(ArrayDimensionsView{6});
    EXPECT_EQ(array.dimensions().size(), 1u);
    const TypeParam share = array;
    expectThrowWith<std::runtime_error>(
        [&] {
            array.reshapeNoRealloc(ArrayDimensionsView{3, 2});
        },
        "Reference count is greater than 1 - cannot reshape without reallocating.");
    array.reshapeToZVariant(ArrayDimensionsView{2, 2});
    EXPECT_EQ(elementCount(array.dimensions()), 4u);
    EXPECT_EQ(array.template elementAt<double>(3), 4);
    EXPECT_EQ(elementCount(share.dimensions()), 6u);
}

}  // namespace
