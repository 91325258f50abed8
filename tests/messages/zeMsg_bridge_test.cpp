// The way of a message between the application's mlMessage and zeMsg.
#include "zandrel/messages/zeMsg.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/foundation/ml/SELocalDictionary.h"
#include "zandrel/foundation/ml/mlMessage.h"
#include "zandrel/foundation/ml/mlMessageConverter.h"
#include "zandrel/foundation/ml/mlx.h"
#include "zandrel/foundation/ml/qtSml.h"
#include "zandrel/messages/zeMsgEdit.h"

#include "tests/messages/typed_pairs.h"
#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"

namespace {

using Bridge_texts = std::vector<qtString>;

mlMessage::Value Typed(unsigned int type, const Bridge_texts& texts) {
    return {TypeOf(type), texts};
}

qtSml BagWith(Weighted_list entries) {
    qtSml bag;
    for (const Weighted& entry : entries) {
        bag.Add(term(entry.text), entry.weight);
    }
    return bag;
}

// A pair as its name, type and stored text.
struct Plain_pair {
    explicit Plain_pair(const zeMsg::Nvp& nvp)
        : name(nvp.name.text()), type(nvp.type), value(nvp.value) {}

    Plain_pair(const qtString& named, unsigned int typed, const qtString& valued)
        : name(named), type(typed), value(valued) {}

    bool operator==(const Plain_pair& other) const = default;

    qtString name;
    unsigned int type;
    qtString value;
};

void PrintTo(const Plain_pair& pair, std::ostream* out) {
    *out << '"' << pair.name.view() << "\" " << pair.type << " \"" << pair.value.view() << '"';
}

using Plain_pairs = std::vector<Plain_pair>;

Plain_pairs PairsOf(const zeMsg& msg) {
    return {msg.nvps.begin(), msg.nvps.end()};
}

zeMsg MessageOf(std::vector<zeMsg::Nvp> pairs) {
    zeMsg msg;
    msg.nvps = std::move(pairs);
    msg.changed = false;
    return msg;
}

std::vector<std::string> LabelsOf(const zeMsg& msg) {
    std::vector<std::string> labels;
    for (const Concept& label : msg.categories) {
        labels.emplace_back(label.view());
    }
    return labels;
}

// The name of the value that is refused because of its type.
template <class Action>
std::string RefusedName(const Action& action) {
    try {
        action();
    } catch (const mlxNvpType& error) {
        return error.name().str();
    }
    return "nothing is refused";
}

std::uint64_t BitsOf(double number) {
    return std::bit_cast<std::uint64_t>(number);
}

// mlMessage2zeMsg.

TEST(zeMsgBridgeTest, SingleValueOfAnyTypeBecomesAPairOfThisType) {
    for (const unsigned int type :
         {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, 10U, 11U, 12U, 13U, 14U, 15U, 99U, 100U, 255U}) {
        SCOPED_TRACE(type);
        mlMessage message;
        message.SetValue("name", Typed(type, {"some text"}));

        zeMsg msg;
        msg.mlMessage2zeMsg(message);

        EXPECT_EQ(PairsOf(msg), (Plain_pairs{{"name", type, "some text"}}));
    }
}

TEST(zeMsgBridgeTest, ValueWithoutTextsBecomesAnEmptyPairOfTypeOne) {
    mlMessage message;
    message.SetValue("name", Typed(5, {}));

    zeMsg msg;
    msg.mlMessage2zeMsg(message);

    EXPECT_EQ(PairsOf(msg), (Plain_pairs{{"name", 1, ""}}));
}

TEST(zeMsgBridgeTest, SeveralTextsBecomeAPackedList) {
    mlMessage message;
    message.SetValue("a", Typed(5, {"7", "8"}));
    message.SetValue("b", Typed(2, {"a;b", "c\\d", "e\tf", ""}));
    message.SetValue("c", Typed(99, {"", "", ""}));
    message.SetValue("d", Typed(0, {"x", "y"}));

    zeMsg msg;
    msg.mlMessage2zeMsg(message);

    EXPECT_EQ(PairsOf(msg), (Plain_pairs{{"a", 14, "05\t7;8"},
                                         {"b", 14, "02\ta\\;b;c\\\\d;e\tf;"},
                                         {"c", 14, "99\t;;"},
                                         {"d", 14, "00\tx;y"}}));
}

TEST(zeMsgBridgeTest, PairsAreSortedByTheBytesOfTheirNames) {
    mlMessage message;
    for (const char* const name : {"b", "", "\xc3\xa4", "Z", "a", "ab", "\x01"}) {
        message.SetValue(name, Typed(2, {"x"}));
    }

    zeMsg msg;
    msg.mlMessage2zeMsg(message);

    EXPECT_EQ(PairsOf(msg), (Plain_pairs{{"", 2, "x"},
                                         {"\x01", 2, "x"},
                                         {"Z", 2, "x"},
                                         {"a", 2, "x"},
                                         {"ab", 2, "x"},
                                         {"b", 2, "x"},
                                         {"\xc3\xa4", 2, "x"}}));
    EXPECT_EQ(*msg.get_value(term("ab")), "x");
}

TEST(zeMsgBridgeTest, PairsAreAddedBehindThoseOfTheSameName) {
    mlMessage message;
    message.SetValue("b", Typed(4, {"7"}));
    message.SetValue("a", Typed(2, {"x"}));
    zeMsg msg = MessageOf({Pair("b", 2, "first"), Pair("c", 2, "text")});

    msg.mlMessage2zeMsg(message);

    EXPECT_EQ(PairsOf(msg),
              (Plain_pairs{{"a", 2, "x"}, {"b", 2, "first"}, {"b", 4, "7"}, {"c", 2, "text"}}));
    EXPECT_TRUE(msg.changed);
}

TEST(zeMsgBridgeTest, BagsAreNoPairs) {
    mlMessage message;
    message.SetBag("_SML", BagWith({{"goal", 1.0}}));
    message.SetBag("other", BagWith({{"goal", 1.0}}));
    zeMsg msg = MessageOf({});

    msg.mlMessage2zeMsg(message);

    EXPECT_TRUE(msg.nvps.empty());
    EXPECT_TRUE(msg.smls[0].IsNull());
    EXPECT_FALSE(msg.changed);
}

// zeMsg2mlMessage.

TEST(zeMsgBridgeTest, PairOfASingleValueIsWrittenWithItsType) {
    zeMsg msg = MessageOf({Pair("", 0, "deleted"), Pair("a", 2, "x;y\t\\"), Pair("b", 13, " z "),
                           Pair("c", 15, ""), Pair("d", 255, "?"), Pair("_SML", 2, "text")});
    mlMessage message;

    msg.zeMsg2mlMessage(message);

    EXPECT_EQ(message.values(),
              (std::map<qtString, mlMessage::Value>{{"", Typed(0, {"deleted"})},
                                                    {"a", Typed(2, {"x;y\t\\"})},
                                                    {"b", Typed(13, {" z "})},
                                                    {"c", Typed(15, {""})},
                                                    {"d", Typed(255, {"?"})},
                                                    {"_SML", Typed(2, {"text"})}}));
    EXPECT_TRUE(message.bags().empty());
}

TEST(zeMsgBridgeTest, PackedListIsWrittenAsItsElements) {
    zeMsg msg = MessageOf({Pair("a", 14, "05\t7;8"), Pair("b", 14, "02\ta\\;b;c\\\\d;"),
                           Pair("c", 14, "03\tone"), Pair("d", 14, "02\t"),
                           Pair("e", 14, "ab\tx;y"), Pair("f", 14, "14\tx;y")});
    const Plain_pairs before = PairsOf(msg);
    mlMessage message;

    msg.zeMsg2mlMessage(message);

    EXPECT_EQ(message.values(), (std::map<qtString, mlMessage::Value>{
                                    {"a", Typed(5, {"7", "8"})},
                                    {"b", Typed(2, {"a;b", "c\\d", ""})},
                                    {"c", Typed(3, {"one"})},
                                    {"d", Typed(2, {""})},
                                    {"e", Typed(0, {"x", "y"})},  // no digits: no type
                                    {"f", Typed(14, {"x", "y"})}}));
    EXPECT_EQ(PairsOf(msg), before);
    EXPECT_FALSE(msg.changed);
}

TEST(zeMsgBridgeTest, PairOfTypeOneWithoutElementsIsNotWritten) {
    zeMsg msg = MessageOf({Pair("_SML", 1, "02\ta;b"), Pair("_SMLother", 1, "02\ta;b"),
                           Pair("a", 1, ""), Pair("b", 1, "02")});
    mlMessage message;

    msg.zeMsg2mlMessage(message);

    EXPECT_EQ(message, mlMessage());
    EXPECT_EQ(PairsOf(msg),
              (Plain_pairs{{"_SML", 1, ""}, {"_SMLother", 1, ""}, {"a", 1, ""}, {"b", 1, ""}}));
    EXPECT_FALSE(msg.changed);
}

TEST(zeMsgBridgeTest, PairOfTypeOneWithElementsIsWrittenAsAListAndConverted) {
    zeMsg msg = MessageOf({Pair("_sml", 1, "02\t"), Pair("a", 1, "05\t7;8")});
    mlMessage message;

    msg.zeMsg2mlMessage(message);

    EXPECT_EQ(message.values(), (std::map<qtString, mlMessage::Value>{
                                    {"_sml", Typed(2, {""})}, {"a", Typed(5, {"7", "8"})}}));
    EXPECT_EQ(PairsOf(msg), (Plain_pairs{{"_sml", 14, "02\t"}, {"a", 14, "05\t7;8"}}));
    EXPECT_FALSE(msg.changed);
}

TEST(zeMsgBridgeTest, DamagedListIsRefusedAndNothingChanges) {
    for (const char* const damaged : {"", "0", "02", "02\ta\\", "02\ta;b\\\\\\"}) {
        SCOPED_TRACE(damaged);
        zeMsg msg = MessageOf({Pair("a", 1, "02\tx;y"), Pair("b", 2, "z"), Pair("c", 14, damaged),
                               Pair("d", 1, "02")});
        msg.smls[0] = make_bag({{"goal", 1.0}});
        msg.categories = {term("sport")};
        const Plain_pairs pairs = PairsOf(msg);
        mlMessage message;
        message.SetValue("b", Typed(4, {"7"}));
        const mlMessage before = message;

        EXPECT_QTXBASE(msg.zeMsg2mlMessage(message), "Invalid nvp value");
        EXPECT_QTXBASE(msg.make_mlMessage(message, nullptr), "Invalid nvp value");

        EXPECT_EQ(message, before);
        EXPECT_EQ(PairsOf(msg), pairs);
    }
}

TEST(zeMsgBridgeTest, OldListThatIsDamagedIsRefusedAndRemains) {
    zeMsg msg = MessageOf({Pair("a", 1, "02\tx\\")});
    mlMessage message;

    EXPECT_QTXBASE(msg.zeMsg2mlMessage(message), "Invalid nvp value");

    EXPECT_EQ(PairsOf(msg), (Plain_pairs{{"a", 1, "02\tx\\"}}));
}

TEST(zeMsgBridgeTest, TypeThatNoFileContainsIsRefusedAndNothingChanges) {
    zeMsg msg = MessageOf({Pair("a", 1, "02\tx;y"), Pair("b", 256, "x")});
    mlMessage message;

    EXPECT_EQ(RefusedName([&] { msg.zeMsg2mlMessage(message); }), "b");

    EXPECT_EQ(message, mlMessage());
    EXPECT_EQ(PairsOf(msg), (Plain_pairs{{"a", 1, "02\tx;y"}, {"b", 256, "x"}}));
}

TEST(zeMsgBridgeTest, OtherValuesOfTheApplicationRemain) {
    zeMsg msg = MessageOf({Pair("a", 2, "new"), Pair("b", 1, "")});
    mlMessage message;
    message.SetValue("a", Typed(4, {"7"}));
    message.SetValue("b", Typed(4, {"8"}));
    message.SetValue("c", Typed(4, {"9"}));

    msg.zeMsg2mlMessage(message);

    EXPECT_EQ(message.values(),
              (std::map<qtString, mlMessage::Value>{
                  {"a", Typed(2, {"new"})}, {"b", Typed(4, {"8"})}, {"c", Typed(4, {"9"})}}));
}

TEST(zeMsgBridgeTest, LastOfSeveralPairsOfOneNameIsWritten) {
    zeMsg msg = MessageOf({Pair("a", 2, "1"), Pair("a", 14, "05\t2;3"), Pair("a", 4, "4")});
    mlMessage message;

    msg.zeMsg2mlMessage(message);

    EXPECT_EQ(message.values().at("a"), Typed(4, {"4"}));
}

TEST(zeMsgBridgeTest, LastPairWithoutElementsLeavesTheOneBeforeIt) {
    zeMsg msg = MessageOf({Pair("a", 4, "4"), Pair("a", 2, "x"), Pair("a", 1, "")});
    mlMessage message;

    msg.zeMsg2mlMessage(message);

    EXPECT_EQ(message.values().at("a"), Typed(2, {"x"}));
}

// The types 1 and 14 are forms of lists in a zeMsg.
TEST(zeMsgBridgeTest, ValueOfTheTypeOfAListComesBackAsItsElementsOrNotAtAll) {
    struct Row {
        unsigned int type;
        const char* text;
        std::map<qtString, mlMessage::Value> written;
    };

    for (const Row& row : {Row{14, "05\t7;8", {{"a", Typed(5, {"7", "8"})}}},
                           Row{1, "05\t7;8", {{"a", Typed(5, {"7", "8"})}}}, Row{1, "x", {}}}) {
        SCOPED_TRACE(row.type);
        mlMessage message;
        message.SetValue("a", Typed(row.type, {row.text}));
        zeMsg msg(message, nullptr);

        mlMessage written;
        msg.make_mlMessage(written, nullptr);

        EXPECT_EQ(written.values(), row.written);
    }
}

TEST(zeMsgBridgeTest, ValueOfTypeFourteenThatIsNoListIsNotConvertedBack) {
    mlMessage message;
    message.SetValue("a", Typed(14, {"a"}));
    zeMsg msg(message, nullptr);
    mlMessage written;

    EXPECT_QTXBASE(msg.make_mlMessage(written, nullptr), "Invalid nvp value");

    EXPECT_EQ(written, mlMessage());
    EXPECT_EQ(PairsOf(msg), (Plain_pairs{{"a", 14, "a"}}));
}

// The type 0 marks a pair as deleted.
TEST(zeMsgBridgeTest, ValueOfTypeZeroComesBackUntilAnEditDeletesAnotherPair) {
    mlMessage message;
    message.SetValue("a", Typed(0, {"x"}));
    message.SetValue("b", Typed(2, {"y"}));
    qtPtrLight<zeMsg> msg(new zeMsg(message, nullptr));
    mlMessage written;

    msg->make_mlMessage(written, nullptr);
    EXPECT_EQ(written, message);

    zeMsgEdit edit(msg);
    std::map<Concept, mlMessageConverter::NvpType> types;
    edit.GetTypes(types);
    EXPECT_EQ(types.size(), 1U);
    EXPECT_TRUE(edit.Delete(term("b")));
    edit.End();
    mlMessage written_after;
    msg->make_mlMessage(written_after, nullptr);
    EXPECT_EQ(written_after, mlMessage());
}

// make_mlMessage.

TEST(zeMsgBridgeTest, LabelsAreWrittenAsAListOfTypeThree) {
    const qtPtrLight<zeMsg> msg = MessageBuilder().labels({"sport", "a;b"}).make();
    mlMessage message;
    message.SetValue("_Categories", Typed(2, {"old"}));

    msg->make_mlMessage(message, nullptr);
    msg->make_mlMessage(message, "mine");

    EXPECT_EQ(message.values(),
              (std::map<qtString, mlMessage::Value>{{"_Categories", Typed(3, {"sport", "a;b"})},
                                                    {"mine", Typed(3, {"sport", "a;b"})}}));
}

TEST(zeMsgBridgeTest, EmptyKeyWritesNoLabels) {
    const qtPtrLight<zeMsg> msg = MessageBuilder().labels({"sport"}).make();
    mlMessage message;

    msg->make_mlMessage(message, "");

    EXPECT_EQ(message, mlMessage());
}

TEST(zeMsgBridgeTest, MessageWithoutLabelsWritesNone) {
    zeMsg msg;
    mlMessage message;
    message.SetValue("_Categories", Typed(3, {"old"}));
    const mlMessage before = message;

    msg.make_mlMessage(message, nullptr);

    EXPECT_EQ(message, before);
}

TEST(zeMsgBridgeTest, LabelsReplaceThePairOfTheirName) {
    zeMsg msg = MessageOf({Pair("_Categories", 2, "pair")});
    mlMessage message;

    msg.make_mlMessage(message, nullptr);
    EXPECT_EQ(message.values().at("_Categories"), Typed(2, {"pair"}));

    msg.categories = {term("label")};
    msg.make_mlMessage(message, nullptr);
    EXPECT_EQ(message.values().at("_Categories"), Typed(3, {"label"}));
}

TEST(zeMsgBridgeTest, BagsOfFourSlotsAreWritten) {
    const qtPtrLight<zeMsg> msg = MessageBuilder()
                                      .bag_at(0, {{"text", 1.0}, {"more", 0.5}})
                                      .bag_at(1, {{"keyword", 2.0}})
                                      .bag_at(2, {})
                                      .bag_at(3, {{"canned", 4.0}})
                                      .bag_at(4, {{"made", 5.0}})
                                      .active(4)
                                      .weight(3.0)
                                      .make();
    mlMessage message;

    msg->make_mlMessage(message, nullptr);

    EXPECT_EQ(message.bags(),
              (std::map<qtString, qtSml>{{"_SML", BagWith({{"more", 0.5}, {"text", 1.0}})},
                                         {"_SML_KW", BagWith({{"keyword", 2.0}})},
                                         {"_SML_TITLE", qtSml()},
                                         {"_SML_CANNED_TEXT", BagWith({{"canned", 4.0}})}}));
    EXPECT_TRUE(message.values().empty());
}

TEST(zeMsgBridgeTest, BagIsReplacedAndThatOfANullSlotRemains) {
    const qtPtrLight<zeMsg> msg = MessageBuilder().bag_at(1, {{"new", 1.0}}).make();
    mlMessage message;
    message.SetBag("_SML", BagWith({{"old", 1.0}}));
    message.SetBag("_SML_KW", BagWith({{"old", 1.0}}));

    msg->make_mlMessage(message, nullptr);

    EXPECT_EQ(message.bags(), (std::map<qtString, qtSml>{{"_SML", BagWith({{"old", 1.0}})},
                                                         {"_SML_KW", BagWith({{"new", 1.0}})}}));
}

// The constructor.

TEST(zeMsgBridgeTest, EmptyMessageMakesANewMessage) {
    const zeMsg msg(mlMessage(), nullptr);

    EXPECT_TRUE(msg.nvps.empty());
    EXPECT_TRUE(msg.categories.empty());
    for (const qtPtrLight<zeSml>& slot : msg.smls) {
        EXPECT_TRUE(slot.IsNull());
    }
    EXPECT_EQ(msg.active_sml, 0U);
    EXPECT_EQ(msg.weight, 1.0);
    EXPECT_TRUE(msg.changed);
}

// All sixteen sets of bags.
TEST(zeMsgBridgeTest, FirstBagInTheOrderOfTheSlotsIsActive) {
    const std::vector<std::string> keys = {"_SML", "_SML_KW", "_SML_TITLE", "_SML_CANNED_TEXT"};
    const unsigned int first_of_set[] = {0, 0, 1, 0, 2, 0, 1, 0, 3, 0, 1, 0, 2, 0, 1, 0};
    for (unsigned int set = 0; set < 16; ++set) {
        SCOPED_TRACE(set);
        mlMessage message;
        for (unsigned int slot = 0; slot < 4; ++slot) {
            if ((set >> slot & 1U) != 0) {
                message.SetBag(keys[slot], BagWith({{keys[slot], 1.0 + slot}}));
            }
        }

        const zeMsg msg(message, nullptr);

        EXPECT_EQ(msg.active_sml, first_of_set[set]);
        for (unsigned int slot = 0; slot < 4; ++slot) {
            ASSERT_EQ(!msg.smls[slot].IsNull(), (set >> slot & 1U) != 0) << slot;
            if (!msg.smls[slot].IsNull()) {
                EXPECT_EQ(*msg.smls[slot], *make_bag({{keys[slot], 1.0 + slot}}));
            }
        }
        EXPECT_TRUE(msg.smls[4].IsNull());
    }
}

TEST(zeMsgBridgeTest, EmptyBagFillsItsSlotAndIsActive) {
    mlMessage message;
    message.SetBag("_SML_KW", qtSml());
    message.SetBag("_SML_TITLE", BagWith({{"title", 1.0}}));

    const zeMsg msg(message, nullptr);

    ASSERT_FALSE(msg.smls[1].IsNull());
    EXPECT_TRUE(msg.smls[1]->m_concepts.empty());
    EXPECT_EQ(msg.active_sml, 1U);
}

TEST(zeMsgBridgeTest, BagsHaveNoCeiling) {
    mlMessage message;
    message.SetBag("_SML", BagWith({{"goal", 1000.0}}));

    const zeMsg msg(message, nullptr);

    EXPECT_EQ(msg.smls[0]->m_clip_value, 0.0);
    EXPECT_EQ(msg.smls[0]->m_total_weight, 1000.0);
}

TEST(zeMsgBridgeTest, LabelsComeFromTheKeyOfTheCaller) {
    mlMessage message;
    message.SetValue("_Categories", Typed(3, {"sport", "food", "sport", ""}));
    message.SetValue("mine", Typed(12, {"money"}));
    const Plain_pairs pairs = {{"_Categories", 14, "03\tsport;food;sport;"}, {"mine", 12, "money"}};

    const zeMsg by_default(message, nullptr);
    const zeMsg by_name(message, "mine");
    const zeMsg missing(message, "other");
    const zeMsg without(message, "");

    EXPECT_EQ(LabelsOf(by_default), (std::vector<std::string>{"sport", "food", "sport", ""}));
    EXPECT_EQ(LabelsOf(by_name), (std::vector<std::string>{"money"}));
    EXPECT_TRUE(missing.categories.empty());
    EXPECT_TRUE(without.categories.empty());
    for (const zeMsg* const msg : {&by_default, &by_name, &missing, &without}) {
        EXPECT_EQ(PairsOf(*msg), pairs);
    }
}

TEST(zeMsgBridgeTest, EmptyKeyReadsNoLabelsEvenFromAnEmptyName) {
    mlMessage message;
    message.SetValue("", Typed(3, {"sport"}));

    EXPECT_TRUE(zeMsg(message, "").categories.empty());
}

TEST(zeMsgBridgeTest, ValueWithTheKeyOfABagIsRefusedUnlessThereIsABag) {
    for (const char* const key : SELocalDictionary::kSlotKeys) {
        SCOPED_TRACE(key);
        mlMessage message;
        message.SetValue(key, Typed(2, {"text"}));

        EXPECT_EQ(RefusedName([&] { zeMsg(message, nullptr); }), key);

        message.SetBag(key, BagWith({{"goal", 1.0}}));
        const zeMsg msg(message, nullptr);
        EXPECT_EQ(PairsOf(msg), (Plain_pairs{{key, 2, "text"}}));
        EXPECT_EQ(*msg.active_bag(), *make_bag({{"goal", 1.0}}));
    }
}

// Bags.

TEST(zeMsgBridgeTest, BagOfTheApplicationIsFedInTextOrder) {
    zeSml bag(0.0);
    qtSml2zeSml(BagWith({{"b", 2.0}, {"\xc3", 3.0}, {"", 4.0}, {"Z", 5.0}, {"b", 1.0}}), bag);

    EXPECT_EQ(bag, *make_bag({{"", 4.0}, {"Z", 5.0}, {"b", 3.0}, {"\xc3", 3.0}}));
    EXPECT_EQ(bag.m_total_weight, 15.0);
}

TEST(zeMsgBridgeTest, FedBagKeepsItsConceptsAndItsCeiling) {
    zeSml bag(2.0);
    qtSml2zeSml(BagWith({{"b", 1.0}}), bag);
    qtSml2zeSml(BagWith({{"c", 3.0}, {"a", 1.0}, {"b", 1.0}}), bag);

    ASSERT_EQ(bag.m_concepts.size(), 4U);
    EXPECT_EQ(bag.m_concepts[0].m_concept, term("a"));
    EXPECT_EQ(bag.m_concepts[1].m_concept, term("b"));
    EXPECT_EQ(bag.m_concepts[2].m_concept, term("b"));
    EXPECT_EQ(bag.m_concepts[3].m_weight, 2.0);
    EXPECT_EQ(bag.m_total_weight, 5.0);
}

TEST(zeMsgBridgeTest, ApplicationsBagIsAddedToAndNotCleared) {
    qtSml map = BagWith({{"a", 1.0}, {"b", 2.0}});

    zeSml2qtSml(*make_bag({{"b", 0.5}, {"c", 4.0}}), map);
    zeSml2qtSml(*make_bag({{"c", 0.25}}), map);

    EXPECT_EQ(map.weights(),
              (qtSml::Weights{{term("a"), 1.0}, {term("b"), 2.5}, {term("c"), 4.25}}));
    EXPECT_EQ(map.total_weight(), 7.75);
}

TEST(zeMsgBridgeTest, ConceptThatIsTwiceInABagIsOneEntryOfTheMap) {
    zeSml bag(make_feeder({{"a", 1.0}}), 0.0);
    bag.feed(make_feeder({{"a", 2.0}}));
    qtSml map;

    zeSml2qtSml(bag, map);

    EXPECT_EQ(map.weights(), (qtSml::Weights{{term("a"), 3.0}}));
}

TEST(zeMsgBridgeTest, WeightsThatAreNotFiniteComeBack) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    mlMessage message;
    message.SetBag("_SML", BagWith({{"a", kInfinity}, {"b", -kInfinity}}));
    message.SetBag("_SML_KW", BagWith({{"c", std::nan("")}}));

    zeMsg msg(message, nullptr);
    mlMessage written;
    msg.make_mlMessage(written, nullptr);

    EXPECT_TRUE(std::isnan(msg.smls[0]->m_total_weight));
    EXPECT_EQ(written.bags().at("_SML").weights(), message.bags().at("_SML").weights());
    EXPECT_TRUE(std::isnan(written.bags().at("_SML").total_weight()));
    EXPECT_TRUE(std::isnan(written.bags().at("_SML_KW").weights().at(term("c"))));
}

// The sum of these weights depends on the order of the additions: in text order, 1e16 + 1 is 1e16,
// and 1e16 - 1e16 + 3 is 3.
TEST(zeMsgBridgeTest, OrderOfTheHashTableDoesNotChangeTheBag) {
    std::vector<std::pair<std::string, double>> entries = {
        {"a", 1e16}, {"b", 1.0}, {"c", -1e16}, {"d", 3.0}};
    do {
        qtSml map;
        for (int i = 0; i < 1000; ++i) {  // other buckets, then only zero weights
            map.Add(term("filler" + std::to_string(i)), 0.0);
        }
        qtSml small;
        for (const auto& [text, weight] : entries) {
            map.Add(term(text), weight);
            small.Add(term(text), weight);
        }
        zeSml large_bag(0.0);
        zeSml bag(0.0);
        qtSml2zeSml(map, large_bag);
        qtSml2zeSml(small, bag);
        EXPECT_EQ(BitsOf(bag.m_total_weight), BitsOf(3.0));
        EXPECT_EQ(BitsOf(large_bag.m_total_weight), BitsOf(3.0));
    } while (std::next_permutation(entries.begin(), entries.end()));
}

// Random messages there and back.

// The text of a list, made without the library.
qtString PackedByHand(unsigned int type, const Bridge_texts& texts) {
    qtString packed((type < 10 ? "0" : "") + std::to_string(type) + '\t');
    for (std::size_t i = 0; i < texts.size(); ++i) {
        packed.append(i == 0 ? "" : ";");
        for (const char byte : texts[i].view()) {
            packed.append(byte == ';' || byte == '\\' ? "\\" : "");
            packed += byte;
        }
    }
    return packed;
}

class zeMsgBridgeRandomTest : public testing::Test {
protected:
    unsigned int Below(unsigned int count) { return static_cast<unsigned int>(m_random() % count); }

    // A short text of bytes that have a meaning somewhere.
    qtString Text() {
        static constexpr std::string_view kBytes("a;\\\t\n\0\x01\xc3_ 1", 11);
        qtString text;
        for (unsigned int left = Below(6); left > 0; --left) {
            text += kBytes[Below(kBytes.size())];
        }
        return text;
    }

    Bridge_texts Texts(unsigned int count) {
        Bridge_texts texts;
        while (texts.size() < count) {
            texts.push_back(Text());
        }
        return texts;
    }

    // Types 1 and 14 are left out: they give a meaning to their text.
    unsigned int Type(bool of_a_list) {
        static constexpr unsigned int kTypes[] = {0,  2,  3,  4,  5,  6,  7,  8,   9,
                                                  10, 11, 12, 13, 15, 42, 99, 100, 255};
        return kTypes[Below(of_a_list ? 16 : 18)];
    }

    double Weight() { return (Below(2001) - 1000.0) / 8.0; }

    qtSml Bag() {
        qtSml bag;
        for (unsigned int left = Below(8); left > 0; --left) {
            bag.Add(Concept::insert(Text()), Weight());
        }
        return bag;
    }

    mlMessage Message() {
        mlMessage message;
        for (unsigned int left = Below(8); left > 0; --left) {
            const unsigned int count = Below(4);
            message.SetValue(Text(), Typed(Type(count > 1), Texts(count)));
        }
        if (Below(2) == 0) {
            message.SetValue("_Categories", Typed(Type(true), Texts(Below(4))));
        }
        for (const char* const key : SELocalDictionary::kSlotKeys) {
            if (Below(3) == 0) {
                message.SetBag(key, Bag());
            }
        }
        return message;
    }

    std::mt19937 m_random{20261122};
};

// The expected message: a value without texts is lost, and labels have type 3.
mlMessage Returned(const mlMessage& message) {
    mlMessage expected;
    for (const auto& [name, value] : message.values()) {
        if (!value.texts.empty()) {
            const bool is_labels = name == qtString("_Categories");
            expected.SetValue(name, {is_labels ? TypeOf(3) : value.type, value.texts});
        }
    }
    for (const auto& [key, bag] : message.bags()) {
        expected.SetBag(key, bag);
    }
    return expected;
}

TEST_F(zeMsgBridgeRandomTest, MessageOfTheApplicationComesBack) {
    for (int round = 0; round < 10000 && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        const mlMessage message = Message();
        zeMsg msg(message, nullptr);
        EXPECT_TRUE(std::is_sorted(msg.nvps.begin(), msg.nvps.end()));
        EXPECT_EQ(msg.nvps.size(), message.values().size());

        mlMessage written;
        msg.make_mlMessage(written, nullptr);
        EXPECT_TRUE(written == Returned(message));

        // The second way changes nothing further.
        zeMsg second(written, nullptr);
        mlMessage written_again;
        second.make_mlMessage(written_again, nullptr);
        EXPECT_TRUE(written_again == written);
        EXPECT_EQ(second.active_sml, msg.active_sml);
        EXPECT_EQ(LabelsOf(second), LabelsOf(msg));
        for (std::size_t slot = 0; slot < zeMsg::kSlotCount; ++slot) {
            ASSERT_EQ(second.smls[slot].IsNull(), msg.smls[slot].IsNull());
            EXPECT_TRUE(msg.smls[slot].IsNull() || *second.smls[slot] == *msg.smls[slot]);
        }
    }
}

// The other direction: a message that the engine read from a file.
TEST_F(zeMsgBridgeRandomTest, MessageOfTheEngineComesBackWithThePairOfItsLabels) {
    for (int round = 0; round < 10000 && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        std::map<qtString, Plain_pair> pairs;
        for (unsigned int left = Below(8); left > 0; --left) {
            const qtString name = Text();
            const bool is_list = Below(3) == 0;
            const unsigned int type = Type(is_list);
            const Bridge_texts texts = Texts(is_list ? 2 + Below(3) : 1);
            const qtString packed = PackedByHand(type, texts);
            pairs.insert_or_assign(
                name, is_list ? Plain_pair(name, 14, packed) : Plain_pair(name, type, texts[0]));
        }
        zeMsg msg;
        for (const auto& [name, pair] : pairs) {
            msg.nvps.push_back(Pair(name.view(), pair.type, pair.value));
        }
        msg.categories = {term("sport"), term("a;b")};
        pairs.insert_or_assign("_Categories", Plain_pair("_Categories", 14, "03\tsport;a\\;b"));

        mlMessage message;
        msg.make_mlMessage(message, nullptr);
        const zeMsg back(message, nullptr);

        Plain_pairs expected;
        for (const auto& [name, pair] : pairs) {
            expected.push_back(pair);
        }
        EXPECT_EQ(PairsOf(back), expected);
        EXPECT_EQ(back.categories, msg.categories);
    }
}

}  // namespace
