#include "zandrel/messages/zeMsgEdit.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/messages/typed_pairs.h"
#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/failing_new.h"

namespace {

using Converter = mlMessageConverter;
using Texts = std::vector<qtString>;
using Types = std::map<Concept, Converter::NvpType>;

// One line for each pair: name, type, value.
std::string Shown(const zeMsg& msg) {
    std::string lines;
    for (const zeMsg::Nvp& nvp : msg.nvps) {
        lines += std::string(nvp.name.view()) + ' ' + std::to_string(nvp.type) + ' ' +
                 nvp.value.str() + '\n';
    }
    return lines;
}

class zeMsgEditTest : public testing::Test {
protected:
    // Sets the pairs of the message in this order, as a read from a file does.
    void Hold(std::vector<zeMsg::Nvp> pairs) {
        m_msg->nvps = std::move(pairs);
        m_msg->changed = false;
    }

    qtPtrLight<zeMsg> m_msg{new zeMsg};
    Texts m_values{"old"};
};

TEST_F(zeMsgEditTest, SingleValueIsReturnedWithItsType) {
    Hold({Pair("a", 2, " text "), Pair("b", 12, " words "), Pair("c", 3, "x;y")});
    zeMsgEdit edit(m_msg);

    EXPECT_EQ(edit.Get(term("a"), m_values), Converter::kString);
    EXPECT_EQ(m_values, Texts{" text "});
    EXPECT_EQ(edit.Get(term("b"), m_values), Converter::kLangString);
    EXPECT_EQ(m_values, Texts{" words "});
    EXPECT_EQ(edit.Get(term("c"), m_values), Converter::kStringList);
    EXPECT_EQ(m_values, Texts{"x;y"});
}

TEST_F(zeMsgEditTest, MissingNameReturnsNothing) {
    Hold({Pair("a", 2, "text")});
    zeMsgEdit edit(m_msg);

    EXPECT_EQ(edit.Get(term("b"), m_values), Converter::kDeleted);
    EXPECT_EQ(m_values, Texts());
}

TEST_F(zeMsgEditTest, OldListWithoutElementsIsReturnedAsTypeOne) {
    Hold({Pair("a", 1, "02")});
    zeMsgEdit edit(m_msg);

    EXPECT_EQ(edit.Get(term("a"), m_values), Converter::kOldList);
    EXPECT_EQ(m_values, Texts());
}

TEST_F(zeMsgEditTest, ElementsOfAPackedListAreReturned) {
    Hold({Pair("a", 14, "03\tone;t\\;w\\\\o;"), Pair("b", 14, "12\t")});
    zeMsgEdit edit(m_msg);

    EXPECT_EQ(edit.Get(term("a"), m_values), Converter::kStringList);
    EXPECT_EQ(m_values, (Texts{"one", "t;w\\o", ""}));
    EXPECT_EQ(edit.Get(term("b"), m_values), Converter::kLangString);
    EXPECT_EQ(m_values, Texts{""});
}

TEST_F(zeMsgEditTest, MalformedPackedListIsRefused) {
    for (const char* const value : {"", "0", "02", "02\ta\\", "02\t\\"}) {
        SCOPED_TRACE(value);
        Hold({Pair("a", 14, value)});
        zeMsgEdit edit(m_msg);
        m_values = {"old"};

        EXPECT_QTXBASE(edit.Get(term("a"), m_values), "Invalid nvp value");

        EXPECT_EQ(m_values, Texts());
        EXPECT_EQ(Shown(*m_msg), std::string("a 14 ") + value + "\n");
        EXPECT_FALSE(m_msg->changed);
    }
}

TEST_F(zeMsgEditTest, TypesOfAllPairsThatAreNotDeletedAreReturned) {
    Hold({Pair("a", 2, "text"), Pair("b", 14, "05\t1;2"), Pair("c", 0, "gone"), Pair("d", 1, "02"),
          Pair("e", 14, "?"), Pair("f", 2, "text")});
    zeMsgEdit edit(m_msg);
    edit.Delete(term("f"));
    Types types{{term("old"), Converter::kString}};

    edit.GetTypes(types);

    EXPECT_EQ(types, (Types{{term("a"), Converter::kString},
                            {term("b"), Converter::kIntegerList},
                            {term("d"), Converter::kOldList},
                            {term("e"), Converter::kDeleted}}));
}

TEST_F(zeMsgEditTest, OneValueIsSetWithTheGivenType) {
    zeMsgEdit edit(m_msg);

    edit.Set(term("key"), {"x;y"}, Converter::kStringList);
    edit.End();

    EXPECT_EQ(Shown(*m_msg), "key 3 x;y\n");
}

TEST_F(zeMsgEditTest, SeveralValuesAreSetAsAPackedList) {
    zeMsgEdit edit(m_msg);

    edit.Set(term("key"), {"a;b", "", "c\\"}, Converter::kInteger);

    EXPECT_EQ(Shown(*m_msg), "key 14 04\ta\\;b;;c\\\\\n");
    EXPECT_EQ(edit.Get(term("key"), m_values), Converter::kInteger);
    EXPECT_EQ(m_values, (Texts{"a;b", "", "c\\"}));
}

TEST_F(zeMsgEditTest, ValuesOfAnyAcceptedTypeAreReturnedAsSet) {
    qtString all_bytes;
    for (int byte = 0; byte < 256; ++byte) {
        all_bytes += static_cast<char>(byte);
    }
    for (const Texts& values : {Texts{all_bytes}, Texts{all_bytes, "", all_bytes}}) {
        for (unsigned int type = 2; type < 100; ++type) {
            if (type == Converter::kPackedList) {
                continue;
            }
            zeMsgEdit edit(m_msg);

            edit.Set(term("key"), values, TypeOf(type));

            EXPECT_EQ(edit.Get(term("key"), m_values), type);
            EXPECT_EQ(m_values, values);
            edit.End();
        }
    }
}

TEST_F(zeMsgEditTest, TypesBelowTwoThePackedListAndTypesOfThreeDigitsAreRefused) {
    for (const unsigned int type : {0U, 1U, 14U, 100U, 256U}) {
        SCOPED_TRACE(type);
        Hold({Pair("a", 2, "text")});
        zeMsgEdit edit(m_msg);

        EXPECT_QTXBASE(edit.Set(term("a"), {"new"}, TypeOf(type)), "Invalid nvp type");
        EXPECT_QTXBASE(edit.Set(term("b"), {"new"}, TypeOf(type)), "Invalid nvp type");
        EXPECT_QTXBASE(edit.Set(term("b"), {}, TypeOf(type)), "Invalid nvp type");
        edit.End();

        EXPECT_EQ(Shown(*m_msg), "a 2 text\n");
        EXPECT_FALSE(m_msg->changed);
    }
}

TEST_F(zeMsgEditTest, LargestTypeOfTwoDigitsIsAccepted) {
    zeMsgEdit edit(m_msg);

    edit.Set(term("list"), {"x", "y"}, TypeOf(99));
    edit.Set(term("single"), {"x"}, TypeOf(99));
    edit.End();

    EXPECT_EQ(Shown(*m_msg), "list 14 99\tx;y\nsingle 99 x\n");
    EXPECT_EQ(edit.Get(term("list"), m_values), 99);
    EXPECT_EQ(m_values, (Texts{"x", "y"}));
}

TEST_F(zeMsgEditTest, SettingNoValueIsRefused) {
    Hold({Pair("a", 2, "text")});
    zeMsgEdit edit(m_msg);

    EXPECT_QTXBASE(edit.Set(term("a"), {}, Converter::kString), "Missing nvp value");
    EXPECT_QTXBASE(edit.Set(term("b"), {}, Converter::kString), "Missing nvp value");
    edit.End();

    EXPECT_EQ(Shown(*m_msg), "a 2 text\n");
    EXPECT_FALSE(m_msg->changed);
}

TEST_F(zeMsgEditTest, PairIsReplacedInItsPlaceAndItsCanonicalFormReleased) {
    Hold({Pair("a", 12, " old "), Pair("b", 2, "text")});
    ASSERT_EQ(*m_msg->get_value(term("a")), "old");
    zeMsgEdit edit(m_msg);

    edit.Set(term("a"), {" new "}, Converter::kLangString);
    edit.End();

    EXPECT_EQ(Shown(*m_msg), "a 12  new \nb 2 text\n");
    EXPECT_EQ(*m_msg->get_value(term("a")), "new");
    EXPECT_TRUE(m_msg->changed);
}

TEST_F(zeMsgEditTest, PairAddedByTheSameEditIsReplaced) {
    zeMsgEdit edit(m_msg);

    edit.Set(term("a"), {"first"}, Converter::kString);
    edit.Set(term("a"), {"second"}, Converter::kInteger);
    edit.End();

    EXPECT_EQ(Shown(*m_msg), "a 4 second\n");
}

TEST_F(zeMsgEditTest, PairsAreSortedOnlyAtTheEnd) {
    Hold({Pair("b", 2, "1"), Pair("d", 2, "2")});
    zeMsgEdit edit(m_msg);

    edit.Set(term("c"), {"3"}, Converter::kString);
    edit.Set(term("a"), {"4"}, Converter::kString);
    EXPECT_EQ(Shown(*m_msg), "b 2 1\nd 2 2\nc 2 3\na 2 4\n");
    edit.End();

    EXPECT_EQ(Shown(*m_msg), "a 2 4\nb 2 1\nc 2 3\nd 2 2\n");
}

TEST_F(zeMsgEditTest, ReplacingByItselfDoesNotSort) {
    Hold({Pair("b", 2, "1"), Pair("a", 2, "2")});
    zeMsgEdit edit(m_msg);

    edit.Set(term("a"), {"3"}, Converter::kString);
    edit.End();

    EXPECT_EQ(Shown(*m_msg), "b 2 1\na 2 3\n");
}

TEST_F(zeMsgEditTest, PairIsDeletedOnce) {
    Hold({Pair("a", 2, "text")});
    zeMsgEdit edit(m_msg);

    EXPECT_TRUE(edit.Delete(term("a")));
    EXPECT_EQ(Shown(*m_msg), "a 0 text\n");
    EXPECT_FALSE(edit.Delete(term("a")));
    EXPECT_EQ(edit.Get(term("a"), m_values), Converter::kDeleted);
    EXPECT_EQ(m_values, Texts());
    edit.End();

    EXPECT_EQ(Shown(*m_msg), "");
    EXPECT_TRUE(m_msg->changed);
}

TEST_F(zeMsgEditTest, DeletingAMissingPairChangesNothing) {
    Hold({Pair("a", 2, "text")});
    zeMsgEdit edit(m_msg);

    EXPECT_FALSE(edit.Delete(term("b")));
    edit.End();

    EXPECT_EQ(Shown(*m_msg), "a 2 text\n");
    EXPECT_FALSE(m_msg->changed);
}

TEST_F(zeMsgEditTest, NameDeletedAndSetAgainHasOnePair) {
    Hold({Pair("a", 2, "1"), Pair("b", 2, "2")});
    zeMsgEdit edit(m_msg);

    edit.Delete(term("a"));
    edit.Set(term("a"), {"3"}, Converter::kString);
    EXPECT_EQ(Shown(*m_msg), "a 0 1\nb 2 2\na 2 3\n");
    edit.End();

    EXPECT_EQ(Shown(*m_msg), "a 2 3\nb 2 2\n");
}

TEST_F(zeMsgEditTest, AnySetOfPairsCanBeDeleted) {
    constexpr unsigned int kPairCount = 6;
    for (unsigned int deleted = 0; deleted < 1U << kPairCount; ++deleted) {
        std::vector<zeMsg::Nvp> pairs;
        std::string expected;
        for (unsigned int bit = 0; bit < kPairCount; ++bit) {
            const std::string name(1, static_cast<char>('a' + bit));
            pairs.push_back(Pair(name, 2, name));
            if ((deleted >> bit & 1U) == 0) {
                expected += name + " 2 " + name + '\n';
            }
        }
        Hold(pairs);
        zeMsgEdit edit(m_msg);

        for (unsigned int bit = 0; bit < kPairCount; ++bit) {
            if ((deleted >> bit & 1U) != 0) {
                EXPECT_TRUE(edit.Delete(pairs[bit].name));
            }
        }
        edit.End();

        EXPECT_EQ(Shown(*m_msg), expected) << deleted;
        EXPECT_EQ(m_msg->changed, deleted != 0);
    }
}

TEST_F(zeMsgEditTest, TombstonesOfTheFileAreDroppedWithADeletion) {
    Hold({Pair("a", 0, "tomb"), Pair("b", 2, "1"), Pair("c", 2, "2")});
    zeMsgEdit edit(m_msg);

    edit.End();
    EXPECT_EQ(Shown(*m_msg), "a 0 tomb\nb 2 1\nc 2 2\n");
    edit.Delete(term("b"));
    edit.End();

    EXPECT_EQ(Shown(*m_msg), "c 2 2\n");
    EXPECT_FALSE(edit.Delete(term("a")));
}

TEST_F(zeMsgEditTest, TombstoneOfTheFileIsAPairLikeAnyOther) {
    Hold({Pair("a", 0, "tomb"), Pair("b", 0, "grave")});
    zeMsgEdit edit(m_msg);

    EXPECT_EQ(edit.Get(term("a"), m_values), Converter::kDeleted);
    EXPECT_EQ(m_values, Texts{"tomb"});
    EXPECT_TRUE(edit.Delete(term("a")));
    EXPECT_FALSE(edit.Delete(term("a")));
    edit.Set(term("b"), {"text"}, Converter::kString);
    edit.End();

    EXPECT_EQ(Shown(*m_msg), "b 2 text\n");
    EXPECT_TRUE(m_msg->changed);
}

TEST_F(zeMsgEditTest, EditFindsTheLastOfSeveralPairsOfOneNameAndTheMessageTheFirst) {
    Hold({Pair("a", 2, "first"), Pair("a", 4, "last"), Pair("b", 2, "other")});
    zeMsgEdit edit(m_msg);

    EXPECT_EQ(*m_msg->get_value(term("a")), "first");
    EXPECT_EQ(edit.Get(term("a"), m_values), Converter::kInteger);
    EXPECT_EQ(m_values, Texts{"last"});
    edit.Set(term("a"), {"new"}, Converter::kDouble);
    EXPECT_EQ(Shown(*m_msg), "a 2 first\na 6 new\nb 2 other\n");
    EXPECT_TRUE(edit.Delete(term("a")));
    EXPECT_FALSE(edit.Delete(term("a")));
    edit.End();

    EXPECT_EQ(Shown(*m_msg), "a 2 first\nb 2 other\n");
}

// Pairs are added or removed before three pairs of one name. So the old index of the last of the
// three is now that of an earlier one or of a pair of another name, or is behind the end.
TEST_F(zeMsgEditTest, LastOfSeveralPairsOfOneNameIsFoundAfterAnEndMovedThem) {
    for (const unsigned int change : {0U, 1U, 2U, 3U}) {
        SCOPED_TRACE(change);
        Hold({Pair("b", 2, "x"), Pair("c", 2, "first"), Pair("c", 4, "mid"), Pair("c", 6, "last")});
        zeMsgEdit edit(m_msg);
        if (change == 0) {
            edit.Delete(term("b"));
        }
        for (unsigned int added = 0; added < change; ++added) {
            edit.Set(term("a" + std::to_string(added)), {"new"}, Converter::kString);
        }
        edit.End();

        EXPECT_EQ(*m_msg->get_value(term("c")), "first");
        EXPECT_EQ(edit.Get(term("c"), m_values), Converter::kDouble);
        EXPECT_EQ(m_values, Texts{"last"});
    }
}

TEST_F(zeMsgEditTest, DeletionKeepsTheOrderOfPairsOfOneName) {
    Hold({Pair("a", 2, "gone"), Pair("b", 2, "1"), Pair("b", 2, "2"), Pair("b", 2, "3")});
    zeMsgEdit edit(m_msg);

    edit.Delete(term("a"));
    edit.End();

    EXPECT_EQ(Shown(*m_msg), "b 2 1\nb 2 2\nb 2 3\n");
}

TEST_F(zeMsgEditTest, OpeningConvertsOldListsWithoutMarkingAChange) {
    Hold({Pair("_SML", 1, "02\tbag;bag"), Pair("a", 1, "02"), Pair("b", 1, "02\t"),
          Pair("c", 1, "02\tx;y")});

    zeMsgEdit edit(m_msg);

    EXPECT_EQ(Shown(*m_msg), "_SML 1 \na 1 \nb 14 02\t\nc 14 02\tx;y\n");
    edit.End();
    EXPECT_FALSE(m_msg->changed);
}

TEST_F(zeMsgEditTest, MessageIsMarkedAsChangedOnlyAtTheEnd) {
    Hold({});
    zeMsgEdit edit(m_msg);

    edit.Set(term("a"), {"text"}, Converter::kString);
    EXPECT_FALSE(m_msg->changed);
    edit.End();

    EXPECT_TRUE(m_msg->changed);
}

TEST_F(zeMsgEditTest, EndClearsTheFlags) {
    Hold({});
    zeMsgEdit edit(m_msg);
    edit.Set(term("a"), {"text"}, Converter::kString);
    edit.End();
    m_msg->changed = false;

    edit.End();

    EXPECT_FALSE(m_msg->changed);
}

TEST_F(zeMsgEditTest, EditDoesNotCountAsAnOwnerOfTheMessage) {
    const zeMsgEdit edit(m_msg);

    EXPECT_EQ(m_msg.use_count(), 1U);
}

TEST_F(zeMsgEditTest, PairsThatAnEndHasMovedAreFound) {
    Hold({Pair("a", 2, "1"), Pair("b", 2, "2"), Pair("c", 2, "3")});
    zeMsgEdit edit(m_msg);
    edit.Delete(term("a"));
    edit.End();

    EXPECT_EQ(edit.Get(term("c"), m_values), Converter::kString);
    EXPECT_EQ(m_values, Texts{"3"});
    edit.Set(term("b"), {"4"}, Converter::kInteger);
    EXPECT_TRUE(edit.Delete(term("c")));
    edit.End();

    EXPECT_EQ(Shown(*m_msg), "b 4 4\n");
}

// Lets each allocation of a Set of a new name fail in turn, until the call succeeds.
TEST_F(zeMsgEditTest, SetWithoutMemoryChangesNothing) {
    const Concept name = term("b");
    const Texts values{"a value that is too long for the string itself", "another one"};
    bool has_failed = true;
    unsigned int index = 0;
    for (; has_failed; ++index) {
        SCOPED_TRACE(index);
        Hold({Pair("c", 2, "text")});
        m_msg->nvps.shrink_to_fit();
        zeMsgEdit edit(m_msg);

        has_failed = fails_at(index, [&] { edit.Set(name, values, Converter::kString); });

        if (has_failed) {
            EXPECT_EQ(edit.Get(name, m_values), Converter::kDeleted);
            EXPECT_FALSE(edit.Delete(name));
            EXPECT_EQ(Shown(*m_msg), "c 2 text\n");
        }
        edit.End();
        EXPECT_EQ(m_msg->changed, !has_failed);
    }
    // At least these are allocated: the list's text, its index entry and the longer vector of
    // pairs.
    EXPECT_GT(index, 3U);
    EXPECT_EQ(*m_msg->get_raw_value(name), "02\t" + values[0] + ";another one");
}

// An edit, and a map with its expected contents.
class zeMsgEditModelTest : public zeMsgEditTest {
protected:
    struct Entry {
        Converter::NvpType type = Converter::kDeleted;
        Texts values;
    };

    // Sets the pairs of a file, with lists in the old form, and the expected contents of an edit.
    void Load() {
        Hold({Pair("_SML", 1, "02\tbag;bag"), Pair("a", 1, "05\t1;2"), Pair("b", 1, "02"),
              Pair("c", 14, "13\tx;"), Pair("d", 12, " words ")});
        m_model = {{"_SML", {Converter::kOldList, {}}},
                   {"a", {Converter::kIntegerList, {"1", "2"}}},
                   {"b", {Converter::kOldList, {}}},
                   {"c", {Converter::kLangStringList, {"x", ""}}},
                   {"d", {Converter::kLangString, {" words "}}}};
    }

    void SetAtRandom(zeMsgEdit& edit, const std::string& name) {
        static constexpr unsigned int kTypes[] = {2, 3, 4, 7, 12, 13, 15, 99};
        Texts values(1 + m_random() % 3);
        for (qtString& value : values) {
            value = qtString(std::to_string(m_random() % 1000) + ";");
        }
        const Converter::NvpType type = TypeOf(kTypes[m_random() % std::size(kTypes)]);
        edit.Set(term(name), values, type);
        m_model[name] = {type, values};
    }

    void DoSomething(zeMsgEdit& edit) {
        const std::string name = kNames[m_random() % std::size(kNames)];
        switch (m_random() % 5) {
            case 0:
            case 1:
                EXPECT_EQ(edit.Delete(term(name)), m_model.erase(name) == 1);
                break;
            case 2:
                edit.End();
                break;
            default:
                SetAtRandom(edit, name);
        }
    }

    void ExpectAgreement(zeMsgEdit& edit) {
        Types expected_types;
        for (const char* const name : kNames) {
            const auto entry = m_model.find(name);
            const bool is_held = entry != m_model.end();
            EXPECT_EQ(edit.Get(term(name), m_values),
                      is_held ? entry->second.type : Converter::kDeleted);
            EXPECT_EQ(m_values, is_held ? entry->second.values : Texts());
            if (is_held) {
                expected_types[term(name)] = entry->second.type;
            }
        }
        Types types;
        edit.GetTypes(types);
        EXPECT_EQ(types, expected_types);
    }

    static constexpr const char* kNames[] = {"_SML", "a", "b", "c", "d", "e", "f", "g"};

    std::map<std::string, Entry> m_model;
    std::mt19937 m_random{7919};
};

// Random edits. Every fourth round begins with the pairs of a file; the other rounds continue with
// the pairs that the round before has left. Some steps end the edit, and the next ones use the same
// object again.
TEST_F(zeMsgEditModelTest, ContentsAgreeWithAMapAfterEachOfManyRandomEdits) {
    for (int round = 0; round < 200 && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        if (round % 4 == 0) {
            Load();
        }
        zeMsgEdit edit(m_msg);
        ExpectAgreement(edit);
        for (int step = 0; step < 20 && !HasFailure(); ++step) {
            SCOPED_TRACE(step);
            DoSomething(edit);
            ExpectAgreement(edit);
        }
        edit.End();
        ExpectAgreement(edit);

        EXPECT_TRUE(std::is_sorted(m_msg->nvps.begin(), m_msg->nvps.end()));
        EXPECT_EQ(m_msg->nvps.size(), m_model.size());
    }
}

}  // namespace
