// Interned text: one address per text for the whole process, stable views,
// no allocation for text already present, and the guards that keep the set.
#include <gtest/gtest.h>

#include <barrier>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "LumCore/InternedString.hpp"
#include "support/CountingNew.hpp"

namespace {

using Marlowen::Lum::InternedString;
using Marlowen::Lum::Internal::InternedStringSetManager;

TEST(InternedString, EqualTextHasOneAddressWhateverTheBuffer)
{
    const std::string first = "interned-identity";
    const std::vector<char> second(first.begin(), first.end());
    const InternedString a(first);
    const InternedString b(std::string_view(second.data(), second.size()));
    EXPECT_EQ(a.data(), b.data());
    EXPECT_NE(a.data(), first.data());
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a != b);
    EXPECT_EQ(std::string_view(a), "interned-identity");
    EXPECT_EQ(a.data()[a.size()], '\0');  // stored NUL-terminated

    // A common prefix is not equal text.
    const InternedString prefix("interned");
    EXPECT_NE(prefix.data(), a.data());
    EXPECT_FALSE(prefix == a);
    EXPECT_EQ(prefix.size(), 8u);
}

TEST(InternedString, EmptyTextAndNulBytesAreTextLikeAnyOther)
{
    const InternedString empty1("");
    const InternedString empty2{std::string_view()};
    EXPECT_NE(empty1.data(), nullptr);
    EXPECT_EQ(empty1.size(), 0u);
    EXPECT_EQ(empty1.data(), empty2.data());

    const std::string_view withNul("ab\0cd", 5);
    const InternedString whole(withNul);
    EXPECT_EQ(whole.size(), 5u);
    EXPECT_EQ(std::string_view(whole), withNul);
    EXPECT_FALSE(whole == InternedString("ab"));
    EXPECT_EQ(InternedString(std::string(withNul)).data(), whole.data());

    std::ostringstream out;
    out << whole;
    EXPECT_EQ(out.str(), std::string(withNul));
}

TEST(InternedString, ViewsStayValidWhileTheSetGrowsAndRehashes)
{
    const InternedString first("rehash-anchor");
    const char* address = first.data();
    std::vector<InternedString> many;
    for (int i = 0; i < 20000; ++i) {
        many.emplace_back("rehash-" + std::to_string(i));
    }
    EXPECT_EQ(std::string_view(first), "rehash-anchor");
    EXPECT_EQ(InternedString("rehash-anchor").data(), address);
    for (int i = 0; i < 20000; i += 997) {
        EXPECT_EQ(InternedString("rehash-" + std::to_string(i)).data(), many[i].data());
        EXPECT_EQ(std::string_view(many[i]), "rehash-" + std::to_string(i));
    }
}

TEST(InternedString, TextAlreadyPresentAllocatesNothing)
{
    const std::string text = "present-once";
    const InternedString first(text);
    const LumTest::AllocationCounter counter;
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(InternedString(text).data(), first.data());
    }
    EXPECT_EQ(counter.count(), 0u);
}

TEST(InternedString, ExtraGuardsLeaveTheSetIntact)
{
    const InternedString before("guarded-text");
    {
        std::vector<InternedStringSetManager> guards(3);
        EXPECT_EQ(InternedString("guarded-text").data(), before.data());
    }
    // The guards of the loaded units still stand, so nothing was torn down.
    EXPECT_EQ(std::string_view(before), "guarded-text");
    EXPECT_EQ(InternedString("guarded-text").data(), before.data());
}

TEST(InternedStringConcurrency, ThreadsInterningTheSameAndDifferentNamesAgree)
{
    constexpr int kThreads = 4;
    constexpr int kNames = 2000;
    std::vector<std::vector<const char*>> seen(kThreads, std::vector<const char*>(kNames));
    std::barrier start(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            start.arrive_and_wait();
            for (int i = 0; i < kNames; ++i) {
                // Shared names, then a name of this thread's own.
                seen[t][i] = InternedString("shared-" + std::to_string(i)).data();
                (void)InternedString("own-" + std::to_string(t) + "-" + std::to_string(i));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (int i = 0; i < kNames; ++i) {
        const InternedString name("shared-" + std::to_string(i));
        for (int t = 0; t < kThreads; ++t) {
            ASSERT_EQ(seen[t][i], name.data());
        }
    }
}

}  // namespace
