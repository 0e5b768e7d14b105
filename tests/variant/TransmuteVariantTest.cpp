#include <gtest/gtest.h>

#include <complex>
#include <cstdint>
#include <numeric>
#include <stdexcept>
#include <string>
#include <vector>

#include "LumCore/VariantFactories.hpp"
#include "LumCore/ZString.hpp"
#include "LumCore/ElementTypeDispatch.hpp"
#include "variant/TransmuteComplexToRealVariant.hpp"
#include "variant/TransmuteRealToComplexVariant.hpp"
#include "LumCore/VectorVariantData.hpp"
#include "support/ThrownText.hpp"

using namespace Marlowen::Lum;
using namespace Marlowen::Lum::Internal;

namespace {

using Dims = std::vector<std::size_t>;
using ComplexDouble = std::complex<double>;

using LumTest::thrownText;

// An array whose stored elements are 0, 1, 2, ... in storage order.
IVariantData* counting(const Dims& dims, DataOrdering ordering = DataOrdering::RowMajor)
{
    auto* array = VectorVariantData<double>::create(ArrayDimensionsView(dims), ordering);
    std::iota(array->elements(), array->elements() + elementCount(ArrayDimensionsView(dims)), 0.0);
    return array;
}

template <class T>
std::vector<T> elementsOf(const IVariantData* data)
{
    const auto* first = static_cast<const T*>(data->constStoredData());
    return {first, first + elementCount(data->dimensions())};
}

std::uint32_t countOf(const IVariantData* data)
{
    return static_cast<const IVariantDataRefCounted*>(data)->referenceCount();
}

}  // namespace

TEST(TransmuteVariant, TheFastestDimensionIsHalvedOrDoubled)
{
    IVariantData* rows = constructTransmuteRealToComplexVariant(counting({3, 4}));
    EXPECT_EQ(rows->dimensions().toVector(), (Dims{3, 2}));
    EXPECT_EQ(rows->numberAllocatedElements(), 6u);
    // Element (1, 1) is the pair at storage positions 6 and 7.
    EXPECT_EQ(static_cast<const ComplexDouble*>(rows->constStoredData())[1 * 2 + 1], ComplexDouble(6, 7));
    rows->destruct();

    IVariantData* columns = constructTransmuteRealToComplexVariant(counting({4, 3}, DataOrdering::ColumnMajor));
    EXPECT_EQ(columns->dimensions().toVector(), (Dims{2, 3}));
    EXPECT_EQ(columns->dataOrdering(), DataOrdering::ColumnMajor);
    columns->destruct();

    IVariantData* odd = constructTransmuteRealToComplexVariant(counting({5}));
    EXPECT_EQ(odd->dimensions().toVector(), (Dims{2}));
    EXPECT_EQ(odd->numberAllocatedElements(), 2u);
    odd->destruct();

    auto* complexArray = VectorVariantData<ComplexDouble>::create(ArrayDimensionsView(Dims{2, 3}), DataOrdering::RowMajor);
    IVariantData* real = constructTransmuteComplexToRealVariant(complexArray);
    EXPECT_EQ(real->dimensions().toVector(), (Dims{2, 6}));
    EXPECT_EQ(real->numberAllocatedElements(), 12u);
    EXPECT_EQ(real->constStoredData(), complexArray->constStoredData());
    real->destruct();

    alignas(void*) unsigned char buffer[8];  // too small: a counted scalar
    IVariantData* scalar = constructTransmuteRealToComplexVariant(constructVariantScalar<double>(buffer, 8, 1.0));
    EXPECT_EQ(scalar->dimensions().toVector(), (Dims{0}));
    EXPECT_FALSE(scalar->isScalarStorage());
    scalar->destruct();
}

TEST(TransmuteVariant, CodesMapByTheComplexBit)
{
    using V = WellKnownTypeValue;
    const std::pair<V, V> pairs[] = {{V::double_, V::complexDouble}, {V::float_, V::complexFloat},
                                     {V::unsignedInt8, V::complexUnsignedInt8}, {V::bool_, V::complexBool},
                                     {V::int64, V::complexInt64}};
    for (auto [realType, complexType] : pairs) {
        auto arrayOf = [](V type) {
            return dispatchElementType(WellKnownType(type), [](auto tag) -> IVariantData* {
                using T = typename decltype(tag)::type;
                return VectorVariantData<T>::create(ArrayDimensionsView(Dims{2}), DataOrdering::RowMajor);
            });
        };
        IVariantData* asComplex = constructTransmuteRealToComplexVariant(arrayOf(realType));
        IVariantData* asReal = constructTransmuteComplexToRealVariant(arrayOf(complexType));
        EXPECT_EQ(asComplex->wellKnownDataType(), WellKnownType(complexType));
        EXPECT_EQ(asReal->wellKnownDataType(), WellKnownType(realType));
        EXPECT_EQ(asComplex->typeInfo(), nullptr);
        asComplex->destruct();
        asReal->destruct();
    }
}

TEST(TransmuteVariant, NonNumericDataBuildsButHasNoComplexType)
{
    const char* text = "text";
    const ZString words[2] = {ZString(text), ZString(text)};
    IVariantData* strings = constructTransmuteRealToComplexVariant(
        constructVariantVectorWithDataWithDimsUnresolved<ZString>(words, 2, ArrayDimensionsView(), DataOrdering::RowMajor));
    EXPECT_EQ(strings->dimensions().toVector(), (Dims{1}));
    EXPECT_EQ(thrownText<std::runtime_error>([&] { (void)strings->wellKnownDataType(); }),
              "Can not convert non-numeric data type to complex numeric type");
    strings->destruct();

    IVariantData* real = constructTransmuteComplexToRealVariant(
        VectorVariantData<ComplexDouble>::create(ArrayDimensionsView(Dims{1}), DataOrdering::RowMajor));
    EXPECT_EQ(thrownText<std::runtime_error>(
                  [&] { (void)real->convertDataTo(WellKnownType(WellKnownTypeValue::string), ConversionMode::Cast); }),
              "Can not convert non-numeric data type to complex numeric type");
    real->destruct();
}

TEST(TransmuteVariant, ConversionConvertsTheInnerArrayAndKeepsTheView)
{
    IVariantData* inner = counting({2, 4});
    IVariantData* view = constructTransmuteRealToComplexVariant(inner);

    IVariantData* floats = view->convertDataTo(WellKnownType(WellKnownTypeValue::complexFloat), ConversionMode::Cast);
    auto* asView = dynamic_cast<TransmuteRealToComplexVariant*>(floats);
    ASSERT_NE(asView, nullptr);
    EXPECT_EQ(asView->inner()->wellKnownDataType(), WellKnownType(WellKnownTypeValue::float_));
    EXPECT_EQ(floats->dimensions().toVector(), (Dims{2, 2}));
    EXPECT_EQ(elementsOf<std::complex<float>>(floats)[3], std::complex<float>(6, 7));

    IVariantData* back = constructTransmuteComplexToRealVariant(floats);
    IVariantData* doubles = back->convertDataTo(WellKnownType(WellKnownTypeValue::double_), ConversionMode::Cast);
    ASSERT_NE(dynamic_cast<TransmuteComplexToRealVariant*>(doubles), nullptr);
    EXPECT_EQ(elementsOf<double>(doubles), (std::vector<double>{0, 1, 2, 3, 4, 5, 6, 7}));
    doubles->destruct();
    back->destruct();

    // A refusal behind the view is a refusal, not a view over nothing.
    static_cast<double*>(inner->mutableStoredData())[0] = 0.5;
    EXPECT_EQ(view->convertDataTo(WellKnownType(WellKnownTypeValue::complexInt32), ConversionMode::Lossless), nullptr);
    view->destruct();
}

TEST(TransmuteVariant, WritingAlwaysMakesAPlainArrayAndLeavesTheViewedDataAlone)
{
    IVariantData* inner = counting({2, 4});
    inner->copy();  // the test keeps its own reference to look at the data
    IVariantData* view = constructTransmuteRealToComplexVariant(inner);
    EXPECT_FALSE(static_cast<IVariantDataRefCounted*>(view)->hasSingleReference());

    IVariantData* mine = view->mutableInstance();  // the only holder: still a copy
    EXPECT_EQ(dynamic_cast<TransmuteRealToComplexVariant*>(mine), nullptr);
    EXPECT_EQ(mine->typeInfo(), &typeid(ComplexDouble));
    EXPECT_EQ(mine->dimensions().toVector(), (Dims{2, 2}));
    EXPECT_EQ(elementsOf<ComplexDouble>(mine)[2], ComplexDouble(4, 5));
    static_cast<ComplexDouble*>(mine->mutableStoredData())[0] = {-1, -1};
    EXPECT_EQ(elementsOf<double>(inner), (std::vector<double>{0, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(countOf(inner), 1u);  // the view gave its reference up
    mine->destruct();
    inner->destruct();
}

TEST(TransmuteVariant, ReorderingMovesWholePairs)
{
    IVariantData* view = constructTransmuteRealToComplexVariant(counting({2, 4}));
    IVariantData* same = view->reorderData(DataOrdering::RowMajor);
    EXPECT_EQ(same, view);
    same->destruct();

    IVariantData* columns = view->reorderData(DataOrdering::ColumnMajor);
    EXPECT_EQ(columns->dataOrdering(), DataOrdering::ColumnMajor);
    EXPECT_EQ(elementsOf<ComplexDouble>(columns),
              (std::vector<ComplexDouble>{{0, 1}, {4, 5}, {2, 3}, {6, 7}}));
    columns->destruct();
    view->destruct();
}

TEST(TransmuteVariant, ReshapesItsOwnShapeOnlyWhenHeldOnce)
{
    IVariantData* inner = counting({3, 4});
    inner->copy();
    IVariantData* view = constructTransmuteRealToComplexVariant(inner);
    view->copy();
    EXPECT_NO_THROW(view->reshapeNoRealloc(ArrayDimensionsView(Dims{3, 2})));
    EXPECT_EQ(thrownText<std::runtime_error>([&] { view->reshapeNoRealloc(ArrayDimensionsView(Dims{6})); }),
              "Reference count is greater than 1 - cannot reshape without reallocating.");
    view->destruct();

    view->reshapeNoRealloc(ArrayDimensionsView(Dims{1, 2, 3}));  // no limit on the number of dimensions
    EXPECT_EQ(view->dimensions().toVector(), (Dims{1, 2, 3}));
    EXPECT_EQ(inner->dimensions().toVector(), (Dims{3, 4}));
    EXPECT_EQ(thrownText<std::length_error>([&] { view->reshapeNoRealloc(ArrayDimensionsView(Dims{7})); }),
              "Cannot reshape array to given dimensions without reallocating.");
    EXPECT_EQ(thrownText<std::runtime_error>(
                  [&] { (void)view->reshapeToZVariant(view, ArrayDimensionsView(Dims{6}), DataOrdering::RowMajor); }),
              "Reshaping to ZVariant is not allowed for Transmute Variant");
    view->destruct();
    inner->destruct();
}

TEST(TransmuteVariant, AViewOfNothingIsRefusedAndTheReferenceStaysTheCallers)
{
    IVariantData* empty = VectorVariantData<double>::create(ArrayDimensionsView(), DataOrdering::RowMajor);
    EXPECT_THROW((void)constructTransmuteRealToComplexVariant(empty), std::invalid_argument);
    EXPECT_THROW((void)constructTransmuteComplexToRealVariant(constructVariantNull()), std::invalid_argument);
    EXPECT_EQ(countOf(empty), 1u);
    empty->destruct();
}
