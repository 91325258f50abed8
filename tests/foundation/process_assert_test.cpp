#include "zandrel/foundation/process_assert.h"

#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "tests/support/expect_qtx.h"

using zandrel::set_assert_handler;

namespace {

// The arguments that the handlers below were called with.
struct Call {
    int count = 0;
    std::string expression;
    std::string file;
    int line = 0;
    std::string function;
};

Call s_call;

void note_and_return(const char* expression, const char* file, int line, const char* function) {
    s_call = {s_call.count + 1, expression, file, line, function};
}

class Handler_error {};

void note_and_raise(const char* expression, const char* file, int line, const char* function) {
    note_and_return(expression, file, line, function);
    throw Handler_error();
}

// Restores the default handler after each test.
class processassertTest : public testing::Test {
protected:
    void SetUp() override { s_call = Call(); }

    void TearDown() override { set_assert_handler(nullptr); }
};

TEST_F(processassertTest, DefaultHandlerRaisesPlaceAndText) {
    try {
        process_assert("size == 0", "some_file.cpp", 42, "some_function");
    } catch (const qtxAssert& raised) {
        EXPECT_EQ(raised.message(), "size == 0");
        EXPECT_STREQ(raised.file(), "some_file.cpp");
        EXPECT_EQ(raised.line(), 42);
        EXPECT_STREQ(raised.function(), "some_function");
        return;
    }
    FAIL() << "nothing was raised";
}

TEST_F(processassertTest, RaisedErrorIsNotAnErrorOfUsers) {
    const qtxAssert raised("size == 0", "some_file.cpp", 42, "some_function");

    EXPECT_EQ(raised.category(), 1);
    EXPECT_EQ(raised.severity(), 3);
    EXPECT_FALSE((std::is_base_of_v<qtXbase, qtxAssert>));
    EXPECT_THROW(throw raised, qtxAll);
}

TEST_F(processassertTest, ReplacedHandlerGetsAllArguments) {
    set_assert_handler(note_and_raise);

    EXPECT_THROW(process_assert("size == 0", "some_file.cpp", 42, "some_function"), Handler_error);

    EXPECT_EQ(s_call.count, 1);
    EXPECT_EQ(s_call.expression, "size == 0");
    EXPECT_EQ(s_call.file, "some_file.cpp");
    EXPECT_EQ(s_call.line, 42);
    EXPECT_EQ(s_call.function, "some_function");
}

TEST_F(processassertTest, AssertionRaisesAfterAHandlerThatReturns) {
    set_assert_handler(note_and_return);

    EXPECT_ASSERTS(process_assert("size == 0", "some_file.cpp", 42, "some_function"), "size == 0");

    EXPECT_EQ(s_call.count, 1);
}

TEST_F(processassertTest, SettingAHandlerReturnsThePreviousOne) {
    const zandrel::Assert_handler original = set_assert_handler(note_and_raise);

    EXPECT_EQ(set_assert_handler(note_and_return), note_and_raise);
    EXPECT_EQ(set_assert_handler(original), note_and_return);
    EXPECT_ASSERTS(process_assert("restored", "some_file.cpp", 42, "some_function"), "restored");
    EXPECT_EQ(s_call.count, 0);
}

TEST_F(processassertTest, NullMeansTheDefaultHandler) {
    set_assert_handler(note_and_raise);
    set_assert_handler(nullptr);

    EXPECT_ASSERTS(process_assert("default", "some_file.cpp", 42, "some_function"), "default");
    EXPECT_EQ(s_call.count, 0);
}

TEST_F(processassertTest, MacroRaisesItsFixedText) {
    EXPECT_ASSERTS(ZANDREL_ASSERT(1 + 1 == 3, "the sum holds"), "the sum holds");
}

TEST_F(processassertTest, MacroGivesItsPlace) {
    set_assert_handler(note_and_return);

    const int line = __LINE__ + 1;
    EXPECT_THROW({ ZANDREL_ASSERT(false, "never"); }, qtxAssert);

    EXPECT_EQ(s_call.file, __FILE__);
    EXPECT_EQ(s_call.line, line);
    EXPECT_EQ(s_call.function, static_cast<const char*>(__func__));
}

TEST_F(processassertTest, MacroPassesTrueConditionsAndEvaluatesThemOnce) {
    set_assert_handler(note_and_raise);
    int asked = 0;

    EXPECT_NO_THROW(ZANDREL_ASSERT(++asked == 1, "asked once"));

    EXPECT_EQ(asked, 1);
    EXPECT_EQ(s_call.count, 0);
}

TEST_F(processassertTest, MacroIsOneStatement) {
    const bool is_checked = false;

    if (is_checked)
        ZANDREL_ASSERT(false, "not reached");
    else
        SUCCEED();

    EXPECT_EQ(s_call.count, 0);
}

}  // namespace
