// Text read as elements of every class under CastOrParse, and as type words.
// Where a class's text form is exact, what parses must print back to text
// that parses to the same value; a word that names a type names it again
// when printed.
#include <fuzzer/FuzzedDataProvider.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "FuzzSupport.hpp"
#include "LumCore/ZVariant.hpp"

namespace {

using namespace Marlowen::Lum;
using LumFuzz::require;

constexpr Internal::WellKnownTypeValue kTargets[] = {
#define LUMFUZZ_TARGET(word, enumerator, code, Class) Internal::WellKnownTypeValue::enumerator,
    LUMCORE_ELEMENT_TYPES(LUMFUZZ_TARGET)
#undef LUMFUZZ_TARGET
};

// Classes whose text form comes back exactly: decimal integers that a
// double holds, and booleans. (Eight-bit integers print as one character,
// 64-bit ones are read through a double, and floating values print rounded.)
bool printsExactly(WellKnownType type)
{
    using V = Internal::WellKnownTypeValue;
    for (V exact : {V::int16, V::int32, V::unsignedInt16, V::unsignedInt32, V::bool_}) {
        if (type == WellKnownType(exact)) {
            return true;
        }
    }
    return false;
}

void readAs(const ZVariant& texts, WellKnownType target)
{
    ZVariant parsed;
    try {
        parsed = texts.convertTo(target, ConversionMode::CastOrParse);
    } catch (const std::runtime_error&) {
        return;  // not text of this type: refused, with nothing left behind
    }
    require(parsed.wellKnownDataType() == target, "parsed into the asked type");
    if (!printsExactly(target)) {
        return;
    }
    const ZVariant printed =
        parsed.convertTo(WellKnownType(Internal::WellKnownTypeValue::string), ConversionMode::CastOrParse);
    const ZVariant again = printed.convertTo(target, ConversionMode::CastOrParse);
    require(again.isIdenticalTo(parsed), "printed text parses to the same value");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider in(data, size);
    const std::string word = in.ConsumeRandomLengthString(32);
    const WellKnownType named{std::string_view(word)};
    if (named != WellKnownType()) {
        require(WellKnownType(named.toString()) == named, "a type's word names it again");
    }

    std::vector<ZString> texts;
    const std::size_t count = in.ConsumeIntegralInRange(1, 3);
    for (std::size_t i = 0; i < count; ++i) {
        texts.emplace_back(in.ConsumeRandomLengthString(48));
    }
    const ZVariant asTexts = count == 1 ? ZVariant(texts[0]) : ZVariant(texts.data(), texts.size());
    for (auto target : kTargets) {
        readAs(asTexts, WellKnownType(target));
    }
    return 0;
}
