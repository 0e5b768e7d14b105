#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "LumCore/VariantFactories.hpp"
#include "LumCore/IVariantDataRefCounted.hpp"
#include "variant/NullVariantData.hpp"
#include "support/ThrownText.hpp"

using namespace Marlowen::Lum;
using namespace Marlowen::Lum::Internal;

namespace {

using LumTest::thrownText;

}  // namespace

TEST(NullVariantData, TwoDistinctStaticsThatIgnoreCounting)
{
    IVariantData* typed = constructVariantNull();
    IVariantData* flat = flatNullVariant();
    EXPECT_EQ(typed, constructVariantNull());
    EXPECT_NE(typed, flat);
    for (IVariantData* null : {typed, flat}) {
        null->copy();
        null->destruct();
        null->destruct();
        EXPECT_EQ(null->mutableInstance(), null);
        EXPECT_EQ(null->reorderData(DataOrdering::ColumnMajor), null);
        EXPECT_EQ(null->wellKnownDataType(), WellKnownType());
        EXPECT_EQ(null->dimensions().size(), 0u);
        EXPECT_EQ(null->reshapeToZVariant(null, ArrayDimensionsView(), DataOrdering::RowMajor), nullptr);
    }
}

// The length of the list counts, not the elements it describes.
TEST(NullVariantData, ReshapesOnlyToTheEmptyList)
{
    IVariantData* null = constructVariantNull();
    EXPECT_NO_THROW(null->reshapeNoRealloc(ArrayDimensionsView()));
    const std::vector<std::size_t> zero{0};
    EXPECT_EQ(thrownText<std::invalid_argument>([&] { null->reshapeNoRealloc(ArrayDimensionsView(zero)); }),
              "Cannot reshape an empty ZVariant to one containing more than zero elements without reallocating.");
}

TEST(NullVariantData, ConvertsToAnEmptyArrayOfEveryElementTypeInEveryMode)
{
    IVariantData* null = constructVariantNull();
    EXPECT_EQ(null->convertDataTo(WellKnownType(), ConversionMode::Lossless), null);
    for (std::uint16_t code : {0x0001, 0x0002, 0x0004, 0x0005, 0x0006, 0x0007, 0x0010, 0x0030, 0x0040,
                               0x4003, 0x4004, 0x4005, 0x4006, 0x4007, 0x8001, 0x8002, 0x8004, 0x8005,
                               0x8006, 0x8007, 0xC003, 0xC004, 0xC005, 0xC006, 0xC007}) {
        for (auto mode : {ConversionMode::Lossless, ConversionMode::Cast, static_cast<ConversionMode>(7)}) {
            IVariantData* empty = null->convertDataTo(WellKnownType::fromBits(code), mode);
            ASSERT_NE(empty, nullptr) << std::hex << code;
            EXPECT_EQ(empty->wellKnownDataType().bits(), code);
            EXPECT_EQ(empty->dimensions().size(), 0u);
            EXPECT_EQ(empty->numberAllocatedElements(), 0u);
            EXPECT_EQ(dynamic_cast<IVariantDataRefCounted&>(*empty).referenceCount(), 1u);
            empty->destruct();
        }
    }
}

TEST(NullVariantData, TargetsThatNameNoElementClassThrowTheDispatchWords)
{
    auto convert = [](std::uint16_t code) {
        return [=] { (void)constructVariantNull()->convertDataTo(WellKnownType::fromBits(code), ConversionMode::Cast); };
    };
    EXPECT_EQ(thrownText<std::runtime_error>(convert(0x0020)), "unknown type");  // customType
    EXPECT_EQ(thrownText<std::runtime_error>(convert(0x0050)), "unknown type");
    EXPECT_EQ(thrownText<std::runtime_error>(convert(0x0003)), "not a numeric type");
}
