// Fills a corpus file in two parts, and trains from it with two messages in memory.
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
#include "zandrel/messages/zeCacheCorpus.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/messages/zeSml.h"
#include "zandrel/messages/zeSml_feeder.h"

namespace {

struct Labelled {
    const char* text;
    const char* category;
};

const std::vector<Labelled> kMonday = {
    {"a late goal in the final match", "sport"},
    {"fry the onion in butter", "food"},
    {"the bank raised the rate", "money"},
};

const std::vector<Labelled> kTuesday = {
    {"the team won the match", "sport"},
    {"salt and pepper in the soup", "food"},
    {"pay the loan back", "money"},
};

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

// Mode 'w' makes any record file a corpus, so look first if the file may be another one. Mode 'r'
// refuses it, and also a corpus that was not closed.
void append(const qtString& path, const std::vector<Labelled>& texts) {
    zeCacheCorpus corpus(path, 'w', 2);
    for (const Labelled& labelled : texts) {
        qtPtrLight<zeMsg> msg = make_message(labelled.text);
        msg->categories.push_back(Concept::insert(labelled.category));
        corpus.add_msg(msg);
    }
    corpus.flush();  // the destructor would write the rest too, but report no error
}

// A walk ends at the first message that cannot be read, so a program compares the counts.
bool is_complete(zeCacheCorpus& corpus) {
    int found = 0;
    for (auto position = corpus.start_msgs(); !corpus.end(position); corpus.next(position)) {
        ++found;
    }
    std::cout << found << " of " << corpus.get_num_msgs() << " messages\n";
    return found == corpus.get_num_msgs();
}

void train(zeManager& manager, zeCorpus& corpus) {
    manager.m_defaults.use_likelihood_in_train = false;  // too few texts for tables
    manager.m_defaults.suppress_M = false;               // each word is in few texts
    Concept root = Concept::insert("root");
    const qtPtrLight<zeWorkflow> workflow = manager.InitWorkflow(root);
    zeCorpus_view view(&corpus);
    view.add_all_msgs(&manager);
    workflow->train(view, true, nullptr, false);
}

void classify(zeManager& manager, const char* text) {
    const qtPtrLight<zeMsg> msg = make_message(text);
    zeResult_set results(0.0, 1);
    manager.GetWorkflow()->classify(*msg, results, true, false);
    std::cout << text << ": "
              << (results.count() == 0 ? "nothing" : results.get_result(0).node->m_concept.view())
              << '\n';
}

}  // namespace

int main() {
    try {
        const qtString path = "news.corpus";
        append(path, kMonday);
        append(path, kTuesday);
        zeCacheCorpus corpus(path, 'r', 2);
        if (!is_complete(corpus)) {
            return 1;
        }
        zeManager manager;
        train(manager, corpus);
        classify(manager, "a goal for the team");
        classify(manager, "butter and salt");
        zeCacheCorpus("missing.corpus", 'r', 2);
    } catch (const qtxAll& error) {
        std::cout << "error: " << error.what() << '\n';
    }
}
