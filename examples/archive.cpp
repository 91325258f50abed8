// Keeps labelled messages in an archive, trains a container from it, takes a correction, and lets
// the container learn.
#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>

#include "zandrel/archive/zeSmlArchive.h"
#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/messages/zeSml.h"
#include "zandrel/messages/zeSml_feeder.h"

namespace {

const qtString kArchive = "news.archive";
const qtString kContainer = "news.kc";

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

// `id`: the program's own name of the message. If the archive has it already, the new message
// replaces the old one: a correction needs nothing else.
void add(zeSmlArchive& archive, const char* id, const char* text, const char* category) {
    qtPtrLight<zeMsg> msg = make_message(text);
    msg->categories.push_back(Concept::insert(category));
    archive.AddSml(msg, id, id);
}

// The container is saved after the archive. If the program ends in between, the two do not match
// the next time, and TrainKc without `check_match` brings them together again.
void save(const qtPtrLight<zeManager>& manager) {
    manager->Write(kContainer, nullptr, nullptr);
}

void start(zeSmlArchive& archive) {
    archive.OpenArchive(kArchive, true, false);
    archive.SetCatReservedSize(2);
    archive.SetCatMinimalSize(3);
    add(archive, "mail-1", "a late goal in the final match", "sport");
    add(archive, "mail-2", "the team won the match", "sport");
    add(archive, "mail-3", "the bank raised the rate", "sport");  // a wrong label
    add(archive, "mail-4", "pay the loan back to the bank", "money");

    qtPtrLight<zeManager> manager(new zeManager);
    manager->m_defaults.use_likelihood_in_train = false;  // too few texts for tables
    manager->m_defaults.suppress_M = false;               // each word is in few texts
    archive.TrainKc(manager, true, false, false, nullptr, false);
    save(manager);
    archive.CloseArchive();
}

void classify(zeManager& manager, const char* text) {
    const qtPtrLight<zeMsg> msg = make_message(text);
    zeResult_set results(0.0, 1);
    manager.GetWorkflow()->classify(*msg, results, true, false);
    std::cout << text << ": "
              << (results.count() == 0 ? "nothing" : results.get_result(0).node->m_concept.view())
              << '\n';
}

void print_categories(const zeSmlArchive& archive) {
    for (const char* const name : {"money", "sport"}) {
        const CatData& data = archive.m_manager.category_info.at(Concept::insert(name));
        std::cout << name << ": " << data.category_counter << " messages, " << data.reserved.size()
                  << " reserved\n";
    }
}

void go_on() {
    zeSmlArchive archive;
    archive.OpenArchive(kArchive, false, false);
    qtPtrLight<zeManager> manager(new zeManager);
    manager->Read(kContainer, nullptr, nullptr);
    classify(*manager, "the rate of the bank");

    add(archive, "mail-3", "the bank raised the rate", "money");
    add(archive, "mail-5", "the rate of the loan", "money");
    archive.TrainKc(manager, false, true, false, nullptr, false);
    classify(*manager, "the rate of the bank");

    add(archive, "mail-6", "shares fell", "money");
    archive.Learn(manager, true, false, nullptr, false);
    save(manager);
    print_categories(archive);
    archive.Learn(manager, true, false, nullptr, false);
}

}  // namespace

int main() {
    std::remove(kArchive.c_str());
    try {
        zeSmlArchive archive;
        start(archive);
        go_on();
    } catch (const qtxAll& error) {
        std::cout << "error: " << error.what() << '\n';
    }
}
