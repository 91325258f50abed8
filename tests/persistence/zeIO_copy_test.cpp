// zeIO::CopyKC: copies a container to another file, and converts its texts.
#include "zandrel/persistence/zeIO.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/storage/HioErr.h"

#include "tests/support/expect_qtx.h"
#include "tests/support/fake_disk.h"
#include "tests/support/kc_file.h"
#include "tests/support/logical_tree.h"
#include "tests/support/news_desk.h"
#include "tests/support/progress_log.h"
#include "tests/support/scratch_file.h"

namespace {

class zeIOCopyTest : public testing::Test {
protected:
    zeIOCopyTest() {
        qtPtr<qtBuffer> buffer = buffer_of(saved(built.manager));
        manager.Read(buffer, nullptr, nullptr);
        source = manager.m_io.get();
    }

    void Copy(KcConverter* converter = nullptr, CTProgress* progress = nullptr) {
        manager.m_io->CopyKC(file.path(), &mode, converter, progress);
    }

    // Checks that the manager is as before the copy, and that saving it gives the same file.
    void ExpectUntouched(const std::string& before) {
        EXPECT_EQ(manager.m_io.get(), source);
        EXPECT_EQ(manager.m_io.use_count(), 1U);
        EXPECT_EQ(manager.m_io->m_converter, nullptr);
        EXPECT_TRUE(same_bytes(saved(manager), before));
    }

    // Changes a leaf's name and note.
    void Rename(unsigned int id, std::string_view name, const char* note) {
        zeLogicalNode node = manager.m_logical_tree->GetNode(id);
        node.category = term(name);
        node.name = node.category;
        node.note1 = note;
        manager.m_logical_tree->ChangeLogicalNode(node);
    }

    Trained_desk built;
    zeManager manager;
    News_desk desk{manager};
    zeIO* source = nullptr;
    Scratch_file file;
    KcIoMode mode;
};

TEST_F(zeIOCopyTest, CopyHasTheBytesOfASave) {
    const Unchanged unchanged(manager);

    Copy();

    const std::string copy = file.content();
    ExpectUntouched(copy);
}

TEST_F(zeIOCopyTest, ModeDescribesTheCopyAfterwards) {
    mode.create = false;

    Copy();

    EXPECT_TRUE(mode.create);
    EXPECT_FALSE(mode.read_only);
    EXPECT_EQ(mode.io_mode, KcIoMode::DIRECT_IO);
}

TEST_F(zeIOCopyTest, ModifiedFlagIsKept) {
    for (const bool flag : {true, false}) {
        manager.m_modified = flag;

        Copy();

        EXPECT_EQ(manager.m_modified, flag);
    }
}

TEST_F(zeIOCopyTest, CopyMayReplaceTheFileThatWasRead) {
    file.write(saved(built.manager));
    manager.Read(file.path(), nullptr, nullptr);
    desk.Learn();

    Copy();

    EXPECT_TRUE(same_bytes(file.content(), saved(manager)));
}

TEST_F(zeIOCopyTest, CopyMayBeCompact) {
    mode.compact = true;

    Copy();

    EXPECT_FALSE(manager.m_compact);
    EXPECT_FALSE(manager.m_io->m_compact);
    EXPECT_TRUE(same_bytes(file.content(), saved_compact(manager)));
}

TEST_F(zeIOCopyTest, CopyOfASubtreeHasTheBytesOfASave) {
    mode.root = &desk.Node(News_desk::kHome);

    Copy();

    EXPECT_TRUE(same_bytes(file.content(), saved_below(manager, News_desk::kHome)));
}

TEST_F(zeIOCopyTest, NodeWithoutAClassifierIsRefusedBeforeTheFileIsTouched) {
    file.write("as it was");
    const std::string before = saved(manager);
    source = manager.m_io.get();
    mode.root = &desk.Node(News_desk::kSport);

    EXPECT_QTX_ARGS(Copy(), zeIO, 4, "Logical node is not a Classifier", {"sport"});
    mode.root = &desk.Node(999);
    EXPECT_QTX_ARGS(Copy(), zeIO, 4, "Logical node is not a Classifier", {""});

    EXPECT_EQ(file.content(), "as it was");
    EXPECT_EQ(manager.m_io.get(), source);
    EXPECT_TRUE(same_bytes(saved(manager), before));
}

TEST_F(zeIOCopyTest, UnknownFormsMeanThePlainForm) {
    for (const unsigned int form : {3U, 99U}) {
        SCOPED_TRACE(form);
        file.write("as it was");
        mode.io_mode = static_cast<KcIoMode::Form>(form);

        Copy();

        EXPECT_EQ(mode.io_mode, KcIoMode::DIRECT_IO);
        ExpectUntouched(file.content());
        source = manager.m_io.get();
    }
}

TEST_F(zeIOCopyTest, BothPlainFormsAreCopied) {
    for (const KcIoMode::Form form : {KcIoMode::AUTO_IO, KcIoMode::DIRECT_IO}) {
        SCOPED_TRACE(form);
        mode.io_mode = form;
        file.write("");

        Copy();

        zeManager loaded;
        loaded.Read(file.path(), nullptr, nullptr);
        EXPECT_EQ(content_of(loaded), content_of(manager));
    }
}

// Conversion.

TEST_F(zeIOCopyTest, AllTextsAreConverted) {
    Rename(News_desk::kSport, "caf\xE9", "g\xE2teau");
    KcConverter converter{"ISO-8859-1", "UTF-8", 0};

    Copy(&converter);

    zeManager loaded;
    loaded.Read(file.path(), nullptr, nullptr);
    EXPECT_EQ(loaded.m_logical_tree->GetNode(News_desk::kSport).category, term("caf\xC3\xA9"));
    EXPECT_EQ(loaded.m_logical_tree->GetNode(News_desk::kSport).note1, qtString("g\xC3\xA2teau"));
    EXPECT_EQ(loaded.m_physical_tree->GetLeafNodes(term("caf\xC3\xA9")).size(), 1U);
    EXPECT_EQ(News_desk(loaded).Best("goal", {"home"}), "caf\xC3\xA9");
    EXPECT_EQ(desk.Best("goal", {"home"}), "caf\xE9");
}

// Learned words are texts too. They are in the record of the matcher and in that of its storage.
TEST_F(zeIOCopyTest, LearnedWordsAreConverted) {
    zeMemoryCorpus corpus;
    const Weighted_list words = {{"na\xEFve", 3.0}};
    for (int i = 0; i < 4; ++i) {
        MessageBuilder().bag(words).bag_at(1, words).labels({"shop"}).add_to(corpus);
    }
    zeCorpus_view view(&corpus);
    view.add_all_msgs(&manager);
    manager.GetWorkflow()->learn(view, nullptr, false, true);
    KcConverter converter{"ISO-8859-1", "UTF-8", 0};

    Copy(&converter);

    zeManager loaded;
    loaded.Read(file.path(), nullptr, nullptr);
    const zeStat_storage& storage = *loaded.GetRootStorage();
    EXPECT_EQ(storage.m_concept_infos.count(term("na\xC3\xAFve")), 1U);
    EXPECT_EQ(storage.m_concept_infos.count(term("na\xEFve")), 0U);
    EXPECT_EQ(News_desk(loaded).Best("na\xC3\xAFve", {}), "shop");
}

// Every written text is counted, empty ones too.
TEST_F(zeIOCopyTest, ConverterCountsAllTexts) {
    zeManager small;
    Concept name = term("root");
    small.InitWorkflow(name);
    zeLogicalNode leaf = node_to_add(1, "leaf");
    small.m_logical_tree->AddLogicalNode(leaf);
    saved(small);
    KcConverter converter{"ISO-8859-1", "UTF-8", 100};

    small.m_io->CopyKC(file.path(), &mode, &converter, nullptr);

    // Each of the two physical nodes has a name. Each of the two logical nodes has two names, a
    // rule and two notes. The container has a name. Nothing is learned.
    EXPECT_EQ(converter.count, 100U + 2 + 2 * 5 + 1);
}

TEST_F(zeIOCopyTest, TextThatCannotBeConvertedEndsTheCopy) {
    Rename(News_desk::kSport, "caf\xE9", "");
    const std::string before = saved(manager);
    source = manager.m_io.get();
    KcConverter converter{"UTF-8", "ISO-8859-1", 0};
    KcConverter unknown{"UTF-8", "no charset", 0};

    EXPECT_TRUE(raises<qtXbase>([&] { Copy(&converter); }, 0, "Cannot convert text: caf\xE9",
                                std::vector<qtString>{"caf\xE9", "UTF-8", "ISO-8859-1"}));
    EXPECT_EQ(manager.m_io.get(), source);
    EXPECT_QTX(zeManager().Read(file.path(), nullptr, nullptr), Hpack, 1, "Cannot read index");
    EXPECT_TRUE(raises<qtXbase>([&] { Copy(&unknown); }, 0,
                                "Cannot convert from charset UTF-8 to no charset",
                                std::vector<qtString>{"UTF-8", "no charset"}));

    EXPECT_EQ(manager.m_io.get(), source);
    ExpectUntouched(before);
}

// Failing disks, and progress.

TEST_F(zeIOCopyTest, FailedCopyLeavesTheManagerWithItsOwnFile) {
    Fake_disk disk;
    const std::string before = saved(manager);
    source = manager.m_io.get();
    std::size_t failures = 0;
    for (std::size_t call = 0;; ++call) {
        SCOPED_TRACE(call);
        disk.fail_at(call, Fake_disk::Fault::kNoSpace, true);
        bool is_done = false;
        try {
            manager.m_io->CopyKC("fake/kc", &mode, nullptr, nullptr);
            is_done = true;
        } catch (const qtX<HioErr>&) {
            ++failures;
        }
        EXPECT_EQ(disk.open_files, 0);
        disk.heal();
        EXPECT_EQ(manager.m_io.get(), source);
        if (is_done) {
            EXPECT_TRUE(same_bytes(disk.files.at("fake/kc"), before));
            break;
        }
        EXPECT_THROW(zeManager().Read("fake/kc", nullptr, nullptr), qtxAll);
    }
    EXPECT_GT(failures, 2U);
    ExpectUntouched(before);
}

// During the copy the manager's file object is the copy's, since the classifiers write through it.
TEST_F(zeIOCopyTest, ManagerUsesTheCopysFileOnlyDuringTheCopy) {
    int steps_elsewhere = 0;
    Watching_progress progress(Watching_progress::Moment::kStep,
                               [&] { steps_elsewhere += manager.m_io.get() != source ? 1 : 0; });

    Copy(nullptr, &progress);

    EXPECT_EQ(steps_elsewhere, 5);
    EXPECT_EQ(manager.m_io.get(), source);
}

}  // namespace
