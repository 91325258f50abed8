// The keys of an application's messages: each key has its effect on training, classifying and
// archives. Uses only public classes.
#include <initializer_list>
#include <map>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "zandrel/archive/zeSmlArchive.h"
#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/ml/mlMessage.h"
#include "zandrel/foundation/ml/mlMessageConverter.h"
#include "zandrel/foundation/ml/qtSml.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/messages/zeMsg.h"

#include "tests/support/small_archive.h"

namespace {

// The bag of one word.
void SetWord(mlMessage& message, const char* key, const char* word) {
    qtSml bag;
    bag.Add(term(word), 1.0);
    mlMessageSet<qtSml>(message, key, bag);
}

mlMessage WithWord(const char* key, const char* word) {
    mlMessage message;
    SetWord(message, key, word);
    return message;
}

mlMessage Labelled(mlMessage message, const char* label) {
    message.SetValue("_Categories", {mlMessageConverter::kStringList, {label}});
    return message;
}

// A tree that learns from "_Categories" that "goal" is sport and "soup" is food:
//
//     desk (rules)
//       unread                 $_EmptySml(?)
//       topics (statistics)    !$_EmptySml(?)
//         sport
//         food
class MessageKeysScenarioTest : public Archive_test {
protected:
    MessageKeysScenarioTest() {
        m_manager.m_defaults.use_likelihood_in_train = false;  // too few messages for tables
        m_manager.m_defaults.suppress_M = false;
        const unsigned int desk = AddNode(0, "desk", ZE_RULE, "");
        AddNode(desk, "unread", ZE_LEAF, "$_EmptySml(?)");
        const unsigned int topics = AddNode(desk, "topics", ZE_STAT, "!$_EmptySml(?)");
        AddNode(topics, "sport", ZE_LEAF, "");
        AddNode(topics, "food", ZE_LEAF, "");
        Train();
    }

    unsigned int AddNode(unsigned int parent, const char* name, unsigned char type,
                         const char* rule) {
        zeLogicalNode node;
        node.parent = parent;
        node.type = type;
        node.attributes = type == ZE_LEAF ? 0 : zeNode::NoScore;
        node.category = term(name);
        node.rule = rule;
        return m_manager.m_logical_tree->AddLogicalNode(node);
    }

    void Train() {
        zeMemoryCorpus corpus;
        for (int i = 0; i < 3; ++i) {
            for (const mlMessage& message : {Labelled(WithWord("_SML", "goal"), "sport"),
                                             Labelled(WithWord("_SML", "soup"), "food")}) {
                qtPtrLight<zeMsg> msg(new zeMsg(message, nullptr));
                corpus.add_msg(msg);
            }
        }
        zeCorpus_view view(&corpus);
        view.add_all_msgs(&m_manager);
        m_manager.GetWorkflow()->train(view, false, nullptr, false);
    }

    // The name of the best category; empty if there is none.
    std::string Best(const mlMessage& message) {
        zeMsg msg(message, nullptr);
        zeResult_set results(0.0, 1);
        m_manager.GetWorkflow()->classify(msg, results, true, false);
        return results.count() == 0 ? ""
                                    : std::string(results.get_result(0).node->m_concept.view());
    }

    zeManager m_manager;
};

TEST_F(MessageKeysScenarioTest, BagUnderEachKeyIsClassified) {
    for (const char* const key : {"_SML", "_SML_KW", "_SML_TITLE", "_SML_CANNED_TEXT"}) {
        SCOPED_TRACE(key);
        EXPECT_EQ(Best(WithWord(key, "goal")), "sport");
        EXPECT_EQ(Best(WithWord(key, "soup")), "food");
    }
}

TEST_F(MessageKeysScenarioTest, FirstBagDecidesAndTheOthersAreIgnored) {
    mlMessage message = WithWord("_SML_CANNED_TEXT", "goal");
    for (const char* const key : {"_SML_TITLE", "_SML_KW", "_SML"}) {
        SCOPED_TRACE(key);
        const std::string before = Best(message);
        SetWord(message, key, before == "sport" ? "soup" : "goal");
        EXPECT_EQ(Best(message), before == "sport" ? "food" : "sport");
    }
}

TEST_F(MessageKeysScenarioTest, EmptySmlIsAMarkThatRulesCanRead) {
    mlMessage message = WithWord("_EmptySml", "goal");  // under this key a bag is no slot's
    EXPECT_EQ(Best(message), "");

    message.SetValue("_EmptySml", {mlMessageConverter::kBoolean, {"1"}});
    EXPECT_EQ(Best(message), "unread");

    mlMessage written = message;
    zeMsg(message, nullptr).make_mlMessage(written, nullptr);
    EXPECT_EQ(written, message);
}

TEST_F(MessageKeysScenarioTest, ArchivedMessageHasItsExternalId) {
    mlMessage message = Labelled(WithWord("_SML_TITLE", "goal"), "sport");
    message.SetValue("dates", {mlMessageConverter::kDateList, {"2026-11-21", "2026-11-22"}});
    qtPtrLight<zeMsg> msg(new zeMsg(message, nullptr));
    const unsigned int number = archive.AddSml(msg, "mail;1");
    reopen();

    zeMsg read;
    archive.ReadSml(number, read, true);
    mlMessage written;
    read.make_mlMessage(written, nullptr);

    message.SetValue("_ExternalId", {mlMessageConverter::kString, {"mail;1"}});
    EXPECT_EQ(written, message);
}

TEST_F(MessageKeysScenarioTest, CorrectedMessageReplacesTheOneWithItsExternalId) {
    qtPtrLight<zeMsg> msg(new zeMsg(Labelled(WithWord("_SML", "match"), "food"), nullptr));
    archive.AddSml(msg, "mail;1");
    mlMessage known;
    msg->make_mlMessage(known, nullptr);

    const qtString id = known.values().at("_ExternalId").texts.front();
    qtPtrLight<zeMsg> corrected(new zeMsg(Labelled(known, "sport"), nullptr));
    const unsigned int number = archive.AddSml(corrected, id, id);

    EXPECT_EQ(labels_of(archive, number), std::vector<std::string>{"sport"});
    EXPECT_EQ(external_ids(archive), (std::map<std::string, unsigned int>{{"mail;1", number}}));
    expect_sound(archive);
}

}  // namespace
