// The error boundary end to end: the guard on the library's side of a module
// boundary, the check on the caller's side.
#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <stdexcept>
#include <string>
#include <typeinfo>

#include "LumCore/internal/ThrowIfFailed.hpp"

extern "C" int LumTest_C_API_raise(ErrorRecord* error, int what, const char* text);

namespace {

using Marlowen::Lum::Internal::throwIfFailed;

enum Raise {
    Nothing = 0,
    BadAlloc,
    BadArrayNewLength,
    OutOfRange,
    InvalidArgument,
    LengthError,
    RuntimeError,
    OverflowError,
    LogicError,
    BadCast,
    ForeignValue,
};

// A record full of junk, as a reused record would be.
ErrorRecord dirtyRecord()
{
    ErrorRecord record;
    record.typeName = "stale";
    std::memset(record.message, 'x', sizeof record.message);
    return record;
}

// The exact class and text of what throwIfFailed raises for `record`.
std::string rethrown(const ErrorRecord& record)
{
    try {
        throwIfFailed(record);
    } catch (const std::exception& e) {
        return std::string(typeid(e).name()) + ": " + e.what();
    }
    return "<nothing thrown>";
}

template <class E>
std::string expected(const std::string& what)
{
    return std::string(typeid(E).name()) + ": " + what;
}

// Each exception class becomes its word and text in the record, and the
// caller gets the standard exception that the word names: the class follows
// the word, not the object that was thrown inside.
TEST(Firewall, EachExceptionClassBecomesItsWordAndTheCallersException)
{
    const struct {
        Raise raise;
        const char* word;
        const char* message;
        std::string caller;
    } cases[] = {
        {BadAlloc, "bad_alloc", std::bad_alloc().what(), expected<std::bad_alloc>(std::bad_alloc().what())},
        {BadArrayNewLength, "bad_alloc", std::bad_array_new_length().what(),
         expected<std::bad_alloc>(std::bad_alloc().what())},
        {OutOfRange, "out_of_range", "the text", expected<std::out_of_range>("the text")},
        {InvalidArgument, "invalid_argument", "the text", expected<std::invalid_argument>("the text")},
        {LengthError, "length_error", "the text", expected<std::length_error>("the text")},
        {RuntimeError, "runtime_error", "the text", expected<std::runtime_error>("the text")},
        {OverflowError, "runtime_error", "the text", expected<std::runtime_error>("the text")},
        {LogicError, "exception", "the text", expected<std::runtime_error>("the text")},
        {BadCast, "exception", std::bad_cast().what(), expected<std::runtime_error>(std::bad_cast().what())},
        {ForeignValue, "exception", "unknown exception", expected<std::runtime_error>("unknown exception")},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.raise);
        ErrorRecord record = dirtyRecord();
        EXPECT_EQ(LumTest_C_API_raise(&record, c.raise, "the text"), 0);
        ASSERT_NE(record.typeName, nullptr);
        EXPECT_STREQ(record.typeName, c.word);
        EXPECT_STREQ(record.message, c.message);
        EXPECT_EQ(rethrown(record), c.caller);
    }
    // An empty text stays a failure.
    ErrorRecord record = dirtyRecord();
    LumTest_C_API_raise(&record, InvalidArgument, "");
    EXPECT_EQ(rethrown(record), expected<std::invalid_argument>(""));
}

TEST(Firewall, SuccessClearsTheWordAndTheMessageOnlyAndFailuresAreCutAt199Characters)
{
    ErrorRecord record = dirtyRecord();
    EXPECT_EQ(LumTest_C_API_raise(&record, Nothing, ""), 7);
    EXPECT_EQ(record.typeName, nullptr);
    EXPECT_EQ(record.message[0], '\0');
    EXPECT_EQ(record.message[1], 'x');  // the rest of the buffer is not touched
    EXPECT_EQ(rethrown(record), "<nothing thrown>");

    for (std::size_t length : {199u, 200u, 5000u}) {
        record = dirtyRecord();
        LumTest_C_API_raise(&record, RuntimeError, std::string(length, 'b').c_str());
        EXPECT_EQ(std::string(record.message), std::string(199, 'b')) << length;
    }
}

// Words are compared by content, not address; a word outside the vocabulary
// is unrecognized.
TEST(Firewall, TheCallerReadsTheWordsContent)
{
    char copiedWord[] = "out_of_range";
    ErrorRecord record;
    record.typeName = copiedWord;
    std::strcpy(record.message, "from a copy of the word");
    EXPECT_EQ(rethrown(record), expected<std::out_of_range>("from a copy of the word"));
    for (const char* word : {"system_error", "bad_alloc ", "Exception", ""}) {
        record.typeName = word;
        EXPECT_EQ(rethrown(record), expected<std::runtime_error>("Unrecognized exception type")) << word;
    }
}

}  // namespace
