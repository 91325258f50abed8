// Rules in front of statistics. Rules route a message by the pairs "amount" and "language" and by a
// word. Messages in English go to a statistical classifier, which learns from examples. A message
// for which no rule fires goes to the default.
//
//     desk (rules)
//       manager                  $amount(n) >= 500
//       urgent                   "URGENT"
//       english (statistics)     $language(s) == 'en' & $amount(n) < 500
//         delivery
//         returns
//       person                   default
#include <algorithm>
#include <cctype>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <string>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/ml/mlMessageConverter.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/messages/zeSml.h"
#include "zandrel/messages/zeSml_feeder.h"

namespace {

struct Message {
    const char* text;
    const char* language;  // empty: unknown
    const char* amount;
    const char* category;  // empty: to classify
};

constexpr Message kExamples[] = {
    {"where is my parcel", "en", "30", "delivery"},
    {"the parcel is late", "en", "75", "delivery"},
    {"when does the parcel arrive", "en", "20", "delivery"},
    {"the jacket is too small", "en", "90", "returns"},
    {"i send the shoes back", "en", "60", "returns"},
    {"money back for the jacket", "en", "45", "returns"},
    {"the parcel with the sofa is late", "en", "800", "delivery"},  // the rules block it
};

constexpr Message kQuestions[] = {
    {"is the parcel late again", "en", "35", ""}, {"i send the jacket back", "en", "120", ""},
    {"where is my sofa", "en", "800", ""},        {"urgent where is my key", "de", "15", ""},
    {"wo ist mein paket", "de", "15", ""},
};

std::string lower_case(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char byte) { return static_cast<char>(std::tolower(byte)); });
    return text;
}

// The text analysis: words in lower case.
qtPtrLight<zeMsg> make_message(const Message& message) {
    zeSml_feeder feeder;
    std::istringstream words(message.text);
    for (std::string word; words >> word;) {
        feeder.add_concept(Concept::insert_view(lower_case(word)), 1.0);
    }
    qtPtrLight<zeMsg> msg(new zeMsg);
    msg->smls[0] = qtPtrLight<zeSml>(new zeSml(feeder, 0.0));
    msg->add_value("language", mlMessageConverter::kString, message.language);
    msg->add_value("amount", mlMessageConverter::kString, message.amount);
    return msg;
}

// Gives a word of a rule the form that the text analysis gives to the words of texts.
void use_lower_case(BaseLPWrapper* /*argument*/, const Concept& word, Concept& form,
                    const Concept& /*top category*/) {
    form = Concept::insert_view(lower_case(std::string(word.view())));
}

// Adds a node and returns its id. A node with a classifier is not a result itself.
unsigned int add(zeManager& manager, unsigned int parent, const char* name, unsigned char type,
                 const char* rule) {
    zeLogicalNode node;
    node.parent = parent;
    node.type = type;
    node.attributes = type == ZE_LEAF ? 0 : zeNode::NoScore;
    node.category = Concept::insert(name);
    node.rule = rule;
    return manager.m_logical_tree->AddLogicalNode(node);
}

void make_tree(zeManager& manager) {
    // So few texts are not enough to measure how often a score is right, so scores stay raw. And
    // each concept counts in full, although hardly any is in more than two messages.
    manager.m_defaults.use_likelihood_in_train = false;
    manager.m_defaults.suppress_M = false;
    const unsigned int desk = add(manager, 0, "desk", ZE_RULE, "");
    add(manager, desk, "manager", ZE_LEAF, "$amount(n) >= 500");
    add(manager, desk, "urgent", ZE_LEAF, "\"URGENT\"");
    const unsigned int english =
        add(manager, desk, "english", ZE_STAT, "$language(s) == 'en' & $amount(n) < 500");
    add(manager, english, "delivery", ZE_LEAF, "");
    add(manager, english, "returns", ZE_LEAF, "");
    add(manager, desk, "person", ZE_LEAF, "default");
    manager.m_logical_tree->ProcessConceptRules(use_lower_case, nullptr);
}

// Each statistical classifier gets the messages that the rules let reach it. The second argument of
// `train` is false, since not only the root is trained.
void train(zeManager& manager) {
    zeMemoryCorpus corpus;
    for (const Message& example : kExamples) {
        qtPtrLight<zeMsg> msg = make_message(example);
        msg->categories.push_back(Concept::insert(example.category));
        corpus.add_msg(msg);
    }
    zeCorpus_view view(&corpus);
    view.add_all_msgs(&manager);
    manager.GetWorkflow()->train(view, false, nullptr, false);
}

// Prints all categories with their scores. Without a statistical classifier on the way, the score
// is the value of the rule; the default has 1.
void classify(zeManager& manager, const Message& message) {
    std::cout << message.text << '\n';
    const qtPtrLight<zeMsg> msg = make_message(message);
    zeResult_set results(0.0, -1);
    manager.GetWorkflow()->classify(*msg, results, true, false);
    for (int rank = 0; rank < results.count(); ++rank) {
        const zeResult& result = results.get_result(rank);
        std::cout << "  " << result.score << "  " << result.node->m_concept.view() << '\n';
    }
}

}  // namespace

int main() {
    std::cout << std::fixed << std::setprecision(2);
    try {
        zeManager manager;
        make_tree(manager);
        train(manager);
        for (const Message& question : kQuestions) {
            classify(manager, question);
        }
    } catch (const qtxAll& error) {
        std::cerr << "zandrel: " << error.what() << '\n';
        return 1;
    }
}
