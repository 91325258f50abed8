// A help desk that has its mails as mlMessages. It classifies a mail, explains the result, takes a
// correction, learns it and saves the container.
//
//     desk (rules)
//       manager                 $amount(n) >= 500
//       topics (statistics)     $amount(n) < 500
//         delivery
//         returns
#include <cstddef>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/ml/SELocalDictionary.h"
#include "zandrel/foundation/ml/mlMessage.h"
#include "zandrel/foundation/ml/mlMessageConverter.h"
#include "zandrel/foundation/ml/qtSml.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/statistics/zeStat_matcher.h"

namespace {

using Type = mlMessageConverter;

// The library takes concepts, not text. Here a text is split at blanks.
void set_bag(mlMessage& mail, const char* key, const char* text) {
    qtSml bag;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        bag.Add(Concept::insert_view(word), 1.0);
    }
    mlMessageSet<qtSml>(mail, key, bag);
}

// A mail has values of each type, and three bags: its title, its last words and its text. The text
// may be missing: null.
mlMessage make_mail(const char* title, const char* text, const char* amount) {
    mlMessage mail;
    mail.SetValue("from", {Type::kString, {"anna@example.com"}});
    mail.SetValue("to", {Type::kStringList, {"shop@example.com", "desk@example.com"}});
    mail.SetValue("order", {Type::kInteger, {"4711"}});
    mail.SetValue("items", {Type::kIntegerList, {"12", "17"}});
    mail.SetValue("amount", {Type::kDouble, {amount}});
    mail.SetValue("prices", {Type::kDoubleList, {"19.95", "20.05"}});
    mail.SetValue("urgent", {Type::kBoolean, {"0"}});
    mail.SetValue("in stock", {Type::kBooleanList, {"1", "0"}});
    mail.SetValue("received", {Type::kDate, {"2026-11-22T09:30:00Z"}});
    mail.SetValue("shipped", {Type::kDateList, {"2026-11-19", "2026-11-20"}});
    mail.SetValue("greeting", {Type::kLangString, {" Dear shop, "}});
    mail.SetValue("remarks", {Type::kLangStringList, {"blue; size 9", "a gift"}});
    set_bag(mail, SELocalDictionary::kSmlTitle, title);
    set_bag(mail, SELocalDictionary::kSmlCannedText, "with kind regards");
    if (text != nullptr) {
        set_bag(mail, SELocalDictionary::kSml, text);
    }
    return mail;
}

mlMessage labelled(mlMessage mail, const char* category) {
    mail.SetValue(zeMsg::kCategoriesKey, {Type::kStringList, {category}});
    return mail;
}

unsigned int add_node(zeManager& manager, unsigned int parent, const char* name, unsigned char type,
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
    manager.m_defaults.use_likelihood_in_train = false;  // too few texts for tables
    manager.m_defaults.suppress_M = false;               // each word is in few texts
    const unsigned int desk = add_node(manager, 0, "desk", ZE_RULE, "");
    add_node(manager, desk, "manager", ZE_LEAF, "$amount(n) >= 500");
    const unsigned int topics = add_node(manager, desk, "topics", ZE_STAT, "$amount(n) < 500");
    add_node(manager, topics, "delivery", ZE_LEAF, "");
    add_node(manager, topics, "returns", ZE_LEAF, "");
}

// The null key means that the labels are the value "_Categories".
void add_mail(zeMemoryCorpus& corpus, const mlMessage& mail) {
    qtPtrLight<zeMsg> msg(new zeMsg(mail, nullptr));
    corpus.add_msg(msg);
}

void train(zeManager& manager) {
    zeMemoryCorpus corpus;
    for (const char* const text :
         {"where is my parcel", "the parcel is late", "when does the parcel arrive"}) {
        add_mail(corpus, labelled(make_mail("order", text, "40"), "delivery"));
    }
    for (const char* const text :
         {"the jacket is too small", "i send the shoes back", "money back for the jacket"}) {
        add_mail(corpus, labelled(make_mail("order", text, "40"), "returns"));
    }
    zeCorpus_view view(&corpus);
    view.add_all_msgs(&manager);
    manager.GetWorkflow()->train(view, false, nullptr, false);
}

void learn(zeManager& manager, const mlMessage& mail) {
    zeMemoryCorpus corpus;
    add_mail(corpus, mail);
    zeCorpus_view view(&corpus);
    view.add_all_msgs(&manager);
    manager.GetWorkflow()->learn(view, nullptr, false, true);
}

void print_line(double score, const Concept& name) {
    std::cout << "  " << std::setw(5) << score << "  " << name.view() << '\n';
}

// Prints the best category and, if statistics chose it, the two concepts that count most.
void classify(zeManager& manager, const char* what, const mlMessage& mail) {
    std::cout << what << '\n';
    zeMsg msg(mail, nullptr);
    const qtPtrLight<zeWorkflow> workflow = manager.GetWorkflow();
    zeResult_set results(0.0, 1);
    workflow->classify(msg, results, true, false);
    if (results.count() == 0) {
        std::cout << "  no category\n";
        return;
    }
    const zeResult& best = results.get_result(0);
    print_line(best.score, best.node->m_concept);
    std::vector<zeStat_matcher::Concept_score> concepts;
    workflow->classify_concepts(msg, {best.node}, concepts);
    for (std::size_t rank = 0; rank < 2 && rank < concepts.size(); ++rank) {
        std::cout << "       ";
        print_line(concepts[rank].m_score, concepts[rank].m_concept);
    }
}

// Converts the message to a zeMsg and back, and prints the result.
void print_values(const mlMessage& mail) {
    mlMessage written;
    zeMsg(mail, nullptr).make_mlMessage(written, nullptr);
    for (const auto& [name, value] : written.values()) {
        std::cout << "  " << Type::InterpretType(value.type).view() << ' ' << name.view() << ':';
        for (const qtString& text : value.texts) {
            std::cout << " [" << text.view() << ']';
        }
        std::cout << '\n';
    }
    for (const auto& [key, bag] : written.bags()) {
        std::cout << "  " << key.view() << ": " << bag.weights().size() << " concepts\n";
    }
}

}  // namespace

int main() {
    std::cout << std::fixed << std::setprecision(2);
    try {
        zeManager manager;
        make_tree(manager);
        train(manager);
        classify(manager, "by its amount", make_mail("parcel", "where is the parcel", "800"));
        classify(manager, "without a text, by its title", make_mail("my parcel", nullptr, "40"));

        const mlMessage mail = make_mail("torn", "my shoes came in a torn parcel", "40");
        classify(manager, "by its text", mail);
        const mlMessage corrected = labelled(mail, "returns");
        learn(manager, corrected);
        manager.Write("messages.kc", nullptr, nullptr);

        zeManager saved;
        saved.Read("messages.kc", nullptr, nullptr);
        classify(saved, "after the correction", mail);
        std::cout << "the corrected mail\n";
        print_values(corrected);
    } catch (const qtxAll& error) {
        std::cerr << "zandrel: " << error.what() << '\n';
        return 1;
    }
}
