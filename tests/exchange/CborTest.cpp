// CBOR: every element class through and back identical, the exact bytes of
// a few items, what other writers produce, the refusals with their words,
// codecs, and what a decode may allocate.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "LumCore/Cbor.hpp"
#include "LumCore/internal/ElementTypeDispatch.hpp"
#include "LumCore/c/ElementTypeList.h"
#include "support/CountingNew.hpp"
#include "support/Printed.hpp"
#include "support/ThrownText.hpp"

namespace {

using namespace Marlowen::Lum;
using LumTest::printed;
using LumTest::thrownText;
using Bytes = std::vector<std::uint8_t>;

Bytes bytesOf(const ZVariant& encoded)
{
    const auto* data = static_cast<const std::uint8_t*>(encoded.constStoredData());
    return Bytes(data, data + elementCount(encoded.dimensions()));
}

template <class Item>
Bytes encoded(const Item& item)
{
    const ZVariant bytes = encodeCbor(item);
    EXPECT_TRUE(bytes.holds<std::uint8_t>());
    return bytesOf(bytes);
}

ZVariant decoded(const Bytes& bytes) { return decodeCborVariant(bytes.data(), bytes.size()); }

template <class Exception>
std::string refusal(const Bytes& bytes, const DecodeLimits& limits = DecodeLimits())
{
    return thrownText<Exception>([&] { (void)decodeCborTree(bytes.data(), bytes.size(), limits); });
}

// Six elements of any class, 2 x 3: numbers converted from 0 .. 5 (and
// text from them), times made from the same.
ZVariant sixOf(WellKnownType type)
{
    const std::vector<std::size_t> shape{2, 3};
    const double values[] = {0.5, -1, 2, 3, 4, 250};
    if (type == WellKnownType(Internal::WellKnownTypeValue::duration)) {
        const Duration times[] = {{0, 0}, {-1, 2}, {3, 4}, {5, 6}, {7, 8}, {-9, 18446744073709551615u}};
        return ZVariant(times, 6, shape);
    }
    if (type == WellKnownType(Internal::WellKnownTypeValue::timePoint)) {
        const TimePoint times[] = {{0, 0}, {1, 2}, {3, 4}, {5, 6}, {7, 8}, {9, 10}};
        return ZVariant(times, 6, shape);
    }
    return ZVariant(values, 6, shape).convertTo(type, ConversionMode::CastOrParse);
}

TEST(Cbor, EveryClassComesBackIdenticalAsScalarAndInBothOrderings)
{
#define LUMTEST_TYPE(word, enumerator, code, Class) WellKnownType(Internal::WellKnownTypeValue::enumerator),
    const WellKnownType types[] = {LUMCORE_ELEMENT_TYPES(LUMTEST_TYPE)};
#undef LUMTEST_TYPE
    for (const WellKnownType type : types) {
        SCOPED_TRACE(type.toString());
        ZVariant grid = sixOf(type);
        ZVariant columns = grid;
        columns.reorderData(DataOrdering::ColumnMajor);
        const ZVariant scalar = Internal::dispatchElementType(
            type, [&](auto tag) { return ZVariant(grid.elementAt<typename decltype(tag)::type>(5)); });
        ASSERT_TRUE(scalar.isScalarStorage());
        ZVariant empty = grid;
        empty.reshapeToZVariant({0, 4});
        for (const ZVariant& value : {grid, columns, scalar, empty, ZVariant().convertTo(type)}) {
            const ZVariant back = decoded(encoded(value));
            EXPECT_TRUE(back.isIdenticalTo(value)) << printed(value) << " came back as " << printed(back);
            EXPECT_EQ(back.dataOrdering(), value.dataOrdering());
        }
    }
    // Text that is not UTF-8 comes back byte for byte, as a byte string.
    const ZString odd("\xff\xfeok", 4);
    const ZString texts[] = {odd, ZString("fine")};
    for (const ZVariant& value : {ZVariant(odd), ZVariant(texts, 2)}) {
        EXPECT_TRUE(decoded(encoded(value)).isIdenticalTo(value));
    }
    EXPECT_TRUE(decoded(encoded(ZVariant())).isNull());
}

TEST(Cbor, TheBytesOfSmallItems)
{
    EXPECT_EQ(encoded(ZVariant()), (Bytes{0xf7}));
    EXPECT_EQ(encoded(ZVariant(std::int64_t{-500})), (Bytes{0x39, 0x01, 0xf3}));
    EXPECT_EQ(encoded(ZVariant(1.5)), (Bytes{0xfb, 0x3f, 0xf8, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(encoded(ZVariant(1.5f)), (Bytes{0xfa, 0x3f, 0xc0, 0, 0}));  // never shortened
    EXPECT_EQ(encoded(ZVariant(std::uint16_t{258})), (Bytes{0xd8, 69, 0x42, 0x02, 0x01}));
    EXPECT_EQ(encoded(ZVariant(std::complex<float>(1, 2))),
              (Bytes{0xd9, 0xa7, 0xf8, 0x82, 0xfa, 0x3f, 0x80, 0, 0, 0xfa, 0x40, 0, 0, 0}));
    EXPECT_EQ(encoded(ZVariant(Duration{-1, 2})), (Bytes{0xd8, 27, 0x83, 0x68, 'd', 'u', 'r', 'a', 't', 'i', 'o', 'n',
                                                         0x20, 0x02}));
    const std::uint8_t pair[] = {1, 2};
    EXPECT_EQ(encoded(ZVariant(pair, 2)), (Bytes{0xd8, 40, 0x82, 0x81, 0x02, 0xd8, 64, 0x42, 1, 2}));
    const bool flags[] = {true, false};
    EXPECT_EQ(encoded(ZVariant(flags, 2, {1, 2}, DataOrdering::ColumnMajor)),
              (Bytes{0xd9, 0x04, 0x10, 0x82, 0x82, 0x01, 0x02, 0xd8, 27, 0x82, 0x64, 'b', 'o', 'o', 'l', 0x82, 0xf5,
                     0xf4}));
    const PropertyNode tree(PropertyMap{{"a", PropertyList{PropertyNode(), std::int64_t{1}}}});
    EXPECT_EQ(encoded(tree), (Bytes{0xa1, 0x61, 'a', 0x82, 0xf6, 0x01}));
    EXPECT_EQ(encoded(FPropertyNode(tree)), encoded(tree));
}

// The caller's buffer: the size is told first, the bytes written once they fit.
TEST(Cbor, IntoACallersBuffer)
{
    const ZVariant value(std::int64_t{1000});
    EXPECT_EQ(encodeCbor(value, nullptr, 0), 3u);
    std::uint8_t buffer[3] = {};
    EXPECT_EQ(encodeCbor(value, buffer, 3), 3u);
    EXPECT_EQ(Bytes(buffer, buffer + 3), (Bytes{0x19, 0x03, 0xe8}));
}

TEST(Cbor, TreesKeepKindsAndKeyOrderAndTheFirstOfARepeatedKey)
{
    const PropertyNode tree(PropertyMap{{"z", 1.5}, {"a", PropertyList{PropertyNode(), ZVariant()}}, {"m", "text"}});
    const Bytes bytes = encoded(tree);
    const FPropertyNode frozen = decodeCborTree(bytes.data(), bytes.size());
    const PropertyNode mutableBack = decodeCborPropertyNode(bytes.data(), bytes.size());
    EXPECT_EQ(printed(frozen), printed(FPropertyNode(tree)));
    EXPECT_EQ(printed(FPropertyNode(mutableBack)), printed(FPropertyNode(tree)));
    EXPECT_TRUE(frozen.at({"a", 0}).isNull());
    EXPECT_TRUE(frozen.at({"a", 1}).value().isNull());
    // {"k": 1, "k": 2} and a large map with its first key again at the end.
    const Bytes twice{0xa2, 0x61, 'k', 0x01, 0x61, 'k', 0x02};
    EXPECT_EQ(decodeCborTree(twice.data(), twice.size()).map().at("k").value().as<int>(), 1);
    Bytes large{0xb8, 21};
    for (int i = 0; i < 21; ++i) {
        const std::string key = i == 20 ? "key0" : "key" + std::to_string(i);
        large.push_back(static_cast<std::uint8_t>(0x60 + key.size()));
        large.insert(large.end(), key.begin(), key.end());
        large.push_back(static_cast<std::uint8_t>(i));
    }
    const FPropertyNode many = decodeCborTree(large.data(), large.size());
    EXPECT_EQ(many.map().size(), 20u);
    EXPECT_EQ(many.map().at("key0").value().as<int>(), 0);
}

// What other writers produce for the same content.
TEST(Cbor, ReadsOtherWritersForms)
{
    const auto values = [](const ZVariant& v) { return printed(v); };
    EXPECT_EQ(values(decoded({0xf9, 0x3c, 0x00})), "1");                       // float16
    EXPECT_TRUE(decoded({0xf9, 0x3c, 0x00}).holds<float>());
    EXPECT_TRUE(decoded({0x1b, 0x80, 0, 0, 0, 0, 0, 0, 0}).holds<std::uint64_t>());  // above int64
    EXPECT_EQ(values(decoded({0xd8, 65, 0x44, 0x01, 0x02, 0x00, 0x03})), "[258, 3]");  // big-endian uint16
    EXPECT_EQ(values(decoded({0xd8, 80, 0x42, 0x3c, 0x00})), "1");                 // float16 array of one
    EXPECT_EQ(values(decoded({0xd8, 82, 0x48, 0x3f, 0xf8, 0, 0, 0, 0, 0, 0})), "1.5");  // big-endian double
    EXPECT_EQ(values(decoded({0x43, 1, 2, 3})), "[1, 2, 3]");                        // bytes: uint8 array
    EXPECT_TRUE(decoded({0x43, 1, 2, 3}).holds<std::uint8_t>());
    // Plain arrays under tag 40 (and 41): integers, any float, booleans, texts, none.
    const ZVariant ints = decoded({0xd8, 40, 0x82, 0x82, 0x01, 0x02, 0x82, 0x01, 0x20});
    EXPECT_TRUE(ints.holds<std::int64_t>());
    EXPECT_EQ(values(ints), "[1, -1]");
    EXPECT_TRUE(decoded({0xd8, 40, 0x82, 0x81, 0x02, 0x82, 0x01, 0xf9, 0x3c, 0x00}).holds<double>());
    EXPECT_TRUE(decoded({0xd8, 41, 0x82, 0xf5, 0xf4}).holds<bool>());
    EXPECT_TRUE(decoded({0xd8, 40, 0x82, 0x81, 0x01, 0x81, 0x61, 'x'}).holds<ZString>());
    EXPECT_TRUE(decoded({0xd8, 40, 0x82, 0x81, 0x00, 0x80}).holds<double>());
    // Indefinite lengths: a list, a map, chunked bytes and text.
    const Bytes indefinite{0xbf, 0x61, 'l', 0x9f, 0x01, 0x7f, 0x61, 'a', 0x61, 'b', 0xff, 0xff, 0xff};
    const FPropertyNode tree = decodeCborTree(indefinite.data(), indefinite.size());
    EXPECT_EQ(tree.at({"l", 1}).value().as<ZString>(), ZString("ab"));
    EXPECT_EQ(values(decoded({0x5f, 0x41, 1, 0x41, 2, 0xff})), "[1, 2]");
}

TEST(Cbor, MalformedInputIsRefusedWithItsOffset)
{
    using IA = std::invalid_argument;
    EXPECT_EQ(refusal<IA>({0x19, 0x01}), "CBOR at byte 1: the input ends inside an item");
    EXPECT_EQ(refusal<IA>({0x82, 0x01}), "CBOR at byte 0: an array of 2 items in 1 bytes");
    EXPECT_EQ(refusal<IA>({0x5a, 0xff, 0xff, 0xff, 0xff}), "CBOR at byte 0: a string of 4294967295 bytes in 0 bytes");
    EXPECT_EQ(refusal<IA>({0x9b, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff}),
              "CBOR at byte 0: an array of 18446744073709551615 items in 0 bytes");
    EXPECT_EQ(refusal<IA>({0x01, 0x02}), "CBOR at byte 1: 1 bytes after the item");
    EXPECT_EQ(refusal<IA>({0xd8, 40, 0x82, 0x81, 0x03, 0xd8, 64, 0x42, 1, 2}),
              "CBOR at byte 7: extents that do not describe the 2 elements given");
    EXPECT_EQ(refusal<IA>({0xd8, 40, 0x82, 0x82, 0x1b, 0x80, 0, 0, 0, 0, 0, 0, 0, 0x02, 0xd8, 64, 0x40}),
              "CBOR at byte 16: extents that do not describe the 0 elements given");
    EXPECT_EQ(refusal<IA>({0xc2, 0x41, 0x01}), "CBOR at byte 0: the tag 2, which has no meaning here");
    EXPECT_EQ(refusal<IA>({0x62, 0xc3, 0x28}), "CBOR at byte 0: a text string that is not valid UTF-8");
    EXPECT_EQ(refusal<IA>({0xa1, 0x01, 0x01}), "CBOR at byte 1: a map key that is not text");
    EXPECT_EQ(refusal<IA>({0x3b, 0x80, 0, 0, 0, 0, 0, 0, 0}), "CBOR at byte 0: an integer below the range of int64");
    EXPECT_EQ(refusal<IA>({0xd8, 69, 0x43, 1, 2, 3}),
              "CBOR at byte 2: a typed array of 3 bytes, no whole number of 2-byte elements");
    EXPECT_EQ(refusal<IA>({0xff}), "CBOR at byte 0: a break outside an indefinite item");
    EXPECT_EQ(refusal<IA>({0x1c}), "CBOR at byte 0: reserved additional information 28");
    EXPECT_EQ(refusal<IA>({0xd9, 0xa7, 0xf8, 0x82, 0x01, 0xf5}),
              "CBOR at byte 0: the parts of a complex number are not two numbers of one class");
    EXPECT_EQ(thrownText<IA>([] { (void)decodeCborVariant("\x81\x01", 2); }),
              "CBOR at byte 0: a list where a variant was expected");

    Bytes deep(600, 0x81);
    deep.push_back(0x01);
    EXPECT_EQ(refusal<std::length_error>(deep), "CBOR at byte 512: nesting deeper than the limit of 512");
    DecodeLimits few;
    few.maxNewNames = 1;
    EXPECT_EQ(refusal<std::length_error>({0xa2, 0x63, 'q', '#', '1', 0x01, 0x63, 'q', '#', '2', 0x02}, few),
              "CBOR at byte 6: more new names than the limit of 1");
}

// Every form the reader knows, malformed one way each: the words and the
// byte where it went wrong.
TEST(Cbor, EachMalformedFormNamesItsFault)
{
    const struct {
        Bytes bytes;
        const char* words;
    } rows[] = {
        {{0xd8, 40, 0x81, 0x80}, "byte 2: a shaped array that is not [extents, elements]"},
        {{0xd8, 40, 0x83, 0x81, 0x01, 0x81, 0x01, 0x01}, "byte 2: a shaped array that is not [extents, elements]"},
        {{0xd8, 40, 0x82, 0x01, 0x80}, "byte 3: extents that are not an array"},
        {{0xd8, 40, 0x82, 0x81, 0x61, 'a', 0x80}, "byte 4: an extent that is not an unsigned integer"},
        {{0xd8, 40, 0x82, 0x81, 0x01, 0x01}, "byte 5: array elements that are neither a typed, a named nor a plain array"},
        {{0xd8, 40, 0x82, 0x81, 0x01, 0xd8, 99, 0x40}, "byte 5: the tag 99, which has no meaning here"},
        {{0xd8, 40, 0x82, 0x81, 0x01, 0xd9, 0xa7, 0xf9, 0x01},
         "byte 8: complex parts that are neither a typed array nor named booleans"},
        {{0xd8, 40, 0x82, 0x81, 0x01, 0xd9, 0xa7, 0xf9, 0xd8, 27, 0x82, 0x61, 'x', 0x81, 0x61, 'a'},
         "byte 11: complex parts named 'x'; only booleans are named"},
        {{0xd8, 40, 0x82, 0x81, 0x01, 0xd9, 0xa7, 0xf9, 0xd8, 27, 0x82, 0x64, 'b', 'o', 'o', 'l', 0x81, 0xf5},
         "byte 16: an odd number of complex parts"},
        {{0xd8, 40, 0x82, 0x81, 0x01, 0xd8, 27, 0x82, 0x64, 'b', 'o', 'o', 'l', 0x81, 0x01},
         "byte 14: an element of 'bool' that is not a boolean"},
        {{0xd8, 40, 0x82, 0x81, 0x01, 0xd8, 27, 0x82, 0x66, 's', 't', 'r', 'i', 'n', 'g', 0x81, 0x01},
         "byte 16: an element of 'string' that is no string"},
        {{0xd8, 40, 0x82, 0x81, 0x01, 0xd8, 27, 0x82, 0x68, 'd', 'u', 'r', 'a', 't', 'i', 'o', 'n', 0x81, 0x01},
         "byte 17: an odd number of time fields"},
        {{0xd8, 40, 0x82, 0x81, 0x01, 0xd8, 27, 0x82, 0x64, 'b', 'o', 'o', 'l', 0x01},
         "byte 13: the elements of 'bool' are not an array"},
        {{0xd8, 40, 0x82, 0x81, 0x01, 0xd8, 27, 0x81, 0x64, 'b', 'o', 'o', 'l'},
         "byte 7: named elements that are not [name, elements]"},
        {{0xd8, 40, 0x82, 0x81, 0x01, 0xd8, 27, 0x82, 0x01, 0x80}, "byte 8: a class name that is not text"},
        {{0xd8, 40, 0x82, 0x81, 0x01, 0xd8, 27, 0x82, 0x61, 'N', 0x01}, "byte 7: the elements of 'N' are not a list"},
        {{0xd8, 40, 0x82, 0x81, 0x02, 0x82, 0x01, 0x61, 'a'}, "byte 7: a plain array of elements of different kinds"},
        {{0xd8, 40, 0x82, 0x81, 0x01, 0x81, 0x80},
         "byte 6: an element of a plain array that is no number, boolean or text"},
        {{0xd8, 41, 0x01}, "byte 2: a homogeneous array that is not an array"},
        {{0xd8, 64, 0x01}, "byte 2: a typed array that is not a byte string"},
        {{0xd9, 0xa7, 0xf8, 0x83, 0x01, 0x01, 0x01}, "byte 3: a complex number that is not [re, im]"},
        {{0xd8, 27, 0x80}, "byte 2: a named class that is not [name, content]"},
        {{0xd8, 27, 0x81, 0x01}, "byte 3: a class name that is not text"},
        {{0xd8, 27, 0x82, 0x68, 'd', 'u', 'r', 'a', 't', 'i', 'o', 'n', 0x01},
         "byte 2: a time that is not [name, seconds, fraction]"},
        {{0xd8, 27, 0x83, 0x68, 'd', 'u', 'r', 'a', 't', 'i', 'o', 'n', 0x01, 0x20},
         "byte 13: a time's fraction that is not an unsigned integer"},
        {{0xd8, 27, 0x83, 0x68, 'd', 'u', 'r', 'a', 't', 'i', 'o', 'n', 0x61, 'x', 0x01},
         "byte 12: a time's seconds that are not an integer of int64's range"},
        {{0x5f, 0x61, 'a', 0xff}, "byte 1: a chunk of an indefinite string that is no definite string of its kind"},
        {{0xf8, 0x20}, "byte 0: the simple value 32, which has no meaning here"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(refusal<std::invalid_argument>(row.bytes), "CBOR at " + std::string(row.words));
    }
    // The same forms whole, on their own: one-dimensional arrays.
    EXPECT_TRUE(decoded({0xd8, 27, 0x82, 0x64, 'b', 'o', 'o', 'l', 0x82, 0xf5, 0xf4}).holds<bool>());
    EXPECT_TRUE(decoded({0xd9, 0xa7, 0xf9, 0xd8, 70, 0x48, 1, 0, 0, 0, 2, 0, 0, 0}).holds<Complex<std::uint32_t>>());
    EXPECT_EQ(decoded({0xd8, 73, 0x42, 0x80, 0x00}).as<std::int16_t>(), -32768);  // big-endian int16 of one
    EXPECT_EQ(decoded({0xd8, 84, 0x42, 0x00, 0x3c}).as<float>(), 1.0f);             // little-endian float16
    EXPECT_EQ(printed(decoded({0xd8, 40, 0x82, 0x81, 0x02, 0x82, 0xfa, 0x3f, 0x80, 0, 0, 0x20})), "[1, -1]");
}

TEST(Cbor, WhatHasNoFormIsRefusedAtEncoding)
{
    const double values[] = {1, 2};
    const ZVariant unordered(values, 2, {1, 2}, static_cast<DataOrdering>(5));
    EXPECT_EQ(thrownText<std::invalid_argument>([&] { (void)encodeCbor(unordered); }),
              "An array stored in an ordering other than row- or column-major has no CBOR form.");
    struct Unregistered {
        bool operator==(const Unregistered&) const { return true; }
    };
    EXPECT_NE(thrownText<std::runtime_error>([] { (void)encodeCbor(ZVariant(Unregistered())); })
                  .find("No codec found to encode type"),
              std::string::npos);
}

// Application classes travel as the codec's name and tree (PropertyPath's
// codec is built in), scalars and arrays of any shape and ordering.
TEST(Cbor, ApplicationClassesTravelThroughTheirCodecs)
{
    const PropertyPath path{"sensors", 0, "rate"};
    const ZVariant scalar(path);
    EXPECT_TRUE(decoded(encoded(scalar)).isIdenticalTo(scalar));
    std::vector<PropertyPath> paths{PropertyPath{"a"}, PropertyPath{"b", 1}, PropertyPath{}, path, {}, {"c"}};
    const ZVariant grid(std::move(paths), {3, 2});
    ZVariant columns = ZVariant(grid);
    columns.reshapeToZVariant({3, 2}, DataOrdering::ColumnMajor);
    for (const ZVariant& value : {grid, columns}) {
        const ZVariant back = decoded(encoded(value));
        ASSERT_TRUE(back.holds<PropertyPath>());
        EXPECT_TRUE(sameExtents(back.dimensions(), value.dimensions()));
        EXPECT_EQ(back.dataOrdering(), value.dataOrdering());
        EXPECT_EQ(back.elementAt<PropertyPath>(3), path);
    }
    const Bytes unknown{0xd8, 27, 0x82, 0x66, 'N', 'o', 'b', 'o', 'd', 'y', 0xa0};
    EXPECT_EQ(thrownText<std::runtime_error>([&] { (void)decoded(unknown); }), "No codec found to decode type Nobody");
}

// Decoding n bytes asks for a bounded number of bytes per byte, whatever
// the input claims: a large typed array about once its size, a list of
// one-byte items a constant per item.
TEST(Cbor, DecodingAllocatesAConstantPerByte)
{
    const auto perByte = [](const Bytes& bytes) {
        const std::uint64_t before = LumTest::allocatedBytes();
        const FPropertyNode tree = decodeCborTree(bytes.data(), bytes.size());
        return static_cast<double>(LumTest::allocatedBytes() - before) / static_cast<double>(bytes.size());
    };
    std::vector<double> samples(1 << 16, 0.25);
    const Bytes big = encoded(ZVariant(samples.data(), samples.size()));
    EXPECT_LT(perByte(big), 1.1);
    Bytes list{0x9a, 0x00, 0x01, 0x00, 0x00};
    list.insert(list.end(), 1 << 16, 0x01);
    EXPECT_LT(perByte(list), 96.0);
    Bytes flags{0xd8, 27, 0x82, 0x64, 'b', 'o', 'o', 'l', 0x9a, 0x00, 0x01, 0x00, 0x00};
    flags.insert(flags.end(), 1 << 16, 0xf5);
    EXPECT_LT(perByte(flags), 4.0);
}

}  // namespace
