// Case mapping under the global locale, and replaceAll against a plain
// rebuild-per-match model of its behaviour.
#include <gtest/gtest.h>

#include <cstring>
#include <locale>
#include <optional>
#include <random>
#include <string>

#include "LumCore/ZString.hpp"

namespace {

using Marlowen::Lum::CaseSensitivity;
using Marlowen::Lum::ZString;
using namespace std::string_literals;

std::string upToNul(const std::string& bytes) { return bytes.substr(0, std::strlen(bytes.c_str())); }

// Lower-cases byte by byte, asking the global locale for every byte.
std::string lowerPerByte(std::string bytes)
{
    for (char& ch : bytes) {
        ch = std::use_facet<std::ctype<char>>(std::locale()).tolower(ch);
    }
    return upToNul(bytes);
}

// The search of replaceAll: by length, or over texts lowered byte by byte
// with the needle read up to its NUL.
std::size_t modelSearch(const std::string& text, std::string_view from, std::size_t start, CaseSensitivity cs)
{
    if (cs == CaseSensitivity::CaseSensitive) {
        return std::string_view(text).find(from, start);
    }
    return lowerPerByte(text).find(lowerPerByte(std::string(from.data())), start);
}

// The rebuild loop itself: each match rebuilds head + replacement + tail
// with NUL-stopping concatenations. Empty when it would never finish.
std::optional<std::string> modelReplaceAll(const std::string& input, std::string_view from, std::string_view to,
                                           CaseSensitivity cs)
{
    std::string current = input;
    std::size_t pos = modelSearch(current, from, 0, cs);
    for (std::size_t round = 0; pos != std::string::npos; ++round) {
        if (round > 2 * input.size() + 64) {
            return std::nullopt;
        }
        const std::size_t cut = std::min(current.size(), pos + from.size());
        const std::string head = current.substr(0, std::min(current.size(), pos));
        current = upToNul(upToNul(head + std::string(to.data())) + current.substr(cut));
        pos = modelSearch(current, from, pos + to.size(), cs);
    }
    return current;
}

std::string randomBytes(std::mt19937& random, std::size_t minLength, std::size_t maxLength)
{
    static const char kAlphabet[] = {'a', 'A', 'b', '\0'};
    std::string bytes(std::uniform_int_distribution<std::size_t>(minLength, maxLength)(random), ' ');
    for (char& ch : bytes) {
        ch = kAlphabet[std::uniform_int_distribution<int>(0, 3)(random)];
    }
    return bytes;
}

void expectLikeModel(const std::string& input, std::string_view from, std::string_view to, CaseSensitivity cs)
{
    const std::optional<std::string> expected = modelReplaceAll(input, from, to, cs);
    if (!expected) {
        return;  // the model never finishes here; nothing to compare with
    }
    const ZString value(input);
    const ZString result = value.replaceAll(from, to, cs);
    ASSERT_EQ(result.to_string(), *expected)
        << "input " << testing::PrintToString(input) << " from " << testing::PrintToString(std::string(from)) << " to "
        << testing::PrintToString(std::string(to)) << " cs " << static_cast<int>(cs);
    // Unchanged by any match means the input's own record comes back.
    const bool matched = !from.empty() && modelSearch(input, from, 0, cs) != std::string::npos;
    ASSERT_EQ(result.c_str() == value.c_str(), !matched);
}

TEST(ZStringReplaceAll, MatchesTheRebuildLoopOnRandomText)
{
    std::mt19937 random(20260514);
    for (int i = 0; i < 40000 && !HasFatalFailure(); ++i) {
        const std::string input = randomBytes(random, 0, 14);
        const std::string from = randomBytes(random, 1, 3);
        const std::string to = randomBytes(random, 0, 3);
        const auto cs = i % 2 == 0 ? CaseSensitivity::CaseSensitive : CaseSensitivity::CaseInsensitive;
        expectLikeModel(input, from, to, cs);
    }
}

// A lowering unlike the classic one, that turns 'b' into NUL: folded texts
// then end early, inside the input and inside the replacement.
class NulLoweringCtype : public std::ctype<char> {
protected:
    char do_tolower(char ch) const override { return ch == 'b' ? '\0' : (ch == 'A' ? 'a' : ch); }
    const char* do_tolower(char* low, const char* high) const override
    {
        for (; low != high; ++low) {
            *low = do_tolower(*low);
        }
        return high;
    }
};

// Under a lowering that turns 'b' into NUL, case mapping ends at the mapped
// byte and replaceAll still matches the rebuild loop.
TEST(ZStringCase, FollowsTheGlobalLocaleAndEndsAtAByteMappedToNul)
{
    const std::locale previous = std::locale::global(std::locale(std::locale::classic(), new NulLoweringCtype));
    const ZString lowered = ZString("xAybz", 5).toLower();
    const ZString longLowered = ZString(std::string(300, 'A') + "bA").toLower();
    std::mt19937 random(7);
    for (int i = 0; i < 10000 && !testing::Test::HasFatalFailure(); ++i) {
        // Now and then a text long enough to be lowered through a table.
        const std::size_t maxLength = i % 100 == 0 ? 400 : 14;
        expectLikeModel(randomBytes(random, 0, maxLength), randomBytes(random, 1, 3), randomBytes(random, 0, 3),
                        CaseSensitivity::CaseInsensitive);
    }
    std::locale::global(previous);
    EXPECT_EQ(lowered.to_string(), "xay");
    EXPECT_EQ(longLowered.to_string(), std::string(300, 'a'));
    EXPECT_EQ(ZString(std::string(300, 'a') + "\0a"s).toUpper().to_string(), std::string(300, 'A'));
}

// The random texts cover NULs in the input, `from` and `to`; these are the
// cases they cannot reach, and two that show the rules at a glance.
TEST(ZStringReplaceAll, NamedCases)
{
    // A NUL in front of the first match ends the head, and the replacement
    // with it; the tail still follows.
    EXPECT_EQ(ZString("a\0bXc"s).replaceAll("X", "Y").to_string(), "ac");
    // The replacement is `to` up to its NUL, but the search resumes
    // to.size() bytes behind the match, here past the second b.
    EXPECT_EQ(ZString("abab", 4).replaceAll("b", "x\0y"s).to_string(), "axab");
    const ZString text("abc", 3);
    EXPECT_EQ(text.replaceAll("", "x").c_str(), text.c_str());

    // `to` is read up to its NUL, beyond its view; the search then resumes
    // inside the inserted text.
    const char* longer = "XYZ";
    expectLikeModel("aZcaZ", "c", std::string_view(longer, 0), CaseSensitivity::CaseInsensitive);
    EXPECT_EQ(ZString("abcab", 5).replaceAll("ab", std::string_view(longer, 1)).to_string(), "XYZcXYZ");

    // A `from` whose text is empty matches everywhere once folded; the loop
    // stops when the input is used up instead of appending for ever.
    EXPECT_EQ(ZString("ab", 2).replaceAll("\0"s, "", CaseSensitivity::CaseInsensitive).to_string(), "");
}

}  // namespace
