// Reading, searching and deriving text with ZString.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <locale>
#include <stdexcept>
#include <string>

#include "LumCore/ZString.hpp"

namespace {

using Marlowen::Lum::ZString;
using Marlowen::Lum::ZStringLiteral;
using namespace std::string_literals;
constexpr auto npos = ZString::npos;

const void* recordOf(const ZString& value)
{
    const void* handle = nullptr;
    std::memcpy(&handle, &value, sizeof handle);
    return handle;
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
        SCOPED_TRACE(c.name);
        try {
            c.call();
            ADD_FAILURE() << "no exception";
        } catch (const std::out_of_range& e) {
            EXPECT_STREQ(e.what(), c.word);
        }
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
    EXPECT_EQ(text.count_occurrences('b'), 2u);
    EXPECT_EQ(text.at(2), '\0');
    EXPECT_TRUE(text.endsWith('b'));
    EXPECT_FALSE(ZString().startsWith('\0'));
    EXPECT_FALSE(ZString().endsWith('\0'));
}

TEST(ZStringText, CompareKeepsTheByteDifferenceAndOrdersByLength)
{
    const ZString text("abcd", 4);
    EXPECT_EQ(text.compare(0, 4, "abcd", 4), 0);
    EXPECT_EQ(text.compare(0, 2, "abc", 3), -1);
    EXPECT_EQ(text.compare(0, npos, "ab", 2), 1);
    EXPECT_EQ(text.compare(4, 0, nullptr, 0), 0);
    EXPECT_EQ(text.compare(1, 1, "b", 1), 0);
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
        {"find char", t.find('b', 2), 4},
        {"find char past end", t.find('a', 8), npos},
        {"find NUL", t.find('\0'), 5},
        {"find needle", t.find("ab", 1, 2), 3},
        {"find needle over NUL", t.find("\0x", 0, 2), 5},
        {"find needle not fitting", t.find("xa", 7, 2), npos},
        {"find empty at end", t.find("", 8, 0), 8},
        {"find empty past end", t.find("", 9, 0), npos},
        {"find needle longer than text", e.find("a", 0, 1), npos},
        {"rfind char", t.rfind('a'), 7},
        {"rfind char from", t.rfind('a', 6), 3},
        {"rfind char empty", e.rfind('a'), npos},
        {"rfind needle", t.rfind("ab", npos, 2), 3},
        {"rfind needle from", t.rfind("ab", 2, 2), 0},
        {"rfind empty", t.rfind("", 3, 0), 3},
        {"rfind empty past end", t.rfind("", 100, 0), 8},
        {"rfind too long", t.rfind("abcab\0xaz", npos, 9), npos},
        {"first of", t.find_first_of("xc", 0, 2), 2},
        {"first of empty set", t.find_first_of("", 0, 0), npos},
        {"first of char", t.find_first_of('x', 0), 6},
        {"first not of", t.find_first_not_of("ab", 0, 2), 2},
        {"first not of empty set", t.find_first_not_of("", 3, 0), 3},
        {"first not of past end", t.find_first_not_of("", 8, 0), npos},
        {"first not of char", t.find_first_not_of('a', 0), 1},
        {"last of", t.find_last_of("b\0"s.data(), npos, 2), 5},
        {"last of from", t.find_last_of("c", 1, 1), npos},
        {"last of empty set", t.find_last_of("", npos, 0), npos},
        {"last of char", t.find_last_of('b', 3), 1},
        {"last not of", t.find_last_not_of("ax", npos, 2), 5},
        {"last not of empty set", t.find_last_not_of("", 4, 0), 4},
        {"last not of on empty", e.find_last_not_of("", npos, 0), npos},
        {"last not of char", t.find_last_not_of('a', npos), 6},
        {"set byte above 127", ZString("a\xe9", 2).find_first_of("\xe9", 0, 1), 1},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.got, c.expected) << c.name;
    }
}

TEST(ZStringText, DerivedValuesAreNewRecordsEndingAtTheFirstNul)
{
    const ZString t("hello world", 11);
    const ZString z("a\0b", 3);
    const struct {
        const char* name;
        ZString value;
        std::string bytes;
    } cases[] = {
        {"substr", t.substr(6, 3), "wor"},
        {"substr at end", t.substr(11, 5), ""},
        {"left 0", t.left(0), ""},
        {"left all", t.left(99), "hello world"},
        {"right", t.right(5), "world"},
        {"right all", t.right(99), "hello world"},
        {"mid", t.mid(4, 3), "o w"},
        {"mid past end", t.mid(12, 5), ""},
        {"remove_prefix", t.remove_prefix(6), "world"},
        {"remove_suffix", t.remove_suffix(6), "hello"},
        {"remove_suffix all", t.remove_suffix(11), ""},
        {"remove_suffix too many", t.remove_suffix(12), "hello world"},
        {"remove", t.remove(2, 3), "he world"},
        {"remove at end", t.remove(11, 0), "hello world"},
        {"remove all", t.remove(0, 12), ""},
        {"remove rest", t.remove(5, 99), "hello"},
        {"fill inserts", t.fill(5, '-', 3), "hello--- world"},
        {"fill appends", t.fill(11, '!', 1), "hello world!"},
        {"fill long run", ZString("ab", 2).fill(1, '=', 100), "a" + std::string(100, '=') + "b"},
        {"fill NUL cuts", t.fill(5, '\0', 2), "hello"},
        {"fill empty", ZString().fill(0, 'x', 0), ""},
        {"concat", t.concat('!'), "hello world!"},
        {"concat NUL", t.concat('\0'), "hello world"},
        {"left over NUL", z.left(3), "a"},
        {"right from NUL", z.right(2), ""},
        {"remove over NUL", z.remove(0, 1), ""},
        {"toLower over NUL", ZString("A\0B", 3).toLower(), "a"},
        {"toLower", ZString("MiXeD 42!", 9).toLower(), "mixed 42!"},
        {"toUpper", ZString("MiXeD \xe9", 7).toUpper(), "MIXED \xe9"},
        {"toUpper empty", ZString().toUpper(), ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.value.to_string(), c.bytes);
        EXPECT_NE(recordOf(c.value), nullptr);
        EXPECT_NE(c.value.c_str(), t.c_str());
        EXPECT_EQ(c.value.c_str()[c.value.length()], '\0');
    }
}

TEST(ZStringText, StripFamily)
{
    const ZString padded("  a b \t", 7);
    const ZString nul("a\0b", 3);
    const ZString allSet("xyx", 3);
    const struct {
        const char* name;
        ZString value;
        std::string bytes;
        bool ownsRecord;
    } cases[] = {
        {"strip", padded.strip(" \t"), "a b", true},
        {"stripLeft", padded.stripLeft(" "), "a b \t", true},
        {"stripRight", padded.stripRight(" \t"), "  a b", true},
        {"empty set strips nothing", padded.strip(""), "  a b \t", true},
        {"all stripped", allSet.strip("xy"), "", false},
        {"all stripped left", allSet.stripLeft("xy"), "", false},
        {"all stripped right", allSet.stripRight("yx"), "", false},
        {"empty value", ZString().strip(""), "", false},
        {"right keeps NUL", nul.stripRight("z"), "a\0b"s, true},
        {"left stops at NUL", nul.stripLeft("z"), "a", true},
        {"left from NUL", nul.stripLeft("a"), "", true},
        {"strip from NUL", nul.strip("a"), "", false},
        {"strip then NUL", ZString(" a \0 b", 6).strip(" "), "a", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.value.to_string(), c.bytes);
        EXPECT_EQ(recordOf(c.value) != nullptr, c.ownsRecord);
    }
}

// A ctype facet that maps differently from the classic one: toLower must
// follow the global locale, and a byte that lowers to NUL ends the result.
class ShiftingCtype : public std::ctype<char> {
protected:
    char do_tolower(char ch) const override { return ch == 'Q' ? '\0' : (ch == 'A' ? '@' : ch); }
    const char* do_tolower(char* low, const char* high) const override
    {
        for (; low != high; ++low) {
            *low = do_tolower(*low);
        }
        return high;
    }
};

TEST(ZStringText, CaseFollowsTheGlobalLocale)
{
    const std::locale previous = std::locale::global(std::locale(std::locale::classic(), new ShiftingCtype));
    const ZString lowered = ZString("xAyQz", 5).toLower();
    const ZString longLowered = ZString(std::string(300, 'A') + "QA").toLower();
    std::locale::global(previous);
    EXPECT_EQ(lowered.to_string(), "x@y");
    EXPECT_EQ(longLowered.to_string(), std::string(300, '@'));
    EXPECT_EQ(ZString(std::string(300, 'a') + "\0a"s).toUpper().to_string(), std::string(300, 'A'));
}

}  // namespace
