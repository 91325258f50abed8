// EXPECT_SEGBUF_ERROR: checks everything about the error that SegBuf or its device raises.
#ifndef ZANDREL_TESTS_SUPPORT_EXPECT_SEGBUF_H_
#define ZANDREL_TESTS_SUPPORT_EXPECT_SEGBUF_H_

#include <string>
#include <typeinfo>
#include <utility>

#include <gtest/gtest.h>

#include "zandrel/storage/SegBuf.h"

// Checks that `statement` raises exactly qtxSegBuf with this text, category 9, severity 2 and a
// source position.
template <class Statement>
testing::AssertionResult raises_segbuf(Statement&& statement, const std::string& text) {
    try {
        std::forward<Statement>(statement)();
    } catch (const qtxSegBuf& raised) {
        const std::string file = raised.file();
        if (typeid(raised) == typeid(qtxSegBuf) && raised.message().str() == text &&
            raised.category() == 9 && raised.severity() == 2 && raised.line() > 0 &&
            file.find("zandrel/storage/") != std::string::npos) {
            return testing::AssertionSuccess();
        }
        return testing::AssertionFailure()
               << "raises \"" << raised.what() << "\", category " << raised.category()
               << ", severity " << raised.severity() << ", at " << file << ':' << raised.line()
               << " instead of \"" << text << '"';
    } catch (const std::exception& raised) {
        return testing::AssertionFailure()
               << "raises " << typeid(raised).name() << " \"" << raised.what() << '"';
    }
    return testing::AssertionFailure() << "raises nothing";
}

#define EXPECT_SEGBUF_ERROR(statement, text) EXPECT_TRUE(raises_segbuf([&] { statement; }, text))

#endif  // ZANDREL_TESTS_SUPPORT_EXPECT_SEGBUF_H_
