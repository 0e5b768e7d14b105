// The null storage objects: static, uncounted, and convertible to an empty
// array of any element type.

#include "StorageTestSupport.hpp"
#include "variant/NullVariantData.hpp"

namespace {

using namespace StorageTest;

TEST(NullVariantData, TwoDistinctStaticsThatIgnoreCountingAndReshapeOnlyToTheEmptyList)
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
        EXPECT_EQ(null->reorderData(kColumn), null);
        EXPECT_EQ(null->wellKnownDataType(), WellKnownType());
        EXPECT_EQ(null->dimensions().size(), 0u);
        EXPECT_EQ(null->reshapeToZVariant(null, ArrayDimensionsView(), kRow), nullptr);
    }
    // The length of the list counts, not the elements it describes.
    EXPECT_NO_THROW(typed->reshapeNoRealloc(ArrayDimensionsView()));
    EXPECT_EQ(thrownText<std::invalid_argument>([&] { typed->reshapeNoRealloc(ArrayDimensionsView{0}); }),
              "Cannot reshape an empty ZVariant to one containing more than zero elements without reallocating.");
}

TEST(NullVariantData, ConvertsToAnEmptyArrayOfEveryElementTypeInEveryMode)
{
    IVariantData* null = constructVariantNull();
    EXPECT_EQ(null->convertDataTo(WellKnownType(), ConversionMode::Lossless), null);
    for (std::uint16_t code :
         {0x0001, 0x0002, 0x0004, 0x0005, 0x0006, 0x0007, 0x0010, 0x0030, 0x0040, 0x4003, 0x4004, 0x4005, 0x4006,
          0x4007, 0x8001, 0x8002, 0x8004, 0x8005, 0x8006, 0x8007, 0xC003, 0xC004, 0xC005, 0xC006, 0xC007}) {
        for (auto mode : {ConversionMode::Lossless, ConversionMode::Cast, static_cast<ConversionMode>(7)}) {
            Owned empty(null->convertDataTo(WellKnownType::fromBits(code), mode));
            ASSERT_NE(empty.get(), nullptr) << std::hex << code;
            EXPECT_EQ(empty->wellKnownDataType().bits(), code);
            EXPECT_EQ(empty->dimensions().size(), 0u);
            EXPECT_EQ(refCount(empty.get()), 1u);
        }
    }
    // Targets that name no element class throw the dispatch's words.
    for (const auto& row : {std::pair{0x0020, "unknown type"}, {0x0003, "not a numeric type"}}) {
        const auto target = WellKnownType::fromBits(row.first);
        EXPECT_EQ(thrownText<std::runtime_error>([&] { (void)null->convertDataTo(target, ConversionMode::Cast); }),
                  row.second);
    }
}

}  // namespace
