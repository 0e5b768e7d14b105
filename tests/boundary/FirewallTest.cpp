// The error boundary end to end: the guard on the library's side of a module
// boundary, the check on the caller's side.
#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <stdexcept>
#include <string>

#include "LumCore/ThrowIfFailed.hpp"

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

// A record whose message is full of junk, as a reused record would be.
ErrorRecord dirtyRecord()
{
    ErrorRecord record;
    record.typeName = "stale";
    std::memset(record.message, 'x', sizeof record.message);
    return record;
}

struct WordCase {
    Raise raise;
    const char* word;
    const char* message;
};

TEST(Firewall, EachExceptionClassBecomesItsWordAndText)
{
    const WordCase cases[] = {
        {BadAlloc, "bad_alloc", std::bad_alloc().what()},
        {BadArrayNewLength, "bad_alloc", std::bad_array_new_length().what()},
        {OutOfRange, "out_of_range", "the text"},
        {InvalidArgument, "invalid_argument", "the text"},
        {LengthError, "length_error", "the text"},
        {RuntimeError, "runtime_error", "the text"},
        {OverflowError, "runtime_error", "the text"},
        {LogicError, "exception", "the text"},
        {BadCast, "exception", std::bad_cast().what()},
        {ForeignValue, "exception", "unknown exception"},
    };
    for (const WordCase& c : cases) {
        ErrorRecord record = dirtyRecord();
        EXPECT_EQ(LumTest_C_API_raise(&record, c.raise, "the text"), 0) << c.word;
        ASSERT_NE(record.typeName, nullptr);
        EXPECT_STREQ(record.typeName, c.word);
        EXPECT_STREQ(record.message, c.message) << c.word;
    }
}

TEST(Firewall, SuccessClearsTheWordAndTheMessageOnly)
{
    ErrorRecord record = dirtyRecord();
    EXPECT_EQ(LumTest_C_API_raise(&record, Nothing, ""), 7);
    EXPECT_EQ(record.typeName, nullptr);
    EXPECT_EQ(record.message[0], '\0');
    EXPECT_EQ(record.message[1], 'x');  // the rest of the buffer is not touched
}

TEST(Firewall, MessageIsCutAt199Characters)
{
    const std::string exact(199, 'a');
    ErrorRecord record = dirtyRecord();
    LumTest_C_API_raise(&record, RuntimeError, exact.c_str());
    EXPECT_EQ(std::string(record.message), exact);

    for (std::size_t length : {200u, 201u, 5000u}) {
        const std::string longer(length, 'b');
        record = dirtyRecord();
        LumTest_C_API_raise(&record, RuntimeError, longer.c_str());
        EXPECT_EQ(record.message[199], '\0');
        EXPECT_EQ(std::string(record.message), std::string(199, 'b'));
    }

    record = dirtyRecord();
    LumTest_C_API_raise(&record, InvalidArgument, "");
    EXPECT_STREQ(record.typeName, "invalid_argument");
    EXPECT_STREQ(record.message, "");
}

// What the caller sees: the exception class follows the word, not the object
// that was thrown inside.
template <class Expected>
void expectRaised(Raise raise, const char* text, const char* expectedWhat)
{
    ErrorRecord record;
    record.typeName = nullptr;
    LumTest_C_API_raise(&record, raise, text);
    try {
        throwIfFailed(record);
        FAIL() << "nothing thrown for " << expectedWhat;
    } catch (const Expected& e) {
        EXPECT_STREQ(e.what(), expectedWhat);
    }
}

TEST(Firewall, TheCallerGetsTheMappedStandardException)
{
    expectRaised<std::bad_alloc>(BadAlloc, "", "std::bad_alloc");
    expectRaised<std::out_of_range>(OutOfRange, "position 9", "position 9");
    expectRaised<std::invalid_argument>(InvalidArgument, "misuse", "misuse");
    expectRaised<std::length_error>(LengthError, "too long", "too long");
    expectRaised<std::runtime_error>(RuntimeError, "refused", "refused");
    expectRaised<std::runtime_error>(LogicError, "a logic error", "a logic error");
    expectRaised<std::runtime_error>(ForeignValue, "", "unknown exception");
    expectRaised<std::invalid_argument>(InvalidArgument, "", "");  // empty text stays a failure
}

TEST(Firewall, BadArrayNewLengthArrivesAsPlainBadAlloc)
{
    ErrorRecord record;
    record.typeName = nullptr;
    LumTest_C_API_raise(&record, BadArrayNewLength, "");
    try {
        throwIfFailed(record);
        FAIL();
    } catch (const std::bad_array_new_length&) {
        FAIL() << "the caller must see std::bad_alloc itself";
    } catch (const std::bad_alloc& e) {
        EXPECT_STREQ(e.what(), std::bad_alloc().what());
    }
}

TEST(Firewall, WordsAreComparedByContentNotAddress)
{
    char word[] = "out_of_range";
    ErrorRecord record;
    record.typeName = word;
    std::strcpy(record.message, "from a copy of the word");
    EXPECT_THROW(throwIfFailed(record), std::out_of_range);
}

TEST(Firewall, AWordOutsideTheVocabularyIsUnrecognized)
{
    for (const char* word : {"system_error", "bad_alloc ", "Exception", ""}) {
        ErrorRecord record;
        record.typeName = word;
        std::strcpy(record.message, "ignored");
        try {
            throwIfFailed(record);
            FAIL() << word;
        } catch (const std::runtime_error& e) {
            EXPECT_STREQ(e.what(), "Unrecognized exception type") << word;
        }
    }
}

}  // namespace
