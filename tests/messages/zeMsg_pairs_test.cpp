// The name/value pairs of zeMsg.
#include "zandrel/messages/zeMsg.h"

#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/foundation/ml/mlMessageConverter.h"

#include "tests/messages/typed_pairs.h"
#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"

namespace {

using Converter = mlMessageConverter;

// Makes a message with these pairs in this order, like a message that was read from a file.
zeMsg WithPairs(std::vector<zeMsg::Nvp> pairs) {
    zeMsg msg;
    msg.nvps = std::move(pairs);
    msg.changed = false;
    return msg;
}

std::vector<std::string> Names(const zeMsg& msg) {
    std::vector<std::string> names;
    for (const zeMsg::Nvp& nvp : msg.nvps) {
        names.emplace_back(nvp.name.view());
    }
    return names;
}

TEST(zeMsgPairsTest, NewPairIsAnEmptyTombstone) {
    const zeMsg::Nvp nvp;

    EXPECT_EQ(nvp.name, Concept());
    EXPECT_EQ(nvp.type, 0U);
    EXPECT_EQ(nvp.value, "");
    EXPECT_TRUE(nvp.canonical.IsNull());
}

TEST(zeMsgPairsTest, MissingNameIsNotFound) {
    const zeMsg msg = WithPairs({Pair("b", 2, "value")});

    for (const char* const name : {"", "a", "c", "bb", "B"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(msg.get_value(term(name)), nullptr);
        EXPECT_EQ(msg.get_raw_value(term(name)), nullptr);
    }
}

TEST(zeMsgPairsTest, EveryPairIsFoundAmongMany) {
    zeMsg msg;
    for (int number = 99; number >= 0; --number) {
        const qtString text(std::to_string(number));
        msg.add_value("name" + text, Converter::kString, text);
    }

    for (int number = 0; number < 100; ++number) {
        const std::string text = std::to_string(number);
        const qtString* const value = msg.get_value(term("name" + text));
        ASSERT_NE(value, nullptr) << text;
        EXPECT_EQ(*value, text);
    }
}

TEST(zeMsgPairsTest, FirstOfSeveralPairsOfOneNameIsFound) {
    const zeMsg msg =
        WithPairs({Pair("a", 2, "x"), Pair("b", 2, "1"), Pair("b", 2, "2"), Pair("b", 2, "3")});

    EXPECT_EQ(*msg.get_value(term("b")), "1");
    EXPECT_EQ(*msg.get_raw_value(term("b")), "1");
}

// In a short list of pairs, all names are compared; in a longer one, a binary search comes first.
TEST(zeMsgPairsTest, FirstPairOfEachNameIsFoundAndMissingNamesAreNot) {
    for (std::size_t count = 0; count <= 150; ++count) {
        for (const std::size_t run : {1U, 2U, 3U, 40U}) {
            SCOPED_TRACE(std::to_string(count) + " pairs in runs of " + std::to_string(run));
            std::vector<zeMsg::Nvp> pairs;
            for (std::size_t index = 0; index < count; ++index) {
                // The names "101", "103", ... are in the order of their numbers.
                pairs.push_back(Pair(std::to_string(101 + index / run * 2), 2, "value"));
            }
            const zeMsg msg = WithPairs(pairs);

            for (std::size_t number = 100; number <= 102 + count * 2; ++number) {
                const bool is_there = number % 2 == 1 && (number - 101) / 2 * run < count;
                const qtString* const expected =
                    is_there ? &msg.nvps[(number - 101) / 2 * run].value : nullptr;
                ASSERT_EQ(msg.get_value(term(std::to_string(number))), expected) << number;
                ASSERT_EQ(msg.get_raw_value(term(std::to_string(number))), expected) << number;
            }
        }
    }
}

// The pairs are sorted by the bytes of their names, also where one name is a prefix of another or
// contains a zero byte.
TEST(zeMsgPairsTest, NamesThatAreBeginningsOfOthersAreFound) {
    std::set<std::string> names;
    for (const char byte : {'\0', 'a', '\xff'}) {
        for (std::size_t length = 0; length < 20; ++length) {
            names.insert(std::string(length, byte));
            names.insert(std::string(length, 'a') + byte);
        }
    }
    std::vector<zeMsg::Nvp> pairs;
    for (const std::string& name : names) {
        pairs.push_back(Pair(name, 2, name));
    }
    const zeMsg msg = WithPairs(pairs);

    for (const zeMsg::Nvp& nvp : msg.nvps) {
        EXPECT_EQ(msg.get_value(nvp.name), &nvp.value) << nvp.name.c_str();
    }
}

TEST(zeMsgPairsTest, StoredTextIsReturnedForEachType) {
    for (unsigned int type = 0; type < 256; ++type) {
        const zeMsg msg = WithPairs({Pair("key", type, " text ")});

        const qtString* const raw = msg.get_raw_value(term("key"));

        ASSERT_NE(raw, nullptr);
        EXPECT_EQ(raw, &msg.nvps[0].value);
        EXPECT_EQ(*raw, " text ");
    }
}

TEST(zeMsgPairsTest, ValueIsReturnedInTheFormOfItsType) {
    for (unsigned int type = 0; type < 256; ++type) {
        const zeMsg msg = WithPairs({Pair("key", type, "02\t text ")});

        const qtString* const value = msg.get_value(term("key"));

        qtString expected = "02\t text ";
        if (type == 1 || type == 14) {
            expected = "";
        } else if (type == 12 || type == 13) {
            expected = "02\t text";
        }
        ASSERT_NE(value, nullptr) << type;
        EXPECT_EQ(*value, expected) << type;
    }
}

TEST(zeMsgPairsTest, ListsShareOneEmptyText) {
    const zeMsg first = WithPairs({Pair("a", 14, "02\tx;y")});
    const zeMsg second = WithPairs({Pair("b", 1, "")});

    EXPECT_EQ(first.get_value(term("a")), second.get_value(term("b")));
    EXPECT_EQ(*first.get_raw_value(term("a")), "02\tx;y");
}

TEST(zeMsgPairsTest, CanonicalFormIsKeptForTheNextCall) {
    const zeMsg msg = WithPairs({Pair("key", 12, " text ")});
    EXPECT_TRUE(msg.nvps[0].canonical.IsNull());

    const qtString* const value = msg.get_value(term("key"));

    EXPECT_EQ(value, msg.nvps[0].canonical.get());
    EXPECT_EQ(msg.get_value(term("key")), value);
    EXPECT_EQ(msg.nvps[0].value, " text ");
    EXPECT_FALSE(msg.changed);
}

TEST(zeMsgPairsTest, OtherTypesGetNoCanonicalForm) {
    const zeMsg msg = WithPairs({Pair("key", 2, " text ")});

    EXPECT_EQ(msg.get_value(term("key")), &msg.nvps[0].value);

    EXPECT_TRUE(msg.nvps[0].canonical.IsNull());
}

TEST(zeMsgPairsTest, PairsAreAddedInTheOrderOfUnsignedBytes) {
    zeMsg msg;

    for (const char* const name : {"b", "\xE9", "a", "B", "ab", ""}) {
        msg.add_value(name, Converter::kString, "value");
    }

    EXPECT_EQ(Names(msg), (std::vector<std::string>{"", "B", "a", "ab", "b", "\xE9"}));
}

TEST(zeMsgPairsTest, NewNameSortsAllPairs) {
    zeMsg msg = WithPairs({Pair("c", 2, ""), Pair("a", 2, "")});

    msg.add_value("b", Converter::kString, "");

    EXPECT_EQ(Names(msg), (std::vector<std::string>{"a", "b", "c"}));
}

TEST(zeMsgPairsTest, TypeAndValueOfAPairAreReplacedAndItsCanonicalFormReleased) {
    zeMsg msg = WithPairs({Pair("key", 12, " old ")});
    ASSERT_EQ(*msg.get_value(term("key")), "old");

    msg.add_value("key", Converter::kLangString, " new ");

    EXPECT_EQ(msg.nvps.size(), 1U);
    EXPECT_TRUE(msg.nvps[0].canonical.IsNull());
    EXPECT_EQ(*msg.get_value(term("key")), "new");
    msg.add_value("key", Converter::kInteger, " 7 ");
    EXPECT_EQ(msg.nvps[0].type, Converter::kInteger);
    EXPECT_EQ(*msg.get_value(term("key")), " 7 ");
}

TEST(zeMsgPairsTest, AddingMarksTheMessageAsChanged) {
    zeMsg msg = WithPairs({});
    msg.add_value("key", Converter::kString, "value");
    EXPECT_TRUE(msg.changed);

    msg.changed = false;
    msg.add_value("key", Converter::kString, "value");
    EXPECT_TRUE(msg.changed);
}

TEST(zeMsgPairsTest, ValueMayBelongToAnotherPairOfTheMessage) {
    zeMsg msg = WithPairs({Pair("b", 2, "a value that is too long for the string itself")});

    msg.add_value("a", Converter::kString, msg.nvps[0].value);

    EXPECT_EQ(msg.nvps[0].value, "a value that is too long for the string itself");
    EXPECT_EQ(msg.nvps[1].value, "a value that is too long for the string itself");
}

TEST(zeMsgPairsTest, OnlySingleValuedTypesAreAdded) {
    for (unsigned int type = 0; type < 256; ++type) {
        SCOPED_TRACE(type);
        zeMsg msg = WithPairs({Pair("key", 12, " old ")});
        const qtString* const canonical = msg.get_value(term("key"));

        if (type >= 2 && type <= 12 && type % 2 == 0) {
            msg.add_value("key", TypeOf(type), "new");
            EXPECT_EQ(msg.nvps[0].type, type);
            continue;
        }

        EXPECT_QTXBASE(msg.add_value("key", TypeOf(type), "new"), "Invalid NVP type");
        EXPECT_QTXBASE(msg.add_value("other", TypeOf(type), "new"), "Invalid NVP type");
        ASSERT_EQ(msg.nvps.size(), 1U);
        EXPECT_EQ(msg.nvps[0].type, Converter::kLangString);
        EXPECT_EQ(msg.nvps[0].value, " old ");
        EXPECT_EQ(msg.nvps[0].canonical.get(), canonical);
        EXPECT_FALSE(msg.changed);
    }
}

TEST(zeMsgPairsTest, OldListsAreConvertedToThePackedForm) {
    struct Row {
        const char* name;
        unsigned int type;
        const char* value;
        unsigned int new_type;
        const char* new_value;
    };

    const Row rows[] = {
        {"key", 1, "", 1, ""},
        {"key", 1, "02", 1, ""},
        {"key", 1, "02\t", 14, "02\t"},
        {"key", 1, "02\ta;b", 14, "02\ta;b"},
        {"", 1, "02\ta", 14, "02\ta"},
        {"_SM", 1, "02\ta", 14, "02\ta"},
        {"_sml", 1, "02\ta", 14, "02\ta"},
        {"x_SML", 1, "02\ta", 14, "02\ta"},
        {"_SML", 1, "02\ta;b", 1, ""},
        {"_SML_KW", 1, "02\ta;b", 1, ""},
        {"_SMLother", 1, "02\ta;b", 1, ""},
        {"_SML", 1, "", 1, ""},
        {"key", 0, "02", 0, "02"},
        {"key", 2, "02", 2, "02"},
        {"_SML", 2, "02\ta;b", 2, "02\ta;b"},
        {"key", 14, "02", 14, "02"},
    };

    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.name) + " " + row.value);
        zeMsg::Nvp nvp = Pair(row.name, row.type, row.value);

        zeMsg::MakeBackwardCompatibile(nvp);

        EXPECT_EQ(nvp.type, row.new_type);
        EXPECT_EQ(nvp.value, row.new_value);
        EXPECT_EQ(nvp.name, term(row.name));
    }
}

TEST(zeMsgPairsTest, NumberIsThatOfTheValue) {
    const std::vector<std::pair<std::string, double>> rows = {{"", 0.0},
                                                              {"7", 7.0},
                                                              {"-2", -2.0},
                                                              {"0.5", 0.5},
                                                              {"0.75", 0.75},
                                                              {"1234567", 1234567.0},
                                                              {"12345678", 12345678.0},
                                                              {"123456789", 123456789.0},
                                                              {"0.12345678901", 0.12345678901},
                                                              {" 4", 4.0},
                                                              {"5 apples", 5.0},
                                                              {"apples", 0.0},
                                                              {"1e3", 1000.0},
                                                              {"0x10", 16.0},
                                                              {std::string("3\0007", 3), 3.0}};
    zeMsg msg;
    for (const auto& [text, number] : rows) {
        SCOPED_TRACE(text);
        msg.add_value("a", Converter::kString, text);

        EXPECT_EQ(msg.get_number(Concept::insert("a")), number);
        EXPECT_EQ(msg.get_number(Concept::insert("a")), number);
    }
    EXPECT_EQ(msg.get_number(Concept::insert("b")), 0.0);
}

// A list has no single value, so its number is 0.
TEST(zeMsgPairsTest, NumberOfAListIsZero) {
    const zeMsg msg = WithPairs({Pair("a", 1, "5"), Pair("b", 14, "02\t5;6"), Pair("c", 2, "5")});

    EXPECT_EQ(msg.get_number(Concept::insert("a")), 0.0);
    EXPECT_EQ(msg.get_number(Concept::insert("b")), 0.0);
    EXPECT_EQ(msg.get_number(Concept::insert("c")), 5.0);
}

TEST(zeMsgPairsTest, NumberFollowsATextThatIsChangedInPlace) {
    zeMsg msg = WithPairs({Pair("a", 2, "1")});
    const Concept name = Concept::insert("a");
    EXPECT_EQ(msg.get_number(name), 1.0);

    msg.nvps[0].value = "2";
    EXPECT_EQ(msg.get_number(name), 2.0);
    msg.nvps[0].value = "2.5";
    EXPECT_EQ(msg.get_number(name), 2.5);
    msg.nvps[0].type = Converter::kPackedList;
    EXPECT_EQ(msg.get_number(name), 0.0);
}

TEST(zeMsgPairsTest, NumberFollowsAPairThatMoves) {
    zeMsg msg = WithPairs({Pair("b", 2, "1"), Pair("c", 2, "2")});
    const Concept name = Concept::insert("c");
    EXPECT_EQ(msg.get_number(name), 2.0);

    msg.add_value("a", Converter::kString, "3");
    EXPECT_EQ(msg.get_number(name), 2.0);
    msg.nvps.erase(msg.nvps.begin(), msg.nvps.begin() + 2);
    EXPECT_EQ(msg.get_number(name), 2.0);
    msg.nvps.insert(msg.nvps.begin(), Pair("c", 2, "4"));
    EXPECT_EQ(msg.get_number(name), 4.0);
    msg.nvps.clear();
    EXPECT_EQ(msg.get_number(name), 0.0);
}

}  // namespace
