// EXPECT_QTX, EXPECT_QTX_ARGS, EXPECT_QTXBASE and EXPECT_ASSERTS: check everything about the error
// that a statement raises.
#ifndef ZANDREL_TESTS_SUPPORT_EXPECT_QTX_H_
#define ZANDREL_TESTS_SUPPORT_EXPECT_QTX_H_

#include <optional>
#include <ostream>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/foundation/qtX.h"

// GoogleTest calls this to show a qtString in a failure message.
inline void PrintTo(const qtString& text, std::ostream* out) {
    *out << '"' << text.view() << '"';
}

// Checks that `statement` raises exactly `Raised` (no derived class) with this number and text and,
// if given, these arguments. EXPECT_QTX and the macros like it call this.
template <class Raised, class Statement>
testing::AssertionResult raises(Statement&& statement, int number, const std::string& text,
                                const std::optional<std::vector<qtString>>& arguments = {}) {
    try {
        std::forward<Statement>(statement)();
    } catch (const qtXbase& raised) {
        if (typeid(raised) != typeid(Raised)) {
            return testing::AssertionFailure() << "raises " << typeid(raised).name() << " \""
                                               << raised.what() << "\", another type";
        }
        if (raised.number() != number || raised.message().str() != text) {
            return testing::AssertionFailure()
                   << "raises " << raised.number() << " \"" << raised.what() << "\" instead of "
                   << number << " \"" << text << '"';
        }
        if (arguments && raised.arguments() != *arguments) {
            return testing::AssertionFailure()
                   << "raises the arguments " << testing::PrintToString(raised.arguments())
                   << " instead of " << testing::PrintToString(*arguments);
        }
        return testing::AssertionSuccess();
    } catch (const std::exception& raised) {
        return testing::AssertionFailure()
               << "raises " << typeid(raised).name() << " \"" << raised.what() << '"';
    }
    return testing::AssertionFailure() << "raises nothing";
}

// Checks that `statement` breaks the invariant with this text.
template <class Statement>
testing::AssertionResult asserts(Statement&& statement, const std::string& expression) {
    try {
        std::forward<Statement>(statement)();
    } catch (const qtxAssert& raised) {
        if (raised.message().str() == expression) {
            return testing::AssertionSuccess();
        }
        return testing::AssertionFailure()
               << "breaks \"" << raised.what() << "\" instead of \"" << expression << '"';
    } catch (const std::exception& raised) {
        return testing::AssertionFailure()
               << "raises " << typeid(raised).name() << " \"" << raised.what() << '"';
    }
    return testing::AssertionFailure() << "raises nothing";
}

// Checks that `statement` raises qtX<Class> with exactly this number and text.
#define EXPECT_QTX(statement, Class, number, text) \
    EXPECT_TRUE(raises<qtX<Class>>([&] { statement; }, number, text))

// Checks the arguments too: EXPECT_QTX_ARGS(open(), Store, 3, "Bad", {"name", "7"}).
#define EXPECT_QTX_ARGS(statement, Class, number, text, ...) \
    EXPECT_TRUE(                                             \
        raises<qtX<Class>>([&] { statement; }, number, text, std::vector<qtString> __VA_ARGS__))

// Checks that `statement` raises a plain qtXbase with exactly this text.
#define EXPECT_QTXBASE(statement, text) EXPECT_TRUE(raises<qtXbase>([&] { statement; }, 0, text))

// Checks that `statement` breaks the invariant whose fixed text is `expression`.
#define EXPECT_ASSERTS(statement, expression) EXPECT_TRUE(asserts([&] { statement; }, expression))

#endif  // ZANDREL_TESTS_SUPPORT_EXPECT_QTX_H_
