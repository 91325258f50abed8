// The message layer: mlMessage with its values and bags, the way of values through
// mlMessageConverter, and the layer's exceptions.
#include "zandrel/foundation/ml/mlMessage.h"

#include <cmath>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/ml/SELocalDictionary.h"
#include "zandrel/foundation/ml/mlx.h"
#include "zandrel/foundation/ml/qtSml.h"

#include "tests/support/expect_qtx.h"

namespace {

using Message_converter = mlMessageConverter;
using Value_texts = std::vector<qtString>;

mlMessage::Value ValueOf(unsigned int type, const Value_texts& texts) {
    return {static_cast<Message_converter::NvpType>(type), texts};
}

qtSml BagOf(std::string_view text, double weight) {
    qtSml bag;
    bag.Add(Concept::insert_view(text), weight);
    return bag;
}

// Runs the statement and checks the error that passes through.
template <class Statement>
void ChecksNvpError(const Statement& statement, const qtString& text, const qtString& name) {
    try {
        statement();
    } catch (const mlxNvp& raised) {
        EXPECT_EQ(raised.message(), text);
        EXPECT_EQ(raised.name(), name);
        EXPECT_EQ(raised.category(), 3);
        EXPECT_EQ(raised.severity(), 1);
        throw;
    }
}

TEST(mlMessageTest, NewMessageHasNothing) {
    const mlMessage message;

    EXPECT_TRUE(message.values().empty());
    EXPECT_TRUE(message.bags().empty());
    EXPECT_FALSE(message.HasKey(""));
    EXPECT_FALSE(message.HasKey("_SML"));
}

TEST(mlMessageTest, ValuesAndBagsAreKeys) {
    mlMessage message;
    message.SetValue("amount", ValueOf(4, {"7"}));
    message.SetBag("_SML", qtSml());

    EXPECT_TRUE(message.HasKey("amount"));
    EXPECT_TRUE(message.HasKey("_SML"));
    EXPECT_FALSE(message.HasKey("Amount"));
    EXPECT_FALSE(message.HasKey("_SML_KW"));
}

TEST(mlMessageTest, TypeAndTextsAreKeptAsGiven) {
    const std::vector<mlMessage::Value> values = {
        ValueOf(0, {"x"}),
        ValueOf(1, {"02\ta;b"}),
        ValueOf(4, {"seven"}),
        ValueOf(6, {}),
        ValueOf(8, {"maybe", "2"}),
        ValueOf(10, {"2026-11-22", "yesterday"}),
        ValueOf(12, {" two  words \n"}),
        ValueOf(14, {"no list"}),
        ValueOf(99, {"a", qtString("\0;\t\\", 4)}),
        ValueOf(255, {"one"}),
    };

    for (const mlMessage::Value& value : values) {
        SCOPED_TRACE(value.type);
        mlMessage message;
        message.SetValue("name", value);
        EXPECT_EQ(message.values().at("name"), value);
    }
}

TEST(mlMessageTest, SecondValueOrBagReplacesTheFirst) {
    mlMessage message;
    message.SetValue("a", ValueOf(3, {"x", "y"}));
    message.SetBag("a", BagOf("x", 1.0));
    message.SetValue("a", ValueOf(4, {"7"}));
    message.SetBag("a", BagOf("y", 2.0));

    EXPECT_EQ(message.values(), (std::map<qtString, mlMessage::Value>{{"a", ValueOf(4, {"7"})}}));
    EXPECT_EQ(message.bags(), (std::map<qtString, qtSml>{{"a", BagOf("y", 2.0)}}));
}

TEST(mlMessageTest, TypeThatAStoredMessageCouldNotKeepIsRefused) {
    mlMessage message;
    message.SetValue("a", ValueOf(2, {"old"}));
    const mlMessage before = message;

    for (const mlMessage::Value& value :
         {ValueOf(256, {"x"}), ValueOf(256, {}), ValueOf(4294967295U, {"x"}),
          ValueOf(100, {"x", "y"}), ValueOf(255, {"x", "y", "z"})}) {
        SCOPED_TRACE(value.type);
        EXPECT_THROW(
            ChecksNvpError([&] { message.SetValue("a", value); }, "Invalid type of nvp: a", "a"),
            mlxNvpType);
    }
    EXPECT_EQ(message, before);
}

TEST(mlMessageTest, EraseRemovesValueAndBag) {
    mlMessage message;
    message.SetValue("both", ValueOf(2, {"x"}));
    message.SetBag("both", qtSml());
    message.SetBag("bag", qtSml());
    message.SetValue("value", ValueOf(2, {}));

    EXPECT_TRUE(message.Erase("both"));
    EXPECT_FALSE(message.HasKey("both"));
    EXPECT_FALSE(message.Erase("both"));
    EXPECT_TRUE(message.Erase("bag"));
    EXPECT_TRUE(message.Erase("value"));
    EXPECT_EQ(message, mlMessage());
}

TEST(mlMessageTest, BagIsReturnedAlsoIfAValueHasItsKey) {
    mlMessage message;
    mlMessageSet<qtSml>(message, "_SML", BagOf("goal", 2.0));
    message.SetValue("_SML", ValueOf(2, {"text"}));

    EXPECT_EQ(mlMessageGet<qtSml>(message, "_SML"), BagOf("goal", 2.0));
}

TEST(mlMessageTest, MissingBagIsAnError) {
    const mlMessage message;

    EXPECT_THROW(
        ChecksNvpError([&] { mlMessageGet<qtSml>(message, "_SML"); }, "Missing nvp: _SML", "_SML"),
        mlxNvpMissing);
}

TEST(mlMessageTest, ValueIsNoBag) {
    mlMessage message;
    message.SetValue("_SML", ValueOf(2, {"text"}));

    EXPECT_THROW(ChecksNvpError([&] { mlMessageGet<qtSml>(message, "_SML"); },
                                "Nvp is not a bag: _SML", "_SML"),
                 mlxNvpType);
}

TEST(mlMessageTest, ErrorKeepsTheWholeNameIfItsMessageIsCut) {
    const qtString name(std::string(2000, 'x'));
    const qtString cut = "Missing nvp: " + name.substr(0, 1010);

    EXPECT_EQ(cut.size(), 1023U);
    EXPECT_THROW(ChecksNvpError([&] { mlMessageGet<qtSml>(mlMessage(), name); }, cut, name), mlx);
}

TEST(mlMessageTest, NamesOfValuesAreListedWithTheTextsOfTheirTypes) {
    mlMessage message;
    message.SetValue("b", ValueOf(4, {"7"}));
    message.SetValue("", ValueOf(13, {}));
    message.SetValue("\xc3", ValueOf(200, {"x"}));
    message.SetValue("a", ValueOf(2, {"x", "y"}));
    message.SetBag("_SML", BagOf("goal", 1.0));
    message.SetBag("a", BagOf("goal", 1.0));

    EXPECT_EQ(Message_converter::GetMessageNvpTypes(message),
              (std::map<qtString, qtString>{{"", "13"}, {"a", "02"}, {"b", "04"}, {"\xc3", "00"}}));
}

TEST(mlMessageTest, ConvertedTextsAreReadBack) {
    mlMessage message;
    Message_converter::ConvertCStringToNvp(message, "dates", {"2026-11-22", ""},
                                           Message_converter::kDateList);
    Value_texts values = {"left", "over"};

    EXPECT_EQ(Message_converter::ConvertNvpToCString(message, "dates", values),
              Message_converter::kDateList);
    EXPECT_EQ(values, (Value_texts{"2026-11-22", ""}));
}

TEST(mlMessageTest, ConvertedTypeThatCouldNotBeStoredIsRefused) {
    mlMessage message;

    EXPECT_THROW(
        Message_converter::ConvertCStringToNvp(message, "a", {"x", "y"}, ValueOf(100, {}).type),
        mlxNvpType);
    EXPECT_EQ(message, mlMessage());
}

TEST(mlMessageTest, MissingValueHasNoTextsAndNoError) {
    mlMessage message;
    message.SetBag("_Categories", BagOf("goal", 1.0));
    Value_texts values = {"left", "over"};

    EXPECT_EQ(Message_converter::ConvertNvpToCString(message, "_Categories", values),
              Message_converter::kDeleted);
    EXPECT_EQ(values, Value_texts());
}

TEST(qtSmlTest, WeightsAndTotalAreSums) {
    qtSml bag;
    bag.Add(Concept::insert_view("goal"), 2.0);
    bag.Add(Concept::insert_view("match"), 0.5);
    bag.Add(Concept::insert_view("goal"), -1.0);
    bag.Add(Concept(), 4.0);

    EXPECT_EQ(bag.weights().size(), 3U);
    EXPECT_EQ(bag.weights().at(Concept::insert_view("goal")), 1.0);
    EXPECT_EQ(bag.weights().at(Concept::insert_view("match")), 0.5);
    EXPECT_EQ(bag.weights().at(Concept()), 4.0);
    EXPECT_EQ(bag.total_weight(), 5.5);
}

TEST(qtSmlTest, WeightsThatAreNotFiniteAreKept) {
    qtSml bag;
    bag.Add(Concept::insert_view("large"), std::numeric_limits<double>::infinity());
    bag.Add(Concept::insert_view("odd"), std::numeric_limits<double>::quiet_NaN());

    EXPECT_TRUE(std::isinf(bag.weights().at(Concept::insert_view("large"))));
    EXPECT_TRUE(std::isnan(bag.weights().at(Concept::insert_view("odd"))));
    EXPECT_TRUE(std::isnan(bag.total_weight()));
}

TEST(SELocalDictionaryTest, KeysHaveTheirFixedTexts) {
    const std::vector<qtString> keys(SELocalDictionary::kSlotKeys.begin(),
                                     SELocalDictionary::kSlotKeys.end());

    EXPECT_EQ(keys, (Value_texts{"_SML", "_SML_KW", "_SML_TITLE", "_SML_CANNED_TEXT"}));
    EXPECT_EQ(qtString(SELocalDictionary::kEmptySml), "_EmptySml");
}

}  // namespace
