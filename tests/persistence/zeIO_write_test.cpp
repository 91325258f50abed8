// Writing by zeIO: order and form of the items, partial files, compact files, refusals.
#include "zandrel/persistence/zeIO.h"

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/storage/HioErr.h"

#include "tests/support/expect_qtx.h"
#include "tests/support/fake_disk.h"
#include "tests/support/kc_file.h"
#include "tests/support/logical_tree.h"
#include "tests/support/news_desk.h"
#include "tests/support/scratch_file.h"
#include "tests/support/trained_tree.h"

namespace {

using testing::ElementsAre;

// The keys of a file in the order of the items.
std::vector<std::string> keys_in_file_order(const Kc_items& items) {
    std::vector<std::string> keys;
    for (const auto& [key, offset] : items.offsets) {
        keys.push_back(key);
    }
    std::sort(keys.begin(), keys.end(), [&items](const auto& left, const auto& right) {
        return items.offsets.at(left) < items.offsets.at(right);
    });
    return keys;
}

// The first `byte_count` bytes of a record.
std::string head_of(const std::string& record, std::size_t byte_count) {
    return to_hex(record.substr(0, byte_count));
}

TEST(zeIOWriteTest, ItemsAreInOrderOfObjectIdAndTheManagerIsLast) {
    Trained_desk kc;

    const Kc_items items(saved(kc.manager));

    EXPECT_THAT(keys_in_file_order(items),
                ElementsAre(object_key(1), object_key(2), object_key(3), object_key(4),
                            object_key(5), object_key(6), object_key(7), "__Manager__"));
}

TEST(zeIOWriteTest, HeaderIdentifiesAContainerOfVersionTwo) {
    Trained_desk kc;

    const Kc_items items(saved(kc.manager));

    EXPECT_EQ(items.id, 0x278F9D40U);
    EXPECT_EQ(items.version, 2);
    EXPECT_EQ(items.flags, 0);
}

TEST(zeIOWriteTest, EachObjectBeginsWithItsTypeIdAndNode) {
    Trained_desk kc;
    Kc_items items(saved(kc.manager));
    const unsigned int press = kc.desk.Node(News_desk::kPress).physical_node->m_node_id;
    const unsigned int home = kc.desk.Node(News_desk::kHome).physical_node->m_node_id;

    EXPECT_EQ(head_of(items.object(1), 8), "00 00 00 03 00 00 00 01");
    EXPECT_EQ(head_of(items.object(3), 12), "00 00 00 01 00 00 00 03 " + to_hex(object_key(press)));
    EXPECT_EQ(head_of(items.object(5), 12), "00 00 00 02 00 00 00 05 " + to_hex(object_key(home)));
}

TEST(zeIOWriteTest, TextsAreNotReadableInTheFile) {
    Trained_desk kc;

    const std::string file = saved(kc.manager);

    EXPECT_EQ(file.find("sport"), std::string::npos);
    EXPECT_EQ(file.find("goal"), std::string::npos);
    EXPECT_NE(file.find("__Manager__"), std::string::npos);
}

TEST(zeIOWriteTest, WritingTwiceGivesEqualBytes) {
    Trained_desk kc;

    const std::string first = saved(kc.manager);

    EXPECT_TRUE(same_bytes(saved(kc.manager), first));
}

TEST(zeIOWriteTest, EqualContainersGiveEqualBytes) {
    const Stopped_clock clock;
    Trained_desk one;
    Trained_desk other;
    other.manager.m_config.kc_id = one.manager.m_config.kc_id;

    EXPECT_TRUE(same_bytes(saved(one.manager), saved(other.manager)));
}

TEST(zeIOWriteTest, FileAndBufferGetTheSameBytes) {
    Trained_desk kc;
    const Scratch_file file;

    kc.manager.Write(file.path(), nullptr, nullptr);

    EXPECT_TRUE(same_bytes(file.content(), saved(kc.manager)));
}

TEST(zeIOWriteTest, OlderFileIsReplacedCompletely) {
    Trained_desk kc;
    const Scratch_file file(std::string(100000, 'x'));

    kc.manager.Write(file.path(), nullptr, nullptr);

    EXPECT_TRUE(same_bytes(file.content(), saved(kc.manager)));
}

TEST(zeIOWriteTest, SavingALoadedContainerGivesEqualBytes) {
    Trained_desk kc;
    const std::string file = saved(kc.manager);
    zeManager loaded;

    read_kc(loaded, file);

    EXPECT_TRUE(same_bytes(saved(loaded), file));
}

TEST(zeIOWriteTest, WritingChangesNothingInTheContainer) {
    Trained_desk kc;
    kc.manager.m_modified = true;
    const Unchanged unchanged(kc.manager);

    saved(kc.manager);
    saved_below(kc.manager, News_desk::kHome);
    saved_compact(kc.manager);

    EXPECT_TRUE(kc.manager.m_modified);
    EXPECT_FALSE(kc.manager.m_compact);
}

TEST(zeIOWriteTest, EmptyContainerHasOnlyTheManagersRecord) {
    zeManager empty;

    const std::string file = saved(empty);

    EXPECT_THAT(keys_in_file_order(Kc_items(file)), ElementsAre("__Manager__"));
    Trained_desk kc;
    read_kc(kc.manager, file);
    EXPECT_TRUE(is_empty(kc.manager));
}

TEST(zeIOWriteTest, ModeDescribesTheFileAfterwards) {
    Trained_desk kc;
    const Scratch_file file;
    KcIoMode mode;
    mode.read_only = true;

    kc.manager.Write(file.path(), &mode, nullptr);

    EXPECT_EQ(mode.io_mode, KcIoMode::DIRECT_IO);
    EXPECT_FALSE(mode.read_only);
    EXPECT_EQ(kc.manager.m_io->m_io_mode, KcIoMode::DIRECT_IO);
    EXPECT_EQ(kc.manager.m_io->m_version, 2U);
}

// Unknown forms count as plain; only the cached form cannot be written.
TEST(zeIOWriteTest, AnyFormButTheCachedOneIsWrittenAsPlain) {
    Trained_desk kc;
    const Scratch_file file;
    for (const unsigned int form : {0U, 1U, 3U, 77U}) {
        SCOPED_TRACE(form);
        file.write("");
        KcIoMode mode;
        mode.io_mode = static_cast<KcIoMode::Form>(form);

        kc.manager.Write(file.path(), &mode, nullptr);

        EXPECT_EQ(mode.io_mode, KcIoMode::DIRECT_IO);
        EXPECT_TRUE(same_bytes(file.content(), saved(kc.manager)));
    }
}

TEST(zeIOWriteTest, BufferGetsThePlainFormWhateverIsRequested) {
    Trained_desk kc;
    KcIoMode mode;
    mode.io_mode = KcIoMode::CACHED_IO;

    EXPECT_TRUE(same_bytes(saved(kc.manager, mode), saved(kc.manager)));
}

TEST(zeIOWriteTest, FileObjectOfAnotherManagerMayNotWrite) {
    Trained_desk kc;
    zeIO stranger(&kc.manager);
    KcIoMode mode;
    qtPtr<qtBuffer> buffer;

    EXPECT_ASSERTS(stranger.DumpKC(buffer, &mode, nullptr), "m_manager->m_io.get() == this");
    EXPECT_ASSERTS(stranger.DumpKC("unused", &mode, nullptr), "m_manager->m_io.get() == this");
}

// A file that could not be read again is useless, so it is not written.
TEST(zeIOWriteTest, TreeThatCouldNotBeReadAgainIsRefusedBeforeTheFileIsTouched) {
    Trained_desk kc;
    const Scratch_file file("as it was");
    zeNode* const home = kc.desk.Node(News_desk::kHome).physical_node;
    KcIoMode copy;
    saved(kc.manager);

    home->m_parent->remove_child(home);  // the rule remains

    EXPECT_QTX_ARGS(kc.manager.Write(file.path(), nullptr, nullptr), zeManager, 4,
                    "Knowledge tree is damaged", {"categories"});
    EXPECT_QTX_ARGS(kc.manager.m_io->CopyKC(file.path(), &copy, nullptr, nullptr), zeManager, 4,
                    "Knowledge tree is damaged", {"categories"});
    home->add_child(home);
    EXPECT_QTX_ARGS(kc.manager.Write(file.path(), nullptr, nullptr), zeManager, 4,
                    "Knowledge tree is damaged", {"children"});
    EXPECT_EQ(file.content(), "as it was");
}

TEST(zeIOWriteTest, ThresholdThatIsNotFiniteIsRefusedBeforeTheFileIsTouched) {
    constexpr double kAboveAll = std::numeric_limits<double>::infinity();
    Trained_desk kc;
    const Scratch_file file("as it was");
    double& physical = kc.desk.Node(News_desk::kSport).physical_node->m_threshold;
    double& logical = kc.manager.m_logical_tree->GetNodePtr(News_desk::kSport)->threshold;
    KcIoMode copy;

    for (double* const threshold : {&physical, &logical}) {
        for (const double value :
             {std::numeric_limits<double>::quiet_NaN(), kAboveAll, -kAboveAll}) {
            SCOPED_TRACE(value);
            *threshold = value;
            EXPECT_QTX_ARGS(kc.manager.Write(file.path(), nullptr, nullptr), zeManager, 4,
                            "Knowledge tree is damaged", {"thresholds"});
            EXPECT_QTX_ARGS(kc.manager.m_io->CopyKC(file.path(), &copy, nullptr, nullptr),
                            zeManager, 4, "Knowledge tree is damaged", {"thresholds"});
            *threshold = -1e308;
        }
    }
    EXPECT_EQ(file.content(), "as it was");
    zeManager loaded;
    read_kc(loaded, saved(kc.manager));
    EXPECT_EQ(loaded.m_logical_tree->GetNode(News_desk::kSport).threshold, -1e308);
}

// 2^24 numbers are left after the greatest id that a reader accepts.
TEST(zeIOWriteTest, GreatestIdIsReadAgainAndAnIdAboveItIsRefusedBeforeTheFileIsTouched) {
    constexpr unsigned int kGreatest = 0xFEFFFFFF;

    const struct {
        const char* what;
        unsigned int& (*last_id)(zeManager& manager);
        unsigned char type;
    } rows[] = {
        {"node", [](zeManager& kc) -> unsigned int& { return kc.m_physical_tree->m_last_node_id; },
         ZE_LEAF},
        {"logical node", [](zeManager& kc) -> unsigned int& { return kc.m_logical_tree->next_id; },
         ZE_LEAF},
        {"object", [](zeManager& kc) -> unsigned int& { return kc.m_last_object_id; }, ZE_RULE},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Trained_desk kc;
        const Scratch_file file("as it was");
        row.last_id(kc.manager) = kGreatest - 1;

        kc.desk.Add(News_desk::kDesk, "last", row.type);

        EXPECT_EQ(row.last_id(kc.manager), kGreatest);
        zeManager loaded;
        read_kc(loaded, saved(kc.manager));
        EXPECT_EQ(row.last_id(loaded), kGreatest);

        kc.desk.Add(News_desk::kDesk, "one more", row.type);

        EXPECT_QTX_ARGS(kc.manager.Write(file.path(), nullptr, nullptr), zeManager, 4,
                        "Knowledge tree is damaged", {"ids"});
        EXPECT_EQ(file.content(), "as it was");
    }
}

// Files of subtrees.

class zeIOPartTest : public testing::Test {
protected:
    // Writes the file of a subtree and reads it.
    void Load(unsigned int id) { read_kc(part, saved_below(kc.manager, id)); }

    Trained_desk kc;
    zeManager part;
};

TEST_F(zeIOPartTest, FileOfASubtreeHasOnlyItsItems) {
    const Kc_items items(saved_below(kc.manager, News_desk::kHome));

    EXPECT_THAT(keys_in_file_order(items),
                ElementsAre(object_key(4), object_key(5), "__Manager__"));
}

TEST_F(zeIOPartTest, EachClassifierNodeCanBeWrittenByItself) {
    for (const unsigned int id :
         {News_desk::kDesk, News_desk::kPress, News_desk::kHome, News_desk::kWorld}) {
        SCOPED_TRACE(id);
        const zeNode& top = *kc.desk.Node(id).physical_node;
        hash_set<zeNode*, zePointer_hash> nodes;
        top.get_subtree(nodes);

        Load(id);

        EXPECT_EQ(part.m_root->m_parent, nullptr);
        EXPECT_EQ(part.m_root->m_node_id, top.m_node_id);
        EXPECT_EQ(part.m_root->m_concept, top.m_concept);
        EXPECT_EQ(part.m_last_object_id, kc.manager.m_last_object_id);
        EXPECT_EQ(part.m_physical_tree->m_nodes.size(), nodes.size());
        EXPECT_EQ(part.m_logical_tree->GetNode(1).physical_node, part.m_root);
        ExpectSound(part);
        zeManager again;
        read_kc(again, saved(part));
        EXPECT_TRUE(same_bytes(saved(again), saved(part)));
    }
}

TEST_F(zeIOPartTest, FileOfASubtreeClassifiesLikeTheSubtree) {
    Load(News_desk::kHome);
    News_desk home(part);

    const Named_scores ranking = home.Classify({{"goal", 2.0}, {"bank", 0.5}}, {});

    // In the whole tree scores are multiplied along the path. Here the path begins at 1.
    zeResult_set expected(0.0, -1);
    zeNode* const node = kc.desk.Node(News_desk::kHome).physical_node;
    node->m_classifier->classify(*MessageBuilder().bag({{"goal", 2.0}, {"bank", 0.5}}).make(),
                                 expected, 1.0, false);
    ASSERT_EQ(ranking.size(), 2U);
    for (const auto& [name, score] : ranking) {
        bool is_found = false;
        for (int rank = 0; rank < expected.count(); ++rank) {
            const zeResult& result = expected.get_result(rank);
            is_found = is_found || (result.node->m_concept == term(name) && result.score == score);
        }
        EXPECT_TRUE(is_found) << name << ' ' << score;
    }
}

TEST_F(zeIOPartTest, FileOfARuleNodeHasItsRules) {
    Load(News_desk::kPress);
    News_desk press(part);

    EXPECT_EQ(press.Best("goal", {"home"}), "sport");
    EXPECT_EQ(press.Best("soup", {"world"}), "food");
    EXPECT_EQ(press.Best("soup", {}), "bin");
}

TEST_F(zeIOPartTest, FileOfASubtreeContinuesLearning) {
    Load(News_desk::kPress);
    News_desk press(part);

    press.Learn();

    EXPECT_EQ(press.Best("puck", {"home"}), "sport");
    EXPECT_GT(part.m_physical_tree->MakeNode(term("next"), ZE_STAT, 0, 0.0)->m_classifier_id, 7U);
}

TEST_F(zeIOPartTest, NodeWithoutAClassifierIsRefusedBeforeTheFileIsTouched) {
    const Scratch_file file("as it was");
    const Unchanged unchanged(kc.manager);
    KcIoMode mode;
    mode.root = &kc.desk.Node(News_desk::kSport);
    qtPtr<qtBuffer> buffer = buffer_of("as it was");

    EXPECT_QTX_ARGS(kc.manager.Write(file.path(), &mode, nullptr), zeIO, 3,
                    "Logical node is not a Classifier", {"sport"});
    EXPECT_QTX_ARGS(kc.manager.Write(buffer, &mode, nullptr), zeIO, 3,
                    "Logical node is not a Classifier", {"sport"});

    EXPECT_EQ(file.content(), "as it was");
    EXPECT_EQ(bytes_in(buffer), "as it was");
}

TEST_F(zeIOPartTest, UnknownNodeIsRefusedToo) {
    KcIoMode mode;
    mode.root = &kc.desk.Node(999);
    qtPtr<qtBuffer> buffer;

    EXPECT_QTX_ARGS(kc.manager.Write(buffer, &mode, nullptr), zeIO, 3,
                    "Logical node is not a Classifier", {""});
}

// Compact files.

TEST(zeIOCompactTest, CompactFileIsMarkedAndSmaller) {
    Trained_desk kc;

    const std::string file = saved_compact(kc.manager);

    EXPECT_EQ(Kc_items(file).flags, 0x08);
    EXPECT_LT(file.size(), saved(kc.manager).size());
    EXPECT_FALSE(kc.manager.m_compact);
}

TEST(zeIOCompactTest, CompactContainerAnswersTheSame) {
    Trained_desk kc;
    zeManager compact;
    KcIoMode mode;

    read_kc(compact, saved_compact(kc.manager), &mode);

    EXPECT_TRUE(mode.compact_read);
    EXPECT_TRUE(compact.m_compact);
    EXPECT_TRUE(compact.m_io->m_compact_read);
    EXPECT_EQ(News_desk(compact).Answers(), kc.desk.Answers());
}

TEST(zeIOCompactTest, CompactContainerCannotBeTrained) {
    Trained_desk kc;
    zeManager compact;
    read_kc(compact, saved_compact(kc.manager));
    News_desk desk(compact);

    EXPECT_QTX(desk.Train(), zeWorkflow, 3, "Operation cannot be performed on compact KB");
    EXPECT_QTX(desk.Learn(), zeWorkflow, 3, "Operation cannot be performed on compact KB");
}

TEST(zeIOCompactTest, CompactContainerIsSavedAndLoadedAsCompact) {
    Trained_desk kc;
    const std::string file = saved_compact(kc.manager);
    zeManager compact;
    read_kc(compact, file);

    EXPECT_TRUE(same_bytes(saved_compact(compact), file));
}

TEST(zeIOCompactTest, FullFileReadNextIsNotCompact) {
    Trained_desk kc;
    zeManager manager;
    read_kc(manager, saved_compact(kc.manager));

    read_kc(manager, saved(kc.manager));

    EXPECT_FALSE(manager.m_compact);
}

// Failing disks.

// Each call of the system fails in turn, once only or together with all later calls.
TEST(zeIOFullDiskTest, FailedWriteRaisesAndLeavesNoContainer) {
    Fake_disk disk;
    Trained_desk kc;
    const std::string whole = saved(kc.manager);
    const Unchanged unchanged(kc.manager);
    std::size_t failures = 0;
    for (std::size_t call = 0;; ++call) {
        SCOPED_TRACE(call);
        disk.files.clear();
        disk.fail_at(call, Fake_disk::Fault::kNoSpace, true);
        bool is_written = false;
        try {
            kc.manager.Write("fake/kc", nullptr, nullptr);
            is_written = true;
        } catch (const qtX<HioErr>& raised) {
            EXPECT_THAT(raised.number(), testing::AnyOf(HioErr::kOpenFailed, HioErr::kCloseFailed,
                                                        HioErr::kWriteFailed))
                << raised.what();
            ++failures;
        }
        EXPECT_EQ(disk.open_files, 0);
        const bool is_faulty = !disk.failed.empty();
        disk.heal();

        if (is_written) {
            EXPECT_FALSE(is_faulty);
            EXPECT_TRUE(same_bytes(disk.files.at("fake/kc"), whole));
            break;
        }
        zeManager loaded;
        EXPECT_THROW(loaded.Read("fake/kc", nullptr, nullptr), qtxAll);
        EXPECT_TRUE(is_empty(loaded));
    }
    EXPECT_GT(failures, 2U);
}

TEST(zeIOFullDiskTest, FailedWriteSucceedsWhenThereIsSpaceAgain) {
    Fake_disk disk;
    Trained_desk kc;
    disk.fail_at(1, Fake_disk::Fault::kNoSpace, true);
    EXPECT_THROW(kc.manager.Write("fake/kc", nullptr, nullptr), qtX<HioErr>);
    disk.heal();

    kc.manager.Write("fake/kc", nullptr, nullptr);

    EXPECT_TRUE(same_bytes(disk.files.at("fake/kc"), saved(kc.manager)));
}

}  // namespace
