// WellKnownType: words of the element types and the common type of two.
#include <cstdint>
#include <iterator>
#include <map>
#include <string_view>

#include "LumCore/WellKnownType.hpp"
#include "LumCore/ZString.hpp"

namespace Marlowen::Lum {

namespace {

using Value = Internal::WellKnownTypeValue;

struct TypeWord {
    Value value;
    std::string_view word;
};

// Every element type and its word; unknown has none, so that it prints by
// failing the lookup and can never be parsed into.
constexpr TypeWord kTypeWords[] = {
#define LUMCORE_TYPE_WORD(word, enumerator, code, Class) {Value::enumerator, #word},
    LUMCORE_TYPE_CODES(LUMCORE_TYPE_WORD)
#undef LUMCORE_TYPE_WORD
};
static_assert(std::size(kTypeWords) == 26);

// A second word for text, accepted when parsing only.
constexpr std::string_view kStringAlias = "string8";

const std::map<std::uint16_t, std::string_view>& wordsByValue()
{
    static const std::map<std::uint16_t, std::string_view> table = [] {
        std::map<std::uint16_t, std::string_view> words;
        for (const TypeWord& entry : kTypeWords) {
            words.emplace(static_cast<std::uint16_t>(entry.value), entry.word);
        }
        return words;
    }();
    return table;
}

// Keys are lower-cased by the same operation as the word looked up, so the
// two fold exactly the same bytes.
const std::map<ZString, Value>& valuesByLowerCaseWord()
{
    static const std::map<ZString, Value> table = [] {
        std::map<ZString, Value> values;
        for (const TypeWord& entry : kTypeWords) {
            values.emplace(ZString(entry.word).toLower(), entry.value);
        }
        values.emplace(ZString(kStringAlias).toLower(), Value::string);
        return values;
    }();
    return table;
}

// Rank of a real type for promotion; the higher rank wins.
const std::map<Value, int>& promotionOrder()
{
    static const std::map<Value, int> table = {
        {Value::bool_, 0},         {Value::int8, 1},   {Value::unsignedInt8, 2},  {Value::int16, 3},
        {Value::unsignedInt16, 4}, {Value::int32, 5},  {Value::unsignedInt32, 6}, {Value::int64, 7},
        {Value::unsignedInt64, 8}, {Value::float_, 9}, {Value::double_, 10},
    };
    return table;
}

// The signed type that holds every value of an unsigned one; past 64 bits
// only double is left.
const std::map<Value, Value>& signedCounterpart()
{
    static const std::map<Value, Value> table = {
        {Value::bool_, Value::int8},
        {Value::unsignedInt8, Value::int16},
        {Value::unsignedInt16, Value::int32},
        {Value::unsignedInt32, Value::int64},
        {Value::unsignedInt64, Value::double_},
    };
    return table;
}

// The tables are shared by every thread and never written after they are
// built, so a value off the list reads as a default entry instead of being
// inserted: rank 0, counterpart unknown.
int rankOf(Value value)
{
    const auto& order = promotionOrder();
    const auto it = order.find(value);
    return it == order.end() ? 0 : it->second;
}

Value signedCounterpartOf(Value value)
{
    const auto& counterparts = signedCounterpart();
    const auto it = counterparts.find(value);
    return it == counterparts.end() ? Value::unknown : it->second;
}

}  // namespace

std::string_view WellKnownType::toString() const
{
    const auto& words = wordsByValue();
    const auto it = words.find(bits());
    return it == words.end() ? std::string_view("unknown") : it->second;
}

WellKnownType::Value WellKnownType::parseValueString(std::string_view word)
{
    const auto& values = valuesByLowerCaseWord();
    const auto it = values.find(ZString(word).toLower());
    return it == values.end() ? Value::unknown : it->second;
}

WellKnownType WellKnownType::getCommonWellKnownType(WellKnownType a, WellKnownType b)
{
    if (a == b) {
        return a;
    }
    if (a.value() == Value::unknown) {
        return b;
    }
    if (b.value() == Value::unknown) {
        return a;
    }
    if (!a.isNumeric() || !b.isNumeric()) {
        return WellKnownType();
    }

    const bool complex = a.isComplex() || b.isComplex();
    const bool bothUnsigned = a.isUnsigned() && b.isUnsigned();
    const auto realOf = [](WellKnownType t) {
        return static_cast<Value>(t.bits() & static_cast<std::uint16_t>(~Internal::kComplexBit));
    };
    const Value realA = realOf(a);
    const Value realB = realOf(b);

    Value result = rankOf(realA) > rankOf(realB) ? realA : realB;
    if ((static_cast<std::uint16_t>(result) & Internal::kUnsignedBit) != 0 && !bothUnsigned) {
        result = signedCounterpartOf(result);
    }
    if (complex) {
        result = static_cast<Value>(static_cast<std::uint16_t>(result) | Internal::kComplexBit);
    }
    return WellKnownType(result);
}

}  // namespace Marlowen::Lum
