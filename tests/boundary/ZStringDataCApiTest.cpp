// The six flat string functions, called directly.
#include <gtest/gtest.h>

#include <cstring>

#include "LumCore/c/LumCoreFlat.h"

namespace {

ErrorRecord cleared()
{
    ErrorRecord record;
    record.typeName = nullptr;
    return record;
}

// Every byte is kept and terminated; size zero needs no text and still makes
// a record. (The C program covers the ordinary calls.)
TEST(ZStringDataCApi, ConstructKeepsEveryByteAndTerminates)
{
    ErrorRecord error = cleared();
    ZStringData* handle = ZStringData_C_API_constructCString(&error, "a\0b", 3);
    EXPECT_EQ(ZStringData_C_API_getLength(&error, handle), 3u);
    EXPECT_EQ(std::memcmp(ZStringData_C_API_getConstDataPointer(&error, handle), "a\0b", 4), 0);
    ZStringData_C_API_destruct(&error, handle);

    handle = ZStringData_C_API_constructCString(&error, nullptr, 0);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(*ZStringData_C_API_getConstDataPointer(&error, handle), '\0');
    ZStringData_C_API_destruct(&error, handle);
    EXPECT_EQ(error.typeName, nullptr);
}

TEST(ZStringDataCApi, CopyIsAShareAndTheLastReleaseFrees)
{
    ErrorRecord error = cleared();
    ZStringData* handle = ZStringData_C_API_constructCString(&error, "shared", 6);
    const auto* count = reinterpret_cast<const std::uint32_t*>(handle);
    EXPECT_EQ(*count, 1u);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(ZStringData_C_API_copy(&error, handle), handle);
    }
    EXPECT_EQ(*count, 4u);
    for (int i = 0; i < 3; ++i) {
        ZStringData_C_API_destruct(&error, handle);
    }
    EXPECT_EQ(*count, 1u);
    EXPECT_STREQ(ZStringData_C_API_getConstDataPointer(&error, handle), "shared");
    ZStringData_C_API_destruct(&error, handle);  // frees; the sanitizers watch the rest

    // Releasing null is a no-op with a clean record.
    error.typeName = "stale";
    ZStringData_C_API_destruct(&error, nullptr);
    EXPECT_EQ(error.typeName, nullptr);
}

TEST(ZStringDataCApi, ExhaustedHeapIsReportedAndNothingIsReturned)
{
    ErrorRecord error = cleared();
    // A size whose block the heap can never give out.
    const size_t huge = static_cast<size_t>(1) << 62;
    EXPECT_EQ(ZStringData_C_API_constructCString(&error, "x", huge), nullptr);
    EXPECT_STREQ(error.typeName, "bad_alloc");
    error = cleared();
    StringBufferResult result = ZStringData_C_API_constructCStringWithSize(&error, huge);
    EXPECT_STREQ(error.typeName, "bad_alloc");
    EXPECT_EQ(result.handle, nullptr);
    EXPECT_EQ(result.data, nullptr);
}

}  // namespace
