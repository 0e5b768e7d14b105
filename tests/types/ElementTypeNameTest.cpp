#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "LumCore/internal/ElementTypeName.hpp"
#include "support/ThrownText.hpp"

namespace {

using namespace Marlowen::Lum;
using namespace Marlowen::Lum::Internal;
using V = WellKnownTypeValue;

TEST(ElementTypeName, EveryElementTypeHasItsPortableNameAndOtherValuesThrowTheWordsOfTheirKind)
{
    const std::string c = "Marlowen::Lum::Complex<";
    const struct {
        V value;
        std::string name;
    } rows[] = {
        {V::bool_, "bool"},
        {V::complexBool, c + "bool,void>"},
        {V::double_, "double"},
        {V::float_, "float"},
        {V::int8, "int8_t"},
        {V::int16, "int16_t"},
        {V::int32, "int"},
        {V::int64, "int64_t"},
        {V::unsignedInt8, "uint8_t"},
        {V::unsignedInt16, "uint16_t"},
        {V::unsignedInt32, "unsigned int"},
        {V::unsignedInt64, "uint64_t"},
        {V::complexDouble, "std::complex<double>"},
        {V::complexFloat, "std::complex<float>"},
        {V::complexInt8, c + "signed char,void>"},
        {V::complexInt16, c + "short,void>"},
        {V::complexInt32, c + "int,void>"},
        {V::complexInt64, c + "__int64,void>"},
        {V::complexUnsignedInt8, c + "unsigned char,void>"},
        {V::complexUnsignedInt16, c + "unsigned short,void>"},
        {V::complexUnsignedInt32, c + "unsigned int,void>"},
        {V::complexUnsignedInt64, c + "unsigned __int64,void>"},
        {V::string, "Marlowen::Lum::ZString"},
        {V::duration, "Marlowen::Lum::Duration"},
        {V::timePoint, "Marlowen::Lum::TimePoint"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(elementTypeName(WellKnownType(row.value)).to_string(), row.name);
    }

    const struct {
        std::uint16_t bits;
        const char* words;
    } failures[] = {
        {0x0000, "unknown type"},       {0x0020, "unknown type"},       {0x0050, "unknown type"},
        {0x8010, "unknown type"},       {0x0003, "not a numeric type"}, {0x0008, "not a numeric type"},
        {0x4001, "not a numeric type"}, {0x8003, "not a numeric type"}, {0x0013, "not a numeric type"},
    };
    for (const auto& row : failures) {
        EXPECT_EQ(
            LumTest::thrownText<std::runtime_error>([&] { (void)elementTypeName(WellKnownType::fromBits(row.bits)); }),
            row.words)
            << std::hex << row.bits;
    }
}

// The normaliser strips the decoration of other toolchains; the spelling of
// builtins by gcc and clang becomes one, and so does the extractor's
// signature.
TEST(TypeSpelling, OtherToolchainsAndCompilersSpellAlike)
{
    const struct {
        const char* text;
        std::size_t cut;
        std::string_view name;
    } rows[] = {
        {"class Marlowen::Lum::Complex<bool,void> >::n", 4, "Marlowen::Lum::Complex<bool,void>"},
        {"struct A::B<struct C,class D>", 0, "A::B<C,D>"},
        // Only the inline-namespace form "::__1::" triggers the removal.
        {"lib::__1", 0, "lib::__1"},
        {"a::__1::b::__1", 0, "a::b"},
        {"   ", 0, ""},
        {"x>::n", 40, ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(normaliseTypeName(row.text, row.cut), row.name) << row.text;
    }

    const std::string int64 = sizeof(long) == 8 ? "__int64" : "long";
    const struct {
        std::string_view printed;
        std::string name;
    } spellings[] = {
        {"short unsigned int", "unsigned short"},
        {"unsigned long", "unsigned " + int64},
        {"long long unsigned int", "unsigned __int64"},
        {"unsigned", "unsigned int"},
        {"long double", "long double"},
        {"const char *", "const char *"},
        {"std::map<long int, short unsigned int>", "std::map<" + int64 + ",unsigned short>"},
        // Words that only begin like builtins are names of their own.
        {"longest<integer, unsigned_t>", "longest<integer,unsigned_t>"},
    };
    for (const auto& row : spellings) {
        EXPECT_EQ(portableTypeSpelling(row.printed), row.name) << row.printed;
    }

    const std::string_view gcc =
        "static const char* Marlowen::Lum::Internal::CtTypeExtractor<T>::n() "
        "[with T = Marlowen::Lum::Complex<long unsigned int>]";
    const std::string_view clang =
        "static const char *Marlowen::Lum::Internal::CtTypeExtractor<Marlowen::Lum::"
        "Complex<unsigned short>>::n() [T = Marlowen::Lum::Complex<unsigned short>]";
    const std::string prefix = "Marlowen::Lum::Internal::CtTypeExtractor<Marlowen::Lum::Complex<";
    EXPECT_EQ(extractorSignature(gcc, ",void"), prefix + "unsigned __int64,void>>::n");
    const std::string withVoid(gcc.substr(0, gcc.find("long")));  // then a signature that names the void
    EXPECT_EQ(extractorSignature(withVoid + "short int, void>]", ",void"), prefix + "short,void>>::n");
    EXPECT_EQ(extractorSignature(clang, ",void"), prefix + "unsigned short,void>>::n");
}

}  // namespace
