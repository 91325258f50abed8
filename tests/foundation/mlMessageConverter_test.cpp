#include "zandrel/foundation/ml/mlMessageConverter.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/expect_qtx.h"

namespace {

using Converter = mlMessageConverter;

qtString Canonized(const qtString& text) {
    return Converter::CanonizeLangString(mlLangString::BuildFromCString(text));
}

TEST(mlMessageConverterTest, TypesHaveTheirNumbersOfFiles) {
    const std::vector<Converter::NvpType> types = {
        Converter::kDeleted,     Converter::kOldList,        Converter::kString,
        Converter::kStringList,  Converter::kInteger,        Converter::kIntegerList,
        Converter::kDouble,      Converter::kDoubleList,     Converter::kBoolean,
        Converter::kBooleanList, Converter::kDate,           Converter::kDateList,
        Converter::kLangString,  Converter::kLangStringList, Converter::kPackedList,
    };

    ASSERT_EQ(types.size(), 15U);
    for (std::size_t number = 0; number < types.size(); ++number) {
        EXPECT_EQ(types[number], number);
    }
}

TEST(mlMessageConverterTest, TypesAreWrittenAsTwoDigits) {
    EXPECT_EQ(Converter::InterpretType(Converter::kDeleted), "00");
    EXPECT_EQ(Converter::InterpretType(Converter::kString), "02");
    EXPECT_EQ(Converter::InterpretType(Converter::kDate), "10");
    EXPECT_EQ(Converter::InterpretType(Converter::kPackedList), "14");
}

TEST(mlMessageConverterTest, EveryTypeOfTwoDigitsIsReadBack) {
    for (unsigned int number = 0; number < 100; ++number) {
        const auto type = static_cast<Converter::NvpType>(number);
        const qtString text = Converter::InterpretType(type);

        EXPECT_EQ(text.size(), 2U) << number;
        EXPECT_EQ(Converter::InterpretString(text), type);
        EXPECT_EQ(Converter::InterpretString(text + "\telements"), type);
        EXPECT_EQ(Converter::InterpretString(text + "7"), type);
    }
}

TEST(mlMessageConverterTest, TypeOfMoreThanTwoDigitsIsWrittenAsAnEmptyText) {
    for (const unsigned int number : {100U, 102U, 255U, 4294967295U}) {
        EXPECT_EQ(Converter::InterpretType(static_cast<Converter::NvpType>(number)), "00");
    }
}

TEST(mlMessageConverterTest, TextWithoutTwoDigitsHasNoType) {
    for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; ++second) {
            const std::string text = {static_cast<char>(first), static_cast<char>(second)};
            const bool are_digits = text.find_first_not_of("0123456789") == std::string::npos;
            const unsigned int expected =
                are_digits ? static_cast<unsigned int>(std::stoi(text)) : 0;

            EXPECT_EQ(Converter::InterpretString(text), expected) << first << ' ' << second;
        }
    }
    EXPECT_EQ(Converter::InterpretString(""), Converter::kDeleted);
    EXPECT_EQ(Converter::InterpretString("2"), Converter::kDeleted);
}

TEST(mlMessageConverterTest, CanonicalFormHasNoWhiteSpaceAtTheEnds) {
    EXPECT_EQ(Canonized(""), "");
    EXPECT_EQ(Canonized(" \t\r\n"), "");
    EXPECT_EQ(Canonized("\t two  words \n"), "two  words");
}

TEST(mlMessageConverterTest, CanonicalFormOfPlainTextIsTheText) {
    for (int byte = 0; byte < 256; ++byte) {
        const qtString text = "a" + qtString(std::string(1, static_cast<char>(byte))) + "B";

        EXPECT_EQ(Canonized(text), text) << byte;
    }
}

TEST(mlLangStringTest, TextIsKeptUnchanged) {
    const qtString text(" a\0b ", 5);

    EXPECT_EQ(mlLangString::BuildFromCString(text).text(), text);
}

TEST(mlLangStringTest, IsEmptyByDefault) {
    EXPECT_EQ(mlLangString(), mlLangString::BuildFromCString(""));
}

TEST(mlLangStringTest, UnchangedTextsAreCompared) {
    EXPECT_NE(mlLangString::BuildFromCString("a"), mlLangString::BuildFromCString("a "));
}

}  // namespace
