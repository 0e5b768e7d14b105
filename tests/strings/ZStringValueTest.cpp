// ZString as a value: its three forms, sharing, moves and what they cost.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <stdexcept>
#include <string>

#include "LumCore/ZString.hpp"
#include "support/CountingNew.hpp"

namespace {

using Marlowen::Lum::ZString;
using Marlowen::Lum::ZStringLiteral;
using namespace std::string_literals;

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

TEST(ZStringValue, EmptyAndLiteralFormsNeverAllocate)
{
    static const char kText[] = "Kelvin";
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
        EXPECT_NE(empty.c_str(), nullptr);
        EXPECT_EQ(*empty.c_str(), '\0');
        EXPECT_TRUE(empty.empty());
        EXPECT_EQ(literalCopy.c_str(), kText);
        EXPECT_EQ(literalCopy.length(), 6u);
    }
    EXPECT_EQ(counter.count(), 0u);
}

TEST(ZStringValue, CopyOfOwnedTextIsOneMoreReferenceAndNoAllocation)
{
    const ZString original("shared text", 11);
    ASSERT_EQ(countOf(original), 1u);
    LumTest::AllocationCounter counter;
    {
        const ZString copy(original);
        EXPECT_EQ(countOf(original), 2u);
        EXPECT_EQ(recordOf(copy), recordOf(original));
        EXPECT_EQ(copy.c_str(), original.c_str());
        ZString assigned;
        assigned = copy;
        EXPECT_EQ(countOf(original), 3u);
    }
    EXPECT_EQ(countOf(original), 1u);
    EXPECT_EQ(counter.count(), 0u);
}

TEST(ZStringValue, ConstructorsKeepEveryByteTheyAreGiven)
{
    std::string source = "a\0b"s;
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
}

TEST(ZStringValue, RefusesWhatCannotBeMade)
{
    // Beyond any address space: the record's allocation fails in the library
    // and comes back as std::bad_alloc.
    EXPECT_THROW((void)ZString(1ull << 62, 'x'), std::bad_alloc);

    try {
        (void)ZString(0x8000000000000000ull, 'x');
        FAIL() << "no exception";
    } catch (const std::length_error& e) {
        EXPECT_STREQ(e.what(), "vector too long");
    }
    try {
        (void)ZString("ab", 2).fill(0, 'x', 0x8000000000000000ull);
        FAIL() << "no exception";
    } catch (const std::length_error& e) {
        EXPECT_STREQ(e.what(), "vector too long");
    }
}

TEST(ZStringValue, MovedFromValueKeepsItsViewButOwnsNothing)
{
    ZString source("moving text", 11);
    const char* text = source.c_str();
    ZString target(std::move(source));
    EXPECT_EQ(recordOf(source), nullptr);
    EXPECT_EQ(source.c_str(), text);  // NOLINT(bugprone-use-after-move): the state is specified
    EXPECT_EQ(source.length(), 11u);
    EXPECT_EQ(target.c_str(), text);
    EXPECT_EQ(countOf(target), 1u);

    ZString other("other", 5);
    other = std::move(target);
    EXPECT_EQ(other.c_str(), text);
    EXPECT_EQ(recordOf(target), nullptr);
    source = other;  // a moved-from value may be assigned to
    EXPECT_EQ(countOf(other), 2u);
}

TEST(ZStringValue, SelfAssignmentKeepsTheRecord)
{
    ZString value("self", 4);
    const char* text = value.c_str();
    ZString& alias = value;
    value = alias;
    EXPECT_EQ(countOf(value), 1u);
    value = std::move(alias);
    EXPECT_EQ(countOf(value), 1u);
    EXPECT_EQ(value.c_str(), text);
    EXPECT_EQ(value.to_string(), "self");
}

TEST(ZStringValue, RangeConstructorIsSubstr)
{
    const ZString text("abcdef", 6);
    EXPECT_EQ(ZString(text, 2, 3).to_string(), "cde");
    EXPECT_EQ(ZString(text, 6, 3).to_string(), "");
    EXPECT_THROW((void)ZString(text, 7, 1), std::out_of_range);
}

}  // namespace
