// Compares the example of docs/formats/kc.md with the container that the library writes.
#include <string>

#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/qtBuffer.h"
#include "zandrel/foundation/qtScrambler.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/persistence/Hpack.h"
#include "zandrel/storage/SegBuf.h"

#include "tests/support/bags.h"
#include "tests/support/document_bytes.h"
#include "tests/support/record_bytes.h"

namespace {

struct Item {
    qtString key;
    const char* block;  // of the document
};

const Item kModel = {Hpack::MakeStringKey(1), "hexmodel"};
const Item kClassifier = {Hpack::MakeStringKey(2), "hexclassifier"};
const Item kManager = {"__Manager__", "hexmanager"};

std::string shown(const Item& item) {
    return bytes_of_block(ZANDREL_KC_DOCUMENT, item.block);
}

// Each record of the example is shorter than a segment, and each segment is scrambled separately.
std::string scrambled(std::string record) {
    EXPECT_LT(record.size(), SegBuf::kSegmentSize);
    qtScrambler(qtScrambler::kSeed).Scramble(record.data(), record.size(), qtScrambler::kOption);
    return record;
}

zeNode* add_label(zeManager& manager, std::string_view name) {
    zeLogicalNode node;
    node.parent = 1;
    node.category = term(name);
    manager.m_logical_tree->AddLogicalNode(node);
    return node.physical_node;
}

// Makes the container that the document describes.
void make_example(zeManager& manager) {
    manager.m_defaults.use_likelihood_in_train = false;
    Concept root = term("root");
    const qtPtrLight<zeWorkflow> workflow = manager.InitWorkflow(root);
    add_label(manager, "a");
    add_label(manager, "b");
    zeMemoryCorpus corpus;
    qtPtrLight<zeMsg> first = MessageBuilder().bag({{"x", 1.0}}).labels({"a"}).make();
    qtPtrLight<zeMsg> second = MessageBuilder().bag({{"y", 1.0}}).labels({"b"}).make();
    corpus.add_msg(first);
    corpus.add_msg(second);
    zeCorpus_view view(&corpus);
    view.add_all_msgs(&manager);
    workflow->train(view, false, nullptr, false);
    manager.m_config.kc_id = 0x01020304;
    manager.m_config.created = qtTimeDate(1700000000000000);
    manager.m_config.last_trained = qtTimeDate(1700000000000001);
}

qtPtr<qtBuffer> written_example() {
    zeManager manager;
    make_example(manager);
    qtPtr<qtBuffer> file;
    manager.Write(file, nullptr, nullptr);
    return file;
}

// A package with the records that the document shows.
qtPtr<qtBuffer> shown_example() {
    qtPtr<qtBuffer> file;
    Hpack pack;
    pack.Open(file, 'w');
    pack.SetFileID(0x278F9D40, 2, 0);
    for (const Item& item : {kModel, kClassifier, kManager}) {
        pack.AddAtOffset(item.key, record_of(scrambled(shown(item))), 0);
    }
    pack.Close();
    return file;
}

std::string item_of(qtPtr<qtBuffer>& file, const Item& item) {
    Hpack pack;
    pack.Open(file, 'r');
    SegBuf data;
    pack.GetItem(item.key, data);
    return bytes_of(data);
}

double score_of(zeManager& manager, std::string_view word, std::string_view label) {
    qtPtrLight<zeMsg> msg = MessageBuilder().bag({{word, 1.0}}).make();
    zeResult_set results(0.0, 2);
    manager.GetRootClassifier()->classify(*msg, results, 1.0, false);
    for (int rank = 0; rank < results.count(); ++rank) {
        if (results.get_result(rank).node->m_concept == term(label)) {
            return results.get_result(rank).score;
        }
    }
    return 0.0;
}

TEST(KcDocumentTest, DocumentShowsTheRecordsThatAreWritten) {
    qtPtr<qtBuffer> file = written_example();

    for (const Item& item : {kModel, kClassifier, kManager}) {
        SCOPED_TRACE(item.block);
        EXPECT_EQ(to_hex(shown(item)), to_hex(scrambled(item_of(file, item))));
    }
}

TEST(KcDocumentTest, DocumentShowsAllItemsThatAreWritten) {
    qtPtr<qtBuffer> file = written_example();

    EXPECT_EQ(file->bytes, shown_example()->bytes);
}

TEST(KcDocumentTest, DocumentShowsAContainerThatCanBeRead) {
    qtPtr<qtBuffer> file = shown_example();
    zeManager manager;

    manager.Read(file, nullptr, nullptr);

    ASSERT_NE(manager.m_root, nullptr);
    EXPECT_EQ(manager.m_root->m_concept, term("root"));
    EXPECT_GT(score_of(manager, "x", "a"), score_of(manager, "x", "b"));
    EXPECT_GT(score_of(manager, "y", "b"), score_of(manager, "y", "a"));
}

}  // namespace
