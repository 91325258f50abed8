// Training and learning from a corpus file give the same container as from memory, to the last bit,
// whatever the size of the cache.
#include <cstddef>
#include <cstdio>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/qtBuffer.h"
#include "zandrel/foundation/qtTimeDate.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/messages/zeCacheCorpus.h"
#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hreclaim.h"

#include "tests/support/bags.h"
#include "tests/support/scratch_file.h"
#include "tests/support/trained_tree.h"

namespace {

constexpr int kTrained = 400;
constexpr int kLearned = 60;

const std::vector<std::string> kLeaves = {"ball", "skis", "bank", "loan", "bread", "soup", "late"};

// Random messages. A third of their words belong to their label; every fourth word is in hardly any
// other message, so that its concept is forgotten when the message leaves the cache.
class Random_messages {
public:
    qtPtrLight<zeMsg> next() {
        const std::size_t label = pick(kLeaves.size());
        zeSml_feeder feeder;
        const std::size_t length = 4 + pick(30);
        for (std::size_t i = 0; i < length; ++i) {
            feeder.add_concept(term(word(label)), 1.0 + static_cast<double>(pick(3)) / 3.0);
        }
        qtPtrLight<zeMsg> msg(new zeMsg);
        msg->smls[0] = qtPtrLight<zeSml>(new zeSml(feeder, 0.0));
        msg->categories.push_back(term(kLeaves[label]));
        if (pick(8) == 0) {
            msg->categories.push_back(term(kLeaves[pick(kLeaves.size())]));
        }
        msg->add_value("hour", mlMessageConverter::kString, qtString(std::to_string(pick(24))));
        msg->weight = 1.0 + static_cast<double>(pick(2));
        return msg;
    }

    void fill(zeCorpus& corpus, int count) {
        for (int i = 0; i < count; ++i) {
            qtPtrLight<zeMsg> msg = next();
            corpus.add_msg(msg);
        }
    }

private:
    std::size_t pick(std::size_t end) { return m_random() % end; }

    std::string word(std::size_t label) {
        const std::string number = std::to_string(pick(40));
        switch (pick(4)) {
            case 0:
                return "rare" + std::to_string(m_random());
            case 1:
                return kLeaves[label] + number;
            default:
                return "common" + number;
        }
    }

    std::mt19937 m_random{11};
};

unsigned int add(zeManager& manager, unsigned int parent, std::string_view name, unsigned int type,
                 const char* rule = "") {
    zeLogicalNode node;
    node.parent = parent;
    node.category = term(name);
    node.type = static_cast<unsigned char>(type);
    node.rule = rule;
    return manager.m_logical_tree->AddLogicalNode(node);
}

// root (stat) - sport (stat) - ball, skis
//             - money (stat) - bank, loan
//             - hours (rules) - late: "$hour(n) > 20"
//                             - food (stat), the default - bread, soup
void make_tree(zeManager& manager) {
    manager.m_config.kc_id = 7;
    manager.m_defaults.profile_size = 60;
    Concept root = term("root");
    manager.InitWorkflow(root);
    const unsigned int sport = add(manager, 1, "sport", ZE_STAT);
    const unsigned int money = add(manager, 1, "money", ZE_STAT);
    const unsigned int hours = add(manager, 1, "hours", ZE_RULE);
    const unsigned int food = add(manager, hours, "food", ZE_STAT, "default");
    add(manager, sport, "ball", ZE_LEAF);
    add(manager, sport, "skis", ZE_LEAF);
    add(manager, money, "bank", ZE_LEAF);
    add(manager, money, "loan", ZE_LEAF);
    add(manager, hours, "late", ZE_LEAF, "$hour(n) > 20");
    add(manager, food, "bread", ZE_LEAF);
    add(manager, food, "soup", ZE_LEAF);
}

std::string file_of(zeManager& manager) {
    qtPtr<qtBuffer> buffer;
    manager.Write(buffer, nullptr, nullptr);
    return {buffer->bytes.begin(), buffer->bytes.end()};
}

// The container's file after training, and after each of two bulks.
std::vector<std::string> files_after(zeCorpus& trained, zeCorpus& learned) {
    zeManager manager;
    make_tree(manager);
    std::vector<std::string> files;
    zeCorpus_view view(&trained);
    view.add_all_msgs(&manager);
    manager.GetWorkflow()->train(view, false, nullptr, true);
    files.push_back(file_of(manager));
    for (int bulk = 0; bulk < 2; ++bulk) {
        zeCorpus_view part(&learned);
        for (int i = 0; i < kLearned / 2; ++i) {
            part.add_msg(bulk * kLearned / 2 + i, &manager);
        }
        manager.GetWorkflow()->learn(part, nullptr, true, bulk == 0);
        files.push_back(file_of(manager));
    }
    return files;
}

std::vector<std::string> files_from_memory() {
    Random_messages messages;
    zeMemoryCorpus trained;
    zeMemoryCorpus learned;
    messages.fill(trained, kTrained);
    messages.fill(learned, kLearned);
    return files_after(trained, learned);
}

// The messages to train and to learn, in a file each.
class Corpus_files {
public:
    Corpus_files() {
        Random_messages messages;
        zeCacheCorpus trained(m_trained, 'w', 0);
        messages.fill(trained, kTrained);
        zeCacheCorpus learned(m_learned, 'w', 0);
        messages.fill(learned, kLearned);
    }

    Corpus_files(const Corpus_files&) = delete;
    Corpus_files& operator=(const Corpus_files&) = delete;

    ~Corpus_files() {
        std::remove(m_trained.c_str());
        std::remove(m_learned.c_str());
    }

    std::vector<std::string> files(char mode, unsigned int cache_size) const {
        zeCacheCorpus trained(m_trained, mode, cache_size);
        zeCacheCorpus learned(m_learned, mode, cache_size);
        return files_after(trained, learned);
    }

private:
    const Scratch_file m_name;
    qtString m_trained = m_name.path() + ".trained";
    qtString m_learned = m_name.path() + ".learned";
};

TEST(CorpusFileScenarioTest, TrainingAndLearningFromAFileEqualMemoryAtEachCacheSize) {
    const Stopped_clock clock;
    const std::vector<std::string> expected = files_from_memory();
    ASSERT_EQ(expected.size(), 3U);
    EXPECT_FALSE(expected[0] == expected[1]);
    EXPECT_FALSE(expected[1] == expected[2]);
    const Corpus_files corpora;

    for (const unsigned int cache_size : {0U, 1U, 20U, 1000U}) {
        SCOPED_TRACE(cache_size);
        const std::vector<std::string> files = corpora.files('r', cache_size);
        for (std::size_t step = 0; step < expected.size(); ++step) {
            EXPECT_TRUE(files.at(step) == expected[step]) << "step " << step;
        }
    }
    // Training changes no message, so a corpus that is open for changes remains as it was.
    EXPECT_TRUE(corpora.files('u', 20) == expected);
    EXPECT_TRUE(corpora.files('r', 0) == expected);
}

// A message that cannot be read is in the view without nodes, and training skips it.
TEST(CorpusFileScenarioTest, MessageThatCannotBeReadIsSkipped) {
    const Stopped_clock clock;
    const Scratch_file file;
    zeMemoryCorpus without;
    {
        Random_messages messages;
        zeCacheCorpus corpus(file.path(), 'w', 0);
        for (int i = 0; i < 50; ++i) {
            qtPtrLight<zeMsg> msg = messages.next();
            corpus.add_msg(msg);
            if (i != 30) {
                without.add_msg(msg);
            }
        }
    }
    {
        Hreclaim<Hfile64> raw;
        raw.Open(file.path(), false, false);
        SegBuf damaged;
        std::string bytes = "too short";
        HSegment(damaged, 'w').Write(bytes.data(), static_cast<unsigned int>(bytes.size()));
        raw.AddItem(raw.MakeStringKey(30), damaged);
        raw.Close();
    }
    zeCacheCorpus corpus(file.path(), 'r', 5);
    std::vector<std::string> files;
    for (zeCorpus* each : {static_cast<zeCorpus*>(&corpus), static_cast<zeCorpus*>(&without)}) {
        zeManager manager;
        make_tree(manager);
        zeCorpus_view view(each);
        view.add_all_msgs(&manager);
        EXPECT_EQ(static_cast<int>(view.msgs.size()), each->get_num_msgs());
        manager.GetWorkflow()->train(view, false, nullptr, true);
        files.push_back(file_of(manager));
    }

    EXPECT_EQ(corpus.get_num_msgs(), 50);
    EXPECT_TRUE(files[0] == files[1]);
}

}  // namespace
