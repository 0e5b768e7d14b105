// Views that read a real array as complex pairs and a complex array as real
// parts, copying only when written or reordered.
#include <numeric>

#include "LumCore/internal/ElementTypeDispatch.hpp"
#include "StorageTestSupport.hpp"
#include "variant/TransmuteComplexToRealVariant.hpp"
#include "variant/TransmuteRealToComplexVariant.hpp"

namespace {

using namespace StorageTest;
using ComplexDouble = std::complex<double>;
using V = WellKnownTypeValue;

// An array whose stored elements are 0, 1, 2, ... in storage order.
IVariantData* counting(const Extents& dims, DataOrdering ordering = kRow)
{
    auto* array = VectorVariantData<double>::create(ArrayDimensionsView(dims), ordering);
    std::iota(array->elements(), array->elements() + elementCount(ArrayDimensionsView(dims)), 0.0);
    return array;
}

Owned asComplex(IVariantData* inner) { return Owned(constructTransmuteRealToComplexVariant(inner)); }
Owned asReal(IVariantData* inner) { return Owned(constructTransmuteComplexToRealVariant(inner)); }

TEST(TransmuteVariant, TheFastestDimensionIsHalvedOrDoubled)
{
    Owned rows = asComplex(counting({3, 4}));
    EXPECT_EQ(extentsOf(*rows), (Extents{3, 2}));
    EXPECT_EQ(rows->numberAllocatedElements(), 6u);
    // Element (1, 1) is the pair at storage positions 6 and 7.
    EXPECT_EQ(elementsOf<ComplexDouble>(*rows)[1 * 2 + 1], ComplexDouble(6, 7));

    EXPECT_EQ(extentsOf(*asComplex(counting({4, 3}, kColumn))), (Extents{2, 3}));
    EXPECT_EQ(extentsOf(*asComplex(counting({5}))), (Extents{2}));

    auto* complexArray = VectorVariantData<ComplexDouble>::create(ArrayDimensionsView{2, 3}, kRow);
    Owned real = asReal(complexArray);
    EXPECT_EQ(extentsOf(*real), (Extents{2, 6}));
    EXPECT_EQ(real->constStoredData(), complexArray->constStoredData());

    alignas(void*) unsigned char buffer[8];  // too small: a counted scalar
    Owned scalar = asComplex(constructVariantScalar<double>(buffer, 8, 1.0));
    EXPECT_EQ(extentsOf(*scalar), (Extents{0}));
    EXPECT_FALSE(scalar->isScalarStorage());
}

TEST(TransmuteVariant, CodesMapByTheComplexBitAndNonNumericDataHasNone)
{
    const auto arrayOf = [](V type) {
        return dispatchElementType(WellKnownType(type), [](auto tag) -> IVariantData* {
            using T = typename decltype(tag)::type;
            return VectorVariantData<T>::create(ArrayDimensionsView{2}, kRow);
        });
    };
    for (auto [realType, complexType] : {std::pair{V::double_, V::complexDouble},
                                         {V::unsignedInt8, V::complexUnsignedInt8},
                                         {V::bool_, V::complexBool}}) {
        Owned complexView = asComplex(arrayOf(realType));
        EXPECT_EQ(complexView->wellKnownDataType(), WellKnownType(complexType));
        EXPECT_EQ(complexView->typeInfo(), nullptr);
        EXPECT_EQ(asReal(arrayOf(complexType))->wellKnownDataType(), WellKnownType(realType));
    }

    // Non-numeric data builds a view, which has no complex type.
    const char* const kWords = "Can not convert non-numeric data type to complex numeric type";
    const ZString words[2] = {ZString("text"), ZString("text")};
    Owned strings = asComplex(constructVariantVectorWithDataWithDimsUnresolved<ZString>(words, 2, {}, kRow));
    EXPECT_EQ(extentsOf(*strings), (Extents{1}));
    EXPECT_EQ(thrownText<std::runtime_error>([&] { (void)strings->wellKnownDataType(); }), kWords);
    Owned real = asReal(VectorVariantData<ComplexDouble>::create(ArrayDimensionsView{1}, kRow));
    EXPECT_EQ(thrownText<std::runtime_error>(
                  [&] { (void)real->convertDataTo(WellKnownType(V::string), ConversionMode::Cast); }),
              kWords);
}

TEST(TransmuteVariant, ConversionConvertsTheInnerArrayAndKeepsTheView)
{
    IVariantData* inner = counting({2, 4});
    Owned view = asComplex(inner);
    Owned floats(view->convertDataTo(WellKnownType(V::complexFloat), ConversionMode::Cast));
    auto* floatView = dynamic_cast<TransmuteRealToComplexVariant*>(floats.get());
    ASSERT_NE(floatView, nullptr);
    EXPECT_EQ(floatView->wellKnownDataType(), WellKnownType(V::complexFloat));
    EXPECT_EQ(extentsOf(*floats), (Extents{2, 2}));
    EXPECT_EQ(elementsOf<std::complex<float>>(*floats)[3], std::complex<float>(6, 7));

    Owned back = asReal(floats.release());
    Owned doubles(back->convertDataTo(WellKnownType(V::double_), ConversionMode::Cast));
    ASSERT_NE(dynamic_cast<TransmuteComplexToRealVariant*>(doubles.get()), nullptr);
    EXPECT_EQ(valuesOf<double>(*doubles), iota(8));

    // A refusal behind the view is a refusal, not a view over nothing.
    static_cast<double*>(inner->mutableStoredData())[0] = 0.5;
    EXPECT_EQ(view->convertDataTo(WellKnownType(V::complexInt32), ConversionMode::Lossless), nullptr);
}

TEST(TransmuteVariant, WritingAndReorderingMakePlainArraysAndLeaveTheViewedDataAlone)
{
    IVariantData* inner = counting({2, 4});
    inner->copy();  // the test keeps its own reference to look at the data
    Owned innerHeld(inner);
    IVariantData* view = constructTransmuteRealToComplexVariant(inner);
    EXPECT_FALSE(static_cast<IVariantDataRefCounted*>(view)->hasSingleReference());

    EXPECT_EQ(Owned(view->reorderData(kRow)).get(), view);
    Owned columns(view->reorderData(kColumn));
    EXPECT_EQ(valuesOf<ComplexDouble>(*columns), (std::vector<ComplexDouble>{{0, 1}, {4, 5}, {2, 3}, {6, 7}}));

    Owned mine(view->mutableInstance());  // the only holder: still a copy
    EXPECT_EQ(dynamic_cast<TransmuteRealToComplexVariant*>(mine.get()), nullptr);
    EXPECT_EQ(mine->typeInfo(), &typeid(ComplexDouble));
    EXPECT_EQ(extentsOf(*mine), (Extents{2, 2}));
    EXPECT_EQ(elementsOf<ComplexDouble>(*mine)[2], ComplexDouble(4, 5));
    static_cast<ComplexDouble*>(mine->mutableStoredData())[0] = {-1, -1};
    EXPECT_EQ(valuesOf<double>(*inner), iota(8));
    EXPECT_EQ(refCount(inner), 1u);  // the view gave its reference up
}

TEST(TransmuteVariant, ReshapesItsOwnShapeOnlyWhenHeldOnce)
{
    IVariantData* inner = counting({3, 4});
    inner->copy();
    Owned innerHeld(inner);
    Owned view = asComplex(inner);
    view->copy();
    EXPECT_NO_THROW(view->reshapeNoRealloc(ArrayDimensionsView{3, 2}));
    EXPECT_EQ(thrownText<std::runtime_error>([&] { view->reshapeNoRealloc(ArrayDimensionsView{6}); }),
              "Reference count is greater than 1 - cannot reshape without reallocating.");
    view->destruct();

    view->reshapeNoRealloc(ArrayDimensionsView{1, 2, 3});  // no limit on the number of dimensions
    EXPECT_EQ(extentsOf(*view), (Extents{1, 2, 3}));
    EXPECT_EQ(extentsOf(*inner), (Extents{3, 4}));
    EXPECT_EQ(thrownText<std::length_error>([&] { view->reshapeNoRealloc(ArrayDimensionsView{7}); }),
              "Cannot reshape array to given dimensions without reallocating.");
    EXPECT_EQ(thrownText<std::runtime_error>(
                  [&] { (void)view->reshapeToZVariant(view.get(), ArrayDimensionsView{6}, kRow); }),
              "Reshaping to ZVariant is not allowed for Transmute Variant");

    // A view of nothing is refused, and the reference stays the caller's.
    Owned empty(VectorVariantData<double>::create(ArrayDimensionsView(), kRow));
    EXPECT_THROW((void)constructTransmuteRealToComplexVariant(empty.get()), std::invalid_argument);
    EXPECT_THROW((void)constructTransmuteComplexToRealVariant(constructVariantNull()), std::invalid_argument);
    EXPECT_EQ(refCount(empty.get()), 1u);
}

}  // namespace
