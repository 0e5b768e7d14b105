// ZString as a value (its three forms, sharing, moves and what they cost)
// and reading, searching and deriving text with it.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>

#include "LumCore/ZString.hpp"
#include "support/CountingNew.hpp"
#include "support/ThrownText.hpp"

namespace {

using LumTest::thrownText;
using Marlowen::Lum::CaseSensitivity;
using Marlowen::Lum::ZString;
using Marlowen::Lum::ZStringLiteral;
using namespace std::string_literals;
using namespace std::string_view_literals;
constexpr auto npos = ZString::npos;

// The handle is the value's first field; a record starts with its count.
const void* recordOf(const ZString& value)
{
    const void* handle = nullptr;
    std::memcpy(&handle, &value, sizeof handle);
    return handle;
}

std::uint32_t countOf(const ZString& value)
{
    return static_cast<const std::atomic<std::uint32_t>*>(recordOf(value))->load();
}

TEST(ZStringValue, EmptyLiteralAndOwnedFormsCopyWithoutAllocating)
{
    static const char kText[] = "Kelvin";
    const ZString original("shared text", 11);
    ASSERT_EQ(countOf(original), 1u);
    LumTest::AllocationCounter counter;
    {
        const ZString empty;
        const ZString literal(ZStringLiteral{kText});
        const ZString emptyCopy(empty);
        ZString literalCopy(literal);
        literalCopy = emptyCopy;
        literalCopy = literal;
        EXPECT_EQ(recordOf(empty), nullptr);
        EXPECT_EQ(recordOf(literalCopy), nullptr);
        EXPECT_STREQ(empty.c_str(), "");
        EXPECT_EQ(literalCopy.c_str(), kText);
        EXPECT_EQ(literalCopy.length(), 6u);

        // A copy of owned text is one more reference to the same record.
        const ZString copy(original);
        EXPECT_EQ(copy.c_str(), original.c_str());
        ZString assigned;
        assigned = copy;
        EXPECT_EQ(countOf(original), 3u);
    }
    EXPECT_EQ(countOf(original), 1u);
    EXPECT_EQ(counter.count(), 0u);
}

TEST(ZStringValue, ConstructorsKeepEveryByteTheyAreGivenOrRefuse)
{
    std::string source = "a\0b"s;
    const ZString range("abcdef", 6);
    const struct {
        const char* name;
        ZString value;
        std::string bytes;
    } cases[] = {
        {"bytes with a NUL", ZString("a\0b", 3), "a\0b"s},
        {"view", ZString(std::string_view("xyz", 2)), "xy"},
        {"string", ZString(source), "a\0b"s},
        {"moved string", ZString(std::move(source)), "a\0b"s},
        {"repeated NUL", ZString(4, '\0'), std::string(4, '\0')},
        {"from_char NUL", ZString::from_char('\0'), std::string(1, '\0')},
        {"size 0 from null", ZString(nullptr, 0), ""},
        {"count 0", ZString(0, 'x'), ""},
        {"range", ZString(range, 2, 3), "cde"},
        {"range at end", ZString(range, 6, 3), ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.value.to_string(), c.bytes);
        EXPECT_EQ(std::string(c.value), c.bytes);
        EXPECT_EQ(c.value.c_str()[c.value.length()], '\0');
        // Every one of these owns a record, empty or not.
        EXPECT_NE(recordOf(c.value), nullptr);
    }
    EXPECT_EQ(source, "a\0b"s);  // copied, not stolen
    EXPECT_STREQ(ZString("a\0b", 3).c_str(), "a");

    // Beyond any address space the record's allocation fails in the library
    // and comes back as std::bad_alloc; beyond the size limit it is refused.
    EXPECT_THROW((void)ZString(1ull << 62, 'x'), std::bad_alloc);
    EXPECT_EQ(thrownText<std::length_error>([] { (void)ZString(0x8000000000000000ull, 'x'); }), "vector too long");
    EXPECT_EQ(thrownText<std::length_error>([] { (void)ZString("ab", 2).fill(0, 'x', 0x8000000000000000ull); }),
              "vector too long");
    EXPECT_THROW((void)ZString(range, 7, 1), std::out_of_range);
}

TEST(ZStringValue, MovedFromValueKeepsItsViewAndSelfAssignmentKeepsTheRecord)
{
    ZString source("moving text", 11);
    const char* text = source.c_str();
    ZString target(std::move(source));
    EXPECT_EQ(recordOf(source), nullptr);
    EXPECT_EQ(source.c_str(), text);  // NOLINT(bugprone-use-after-move): the state is specified
    EXPECT_EQ(source.length(), 11u);
    EXPECT_EQ(countOf(target), 1u);

    ZString other("other", 5);
    other = std::move(target);
    EXPECT_EQ(other.c_str(), text);
    EXPECT_EQ(recordOf(target), nullptr);
    source = other;  // a moved-from value may be assigned to
    EXPECT_EQ(countOf(other), 2u);

    ZString& alias = other;
    other = alias;
    other = std::move(alias);
    EXPECT_EQ(countOf(other), 2u);
    EXPECT_EQ(other.to_string(), "moving text");
}

TEST(ZStringText, OutOfRangeWordsDifferByFamily)
{
    const ZString text("abc", 3);
    char buffer[4];
    const struct {
        const char* name;
        std::function<void()> call;
        const char* word;
    } cases[] = {
        {"at", [&] { (void)text.at(3); }, "invalid string_view position"},
        {"copy", [&] { (void)text.copy(buffer, 1, 4); }, "invalid string_view position"},
        {"compare", [&] { (void)text.compare(4, 0, "", 0); }, "invalid string_view position"},
        {"substr", [&] { (void)text.substr(4, 5); }, "invalid string_view position"},
        {"remove_prefix", [&] { (void)text.remove_prefix(4); }, "invalid string_view position"},
        {"remove", [&] { (void)text.remove(4, 0); }, "invalid string position"},
        {"fill at end, count 0", [&] { (void)text.fill(3, 'x', 0); }, "invalid string position"},
        {"fill past end", [&] { (void)text.fill(5, 'x', 1); }, "invalid string position"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(thrownText<std::out_of_range>(c.call), c.word) << c.name;
    }
}

TEST(ZStringText, ReadingIsByLength)
{
    const ZString text("ab\0ab"s);
    char buffer[8] = {};
    EXPECT_EQ(text.copy(buffer, 10, 1), 4u);
    EXPECT_EQ(std::string(buffer, 4), "b\0ab"s);
    EXPECT_EQ(text.copy(buffer, 3, 5), 0u);
    EXPECT_EQ(text.count_occurrences('\0'), 1u);
    EXPECT_TRUE(text.endsWith('b'));
    EXPECT_FALSE(ZString().startsWith('\0'));
    EXPECT_FALSE(ZString().endsWith('\0'));

    // compare orders by bytes, then by length.
    EXPECT_EQ(text.compare(0, 2, "ab\0", 3), -1);
    EXPECT_EQ(text.compare(0, npos, "ab", 2), 1);
    EXPECT_EQ(text.compare(5, 0, nullptr, 0), 0);
    EXPECT_EQ(text.compare(3, 2, "ab", 2), 0);
    // The byte comparison's own value, whatever its magnitude.
    int (*const volatile byteCompare)(const void*, const void*, std::size_t) = &std::memcmp;
    EXPECT_EQ(text.compare(0, 1, "d", 1), byteCompare("a", "d", 1));
    EXPECT_GT(ZString("a\xff", 2).compare(0, 2, "a\x01", 2), 0);  // bytes compare unsigned
}

TEST(ZStringText, Searches)
{
    const ZString t("abcab\0xa"s);  // length 8
    const ZString e;
    const struct {
        const char* name;
        std::uint64_t got;
        std::uint64_t expected;
    } cases[] = {
        {"find char", t.find('\0'), 5},
        {"find needle over NUL", t.find("\0x", 0, 2), 5},
        {"find needle not fitting", t.find("xa", 7, 2), npos},
        {"find empty at end", t.find("", 8, 0), 8},
        {"find empty past end", t.find("", 9, 0), npos},
        {"rfind char empty", e.rfind('a'), npos},
        {"rfind needle from", t.rfind("ab", 2, 2), 0},
        {"rfind empty past end", t.rfind("", 100, 0), 8},
        {"rfind too long", t.rfind("abcab\0xaz", npos, 9), npos},
        {"first of empty set", t.find_first_of("", 0, 0), npos},
        {"first not of", t.find_first_not_of("ab", 0, 2), 2},
        {"first not of empty set", t.find_first_not_of("", 3, 0), 3},
        {"first not of past end", t.find_first_not_of("", 8, 0), npos},
        {"last of", t.find_last_of("b\0"s.data(), npos, 2), 5},
        {"last of from", t.find_last_of("c", 1, 1), npos},
        {"last not of", t.find_last_not_of("ax", npos, 2), 5},
        {"last not of empty set", t.find_last_not_of("", 4, 0), 4},
        {"last not of on empty", e.find_last_not_of("", npos, 0), npos},
        {"last not of char", t.find_last_not_of('a', npos), 6},
        {"set byte above 127", ZString("a\xe9", 2).find_first_of("\xe9", 0, 1), 1},
        {"rfind char", t.rfind('a', npos), 7},
        {"rfind char from", t.rfind('a', 6), 3},
        {"rfind needle absent", t.rfind("zz", npos, 2), npos},
        {"first of char", t.find_first_of('b', 2), 4},
        {"first not of char", t.find_first_not_of('a', 0), 1},
        {"first not of char none", ZString("aaa").find_first_not_of('a', 0), npos},
        {"last of char", t.find_last_of('b', npos), 4},
        {"last of on empty", e.find_last_of("a", npos, 1), npos},
        {"last not of char on empty", e.find_last_not_of('a', npos), npos},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.got, c.expected) << c.name;
    }
}

// The conveniences that callers compile in themselves: views, iteration and
// the case-insensitive search.
TEST(ZStringText, HeaderConveniencesReadTheWholeLength)
{
    const ZString t("Hello\0World"s);  // length 11
    EXPECT_EQ(t.front(), 'H');
    EXPECT_EQ(t.at(5), '\0');
    EXPECT_THROW((void)t.at(11), std::out_of_range);
    EXPECT_EQ(t.back(), 'd');
    EXPECT_EQ(std::string(t.begin(), t.end()), "Hello\0World"s);
    EXPECT_EQ(std::string(t.rbegin(), t.rend()), "dlroW\0olleH"s);
    EXPECT_EQ(std::distance(t.cbegin(), t.cend()), 11);
    EXPECT_EQ(std::distance(t.crbegin(), t.crend()), 11);
    EXPECT_EQ(std::string_view(t).size(), 11u);

    EXPECT_TRUE(t.contains("lo"));
    EXPECT_FALSE(t.contains("hello"));
    EXPECT_TRUE(t.contains("HELLO", CaseSensitivity::CaseInsensitive));
    // The insensitive search lower-cases a copy, which ends at the first NUL.
    EXPECT_EQ(t.find(ZString("WORLD"), 0, CaseSensitivity::CaseInsensitive), npos);
    EXPECT_EQ(t.find(ZString("LL"), 0, CaseSensitivity::CaseInsensitive), 2u);
    EXPECT_EQ(t.find("\0W"sv), 5u);
    EXPECT_EQ(t.find("o"sv, 5), 7u);

    EXPECT_EQ(t.compare("Hello\0World"sv), 0);
    EXPECT_LT(t.compare("Hello\0X"sv), 0);
    EXPECT_GT(t.compare("Hello"sv), 0);
    EXPECT_TRUE(t.startsWith("Hello\0"sv));
    EXPECT_FALSE(t.startsWith("Hello\0World!"sv));
    EXPECT_TRUE(t.endsWith("\0World"sv));
    EXPECT_FALSE(ZString("d").endsWith("World"sv));  // a suffix longer than the text
    EXPECT_EQ(ZString("ab").concat("cd"sv).to_string(), "abcd");
    EXPECT_EQ(ZString("ab").concat("c\0d"sv).to_string(), "abc");  // a builder ends at its first NUL
}

// Derived values end at the first NUL of what they were built from, and own
// a new record, but for the empty results of the strip family.
TEST(ZStringText, DerivedValues)
{
    const ZString t("hello world", 11);
    const ZString z("a\0b", 3);
    const ZString padded("  a b \t", 7);
    const struct {
        const char* name;
        ZString value;
        std::string bytes;
        bool ownsRecord = true;
    } cases[] = {
        {"substr", t.substr(6, 3), "wor"},
        {"substr at end", t.substr(11, 5), ""},
        {"left 0", t.left(0), ""},
        {"right all", t.right(99), "hello world"},
        {"mid", t.mid(4, 3), "o w"},
        {"mid past end", t.mid(12, 5), ""},
        {"remove_prefix", t.remove_prefix(6), "world"},
        {"remove_suffix too many", t.remove_suffix(12), "hello world"},
        {"remove", t.remove(2, 3), "he world"},
        {"remove at end", t.remove(11, 0), "hello world"},
        {"remove rest", t.remove(5, 99), "hello"},
        {"fill inserts", t.fill(5, '-', 3), "hello--- world"},
        {"fill long run", ZString("ab", 2).fill(1, '=', 100), "a" + std::string(100, '=') + "b"},
        {"fill NUL cuts", t.fill(5, '\0', 2), "hello"},
        {"fill empty", ZString().fill(0, 'x', 0), ""},
        {"concat", t.concat('!'), "hello world!"},
        {"concat NUL", t.concat('\0'), "hello world"},
        {"left over NUL", z.left(3), "a"},
        {"right from NUL", z.right(2), ""},
        {"toLower over NUL", ZString("A\0B", 3).toLower(), "a"},
        {"toUpper", ZString("MiXeD \xe9", 7).toUpper(), "MIXED \xe9"},
        {"strip", padded.strip(" \t"), "a b"},
        {"stripLeft", padded.stripLeft(" "), "a b \t"},
        {"empty set strips nothing", padded.strip(""), "  a b \t"},
        {"all stripped", ZString("xyx", 3).strip("xy"), "", false},
        {"strip empty value", ZString().strip(""), "", false},
        {"stripRight keeps NUL", z.stripRight("z"), "a\0b"s},
        {"stripLeft from NUL", z.stripLeft("a"), ""},
        {"strip from NUL", z.strip("a"), "", false},
        {"strip then NUL", ZString(" a \0 b", 6).strip(" "), "a"},
        {"stripLeft all", ZString("aa").stripLeft("a"), "", false},
        {"stripRight all", ZString("aa").stripRight("a"), "", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.value.to_string(), c.bytes);
        EXPECT_EQ(recordOf(c.value) != nullptr, c.ownsRecord);
        EXPECT_EQ(c.value.c_str()[c.value.length()], '\0');
    }
}

}  // namespace
