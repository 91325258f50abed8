// Trains on a few texts, saves the container, reads it, classifies other texts and explains the
// results.
#include <iomanip>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/messages/zeSml.h"
#include "zandrel/messages/zeSml_feeder.h"
#include "zandrel/options/zeOptMap.h"
#include "zandrel/statistics/zeStat_matcher.h"

namespace {

struct Example {
    const char* text;
    const char* category;
};

constexpr Example kExamples[] = {
    {"the keeper saved a late goal in the final match", "sport"},
    {"our team won the match with a goal by the captain", "sport"},
    {"the coach praised the team after the match", "sport"},
    {"boil the rice and fry the onion in butter", "food"},
    {"add salt and pepper to the soup and stir", "food"},
    {"fry the fish in butter with salt and lemon", "food"},
    {"the bank raised the interest rate on the loan", "money"},
    {"shares fell after the bank cut the dividend", "money"},
    {"pay the loan back before the rate goes up", "money"},
};

// The library takes concepts, not text. The application decides how a text becomes concepts; here
// it is split at blanks.
qtPtrLight<zeMsg> make_message(const char* text) {
    zeSml_feeder feeder;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        feeder.add_concept(Concept::insert_view(word), 1.0);
    }
    qtPtrLight<zeMsg> msg(new zeMsg);
    msg->smls[0] = qtPtrLight<zeSml>(new zeSml(feeder, 0.0));
    return msg;
}

// Settings count for the models made afterwards, so they come before the root.
void read_settings(qtPtrLight<zeManager>& manager, const char* path) {
    // So few texts are not enough to measure how often a score is right, so scores stay raw. And
    // each concept counts in full, although hardly any is in more than two messages.
    manager->m_defaults.use_likelihood_in_train = false;
    manager->m_defaults.suppress_M = false;
    try {
        zeOptMap options;
        options.Load(path);
        options.SetKcDefaults(manager, false);
    } catch (const qtX<zeOptMap>& error) {
        std::cout << "settings: error " << error.number() << ", " << error.what() << '\n';
    }
}

// The view makes a leaf for each new category; training links the leaf below the root.
void train(zeManager& manager) {
    Concept root = Concept::insert("root");
    const qtPtrLight<zeWorkflow> workflow = manager.InitWorkflow(root);
    zeMemoryCorpus corpus;
    for (const Example& example : kExamples) {
        qtPtrLight<zeMsg> msg = make_message(example.text);
        msg->categories.push_back(Concept::insert(example.category));
        corpus.add_msg(msg);
    }
    zeCorpus_view view(&corpus);
    view.add_all_msgs(&manager);
    workflow->train(view, true, nullptr, false);
}

void train_to_file(const qtString& path) {
    qtPtrLight<zeManager> manager(new zeManager);
    read_settings(manager, "missing.options");
    train(*manager);
    manager->Write(path, nullptr, nullptr);
}

void print_line(double score, const Concept& name) {
    std::cout << "  " << std::setw(5) << score << "  " << name.view() << '\n';
}

// The best two categories, and what each concept adds to the score of the best.
void classify(zeManager& manager, const char* text) {
    std::cout << text << '\n';
    const qtPtrLight<zeMsg> msg = make_message(text);
    const qtPtrLight<zeWorkflow> workflow = manager.GetWorkflow();
    zeResult_set results(0.0, 2);
    workflow->classify(*msg, results, true, false);
    if (results.count() == 0) {
        std::cout << "  no category\n";
        return;
    }
    for (int rank = 0; rank < results.count(); ++rank) {
        print_line(results.get_result(rank).score, results.get_result(rank).node->m_concept);
    }

    std::vector<zeStat_matcher::Concept_score> concepts;
    workflow->classify_concepts(*msg, {results.get_result(0).node}, concepts);
    std::cout << "because of\n";
    for (const zeStat_matcher::Concept_score& concept_score : concepts) {
        print_line(concept_score.m_score, concept_score.m_concept);
    }
}

}  // namespace

int main() {
    std::cout << std::fixed << std::setprecision(2);
    try {
        const qtString path = "embedding.kc";
        train_to_file(path);
        zeManager manager;
        manager.Read(path, nullptr, nullptr);
        classify(manager, "salt for the team before the match");
        classify(manager, "");
    } catch (const qtxAll& error) {
        std::cerr << "zandrel: " << error.what() << '\n';
        return 1;
    }
}
