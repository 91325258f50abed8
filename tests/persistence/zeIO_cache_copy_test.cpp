// Copies between the forms of a container: plain to cached, cached to plain, cached to cached.
#include "zandrel/persistence/zeIO.h"

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/persistence/Kc_seal.h"

#include "tests/support/cached_kc.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/kc_v1.h"
#include "tests/support/progress_log.h"
#include "tests/support/trained_tree.h"

namespace {

using testing::ElementsAre;

// A container that is open in cached form, and the name of a copy.
class zeIOCacheCopyTest : public testing::Test {
protected:
    zeIOCacheCopyTest() : source(kc.manager.m_io.get()) {}

    ~zeIOCacheCopyTest() override { std::remove(copy.c_str()); }

    void Copy(KcIoMode mode, CTProgress* progress = nullptr) {
        kc.manager.m_io->CopyKC(copy, &mode, nullptr, progress);
    }

    void Copy(const qtString& name, KcIoMode mode) {
        kc.manager.m_io->CopyKC(name, &mode, nullptr, nullptr);
    }

    Desk_answers AnswersOfCopy() {
        zeManager manager;
        KcIoMode mode;
        manager.Read(copy, &mode, nullptr);
        return News_desk(manager).Answers();
    }

    std::string BytesOf(const qtString& name) {
        std::ifstream file(name.c_str(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    // Changes the rule of home, which marks the classifier of press and the manager as changed.
    void ChangeRule() {
        zeLogicalNode node = kc.desk.Node(News_desk::kHome);
        node.rule = "$office(?)";
        kc.manager.m_logical_tree->ChangeLogicalNode(node);
    }

    Stopped_clock clock;
    Cached_desk kc{2};
    qtString copy = kc.file.path() + ".copy";
    zeIO* source;
};

TEST_F(zeIOCacheCopyTest, PlainCopyHasTheBytesOfThePlainForm) {
    kc.desk.Learn();
    kc.built.desk.Learn();

    Copy(direct());

    EXPECT_TRUE(same_bytes(BytesOf(copy), saved(kc.built.manager)));
    EXPECT_EQ(kc.manager.m_io.get(), source);
    EXPECT_EQ(kc.manager.ReadOnDemand(), 2U);
    EXPECT_EQ(kc.desk.Answers(), kc.built.desk.Answers());
}

TEST_F(zeIOCacheCopyTest, CachedCopyHasTheSameContent) {
    kc.desk.Learn();
    kc.built.desk.Learn();
    KcIoMode mode;  // AUTO_IO

    kc.manager.m_io->CopyKC(copy, &mode, nullptr, nullptr);

    EXPECT_EQ(mode.io_mode, KcIoMode::CACHED_IO);
    EXPECT_TRUE(mode.create);
    EXPECT_FALSE(mode.read_only);
    EXPECT_EQ(kc.manager.m_io->CacheFile(), kc.file.path());
    EXPECT_EQ(AnswersOfCopy(), kc.built.desk.Answers());
    zeManager manager;
    read_cached(manager, copy, 1, true);
    EXPECT_TRUE(same_bytes(saved_plain(manager), saved(kc.built.manager)));
}

TEST_F(zeIOCacheCopyTest, CopyOfASubtreeHasTheBytesOfThePlainForm) {
    KcIoMode mode = direct();
    mode.root = &kc.desk.Node(News_desk::kPress);

    Copy(mode);

    EXPECT_TRUE(same_bytes(BytesOf(copy), saved_below(kc.built.manager, News_desk::kPress)));
}

TEST_F(zeIOCacheCopyTest, CompactCopyHasTheBytesOfThePlainForm) {
    KcIoMode mode = direct();
    mode.compact = true;

    Copy(mode);

    EXPECT_TRUE(same_bytes(BytesOf(copy), saved_compact(kc.built.manager)));
    EXPECT_FALSE(kc.manager.m_io->m_compact);
}

// A compact container remains compact in each copy, without being asked. Only the flag of the
// cached form shows it; a plain file is recognised by its content.
TEST_F(zeIOCacheCopyTest, CopyOfACompactContainerIsCompact) {
    KcIoMode compact = cached(2);
    compact.compact = true;
    kc.built.manager.Write(kc.file.path() + ".source", &compact, nullptr);
    const qtString source_file = kc.file.path() + ".source";
    zeManager plain;
    read_kc(plain, saved_compact(kc.built.manager));
    zeManager open_in_cached_form;
    read_cached(open_in_cached_form, source_file, 2);
    for (zeManager* const manager : {&plain, &open_in_cached_form}) {
        EXPECT_TRUE(manager->m_compact);
        for (KcIoMode mode : {direct(), cached(2)}) {
            SCOPED_TRACE(mode.io_mode);
            const bool is_cached = mode.io_mode == KcIoMode::CACHED_IO;
            manager->Write(copy, &mode, nullptr);

            KcIoMode read;
            zeManager copied;
            copied.Read(copy, &read, nullptr);
            EXPECT_TRUE(copied.m_compact);
            EXPECT_EQ(read.compact_read, is_cached);
            EXPECT_QTX_ARGS(News_desk(copied).Learn(), zeWorkflow, 3,
                            "Operation cannot be performed on compact KB", {});
            EXPECT_EQ(News_desk(copied).Answers(), kc.built.desk.Answers());
        }
        EXPECT_TRUE(manager->m_compact);
    }
    std::remove(source_file.c_str());
}

// Its changes are in the copy, and remain to be written to its own file.
TEST_F(zeIOCacheCopyTest, MarksOfChangesAreKept) {
    for (const KcIoMode& mode : {direct(), cached(2)}) {
        ChangeRule();
        zeClassifier* const press = kc.fetch(News_desk::kPress);

        Copy(mode);

        EXPECT_TRUE(press->m_dirty);
        EXPECT_TRUE(kc.manager.m_modified);
        zeManager copied;
        read_cached(copied, kc.file.path(), 2, true);
        EXPECT_NE(News_desk(copied).Node(News_desk::kHome).rule, qtString("$office(?)"));
        zeManager read;
        read.Read(copy, nullptr, nullptr);
        EXPECT_EQ(News_desk(read).Node(News_desk::kHome).rule, qtString("$office(?)"));
    }
}

// The rules of press are not below home. If they were written at the end, the copy would have an
// item that nothing in it refers to.
TEST_F(zeIOCacheCopyTest, CachedCopyOfASubtreeHasOnlyItsOwnItems) {
    ChangeRule();
    KcIoMode mode = cached(2);
    mode.root = &kc.desk.Node(News_desk::kHome);

    Copy(mode);

    std::vector<qtString> keys;
    Cached_file(copy).pack.GetIndex(keys);
    EXPECT_THAT(keys,
                ElementsAre(qtString(object_key(4)), qtString(object_key(5)), kManagerRecord));
}

TEST_F(zeIOCacheCopyTest, TextsAreConverted) {
    KcConverter converter{"UTF-8", "UTF-8", 0};
    KcIoMode mode = cached(2);

    kc.manager.m_io->CopyKC(copy, &mode, &converter, nullptr);

    EXPECT_GT(converter.count, 0U);
    EXPECT_EQ(AnswersOfCopy(), kc.built.desk.Answers());
}

TEST_F(zeIOCacheCopyTest, ExistingFileIsReplaced) {
    for (const std::string& content :
         {std::string("a text"), saved(kc.built.manager), kc.file.content()}) {
        std::ofstream(copy.c_str(), std::ios::binary) << content;

        Copy(cached(2));

        EXPECT_EQ(AnswersOfCopy(), kc.built.desk.Answers());
    }
}

TEST_F(zeIOCacheCopyTest, FileOfASymbolicLinkIsReplaced) {
    const std::string link = copy.str() + ".link";
    std::ofstream(copy.c_str()) << "a text";
    std::filesystem::create_symlink(copy.str(), link);
    KcIoMode mode = cached(2);

    kc.manager.m_io->CopyKC(qtString(link), &mode, nullptr, nullptr);

    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(AnswersOfCopy(), kc.built.desk.Answers());
    std::filesystem::remove(link);
}

TEST_F(zeIOCacheCopyTest, OpenFileIsRefusedUnderEachOfItsNames) {
    const std::string before = kc.file.content();
    ChangeRule();
    const std::string link = copy.str() + ".link";
    std::filesystem::create_symlink(kc.file.path().str(), link);
    std::filesystem::create_hard_link(kc.file.path().str(), copy.str());
    for (const qtString& name : {kc.file.path(), copy, qtString(link)}) {
        SCOPED_TRACE(name.str());
        for (KcIoMode mode : {direct(), cached(2)}) {
            EXPECT_QTX_ARGS(kc.manager.m_io->CopyKC(name, &mode, nullptr, nullptr), zeIO, 13,
                            "File is the open container: " + name.str(), {name});
            EXPECT_QTX_ARGS(kc.manager.m_io->DumpKC(name, &mode, nullptr), zeIO, 13,
                            "File is the open container: " + name.str(), {name});
        }
    }
    EXPECT_TRUE(same_bytes(kc.file.content(), before));
    EXPECT_EQ(kc.manager.m_io.get(), source);
    std::filesystem::remove(link);
}

TEST_F(zeIOCacheCopyTest, NodeWithoutAClassifierIsRefusedBeforeTheFileIsTouched) {
    std::ofstream(copy.c_str()) << "as it was";
    for (KcIoMode mode : {direct(), cached(2)}) {
        mode.root = &kc.desk.Node(News_desk::kSport);
        EXPECT_QTX_ARGS(kc.manager.m_io->CopyKC(copy, &mode, nullptr, nullptr), zeIO, 4,
                        "Logical node is not a Classifier", {"sport"});
        EXPECT_QTX_ARGS(kc.manager.m_io->DumpKC(copy, &mode, nullptr), zeIO, 3,
                        "Logical node is not a Classifier", {"sport"});
        EXPECT_QTX_ARGS(kc.built.manager.Write(copy, &mode, nullptr), zeIO,
                        mode.io_mode == KcIoMode::CACHED_IO ? 4 : 3,
                        "Logical node is not a Classifier", {"sport"});
    }
    EXPECT_EQ(BytesOf(copy), "as it was");
}

// The open file is known by its inode, so also after it was renamed.
TEST_F(zeIOCacheCopyTest, OpenFileIsRefusedUnderItsNewName) {
    std::filesystem::rename(kc.file.path().str(), copy.str());
    const std::string before = BytesOf(copy);
    for (KcIoMode mode : {direct(), cached(2)}) {
        EXPECT_QTX_ARGS(kc.manager.m_io->CopyKC(copy, &mode, nullptr, nullptr), zeIO, 13,
                        "File is the open container: " + copy.str(), {copy});
    }
    EXPECT_QTX_ARGS(kc.manager.m_io->SetUnicodeFlag(copy, true), zeIO, 13,
                    "File is the open container: " + copy.str(), {copy});
    EXPECT_TRUE(same_bytes(BytesOf(copy), before));
    EXPECT_EQ(kc.desk.Answers(), kc.built.desk.Answers());

    // The old name is free.
    KcIoMode mode = direct();
    kc.manager.m_io->CopyKC(kc.file.path(), &mode, nullptr, nullptr);
    EXPECT_TRUE(same_bytes(kc.file.content(), saved(kc.built.manager)));
}

TEST_F(zeIOCacheCopyTest, FileOpenedByARelativeNameIsRefusedInAnotherFolder) {
    const std::filesystem::path path = kc.file.path().str();
    const std::filesystem::path folder_before = std::filesystem::current_path();
    const std::string before = kc.file.content();
    std::filesystem::current_path(path.parent_path());
    read_cached(kc.manager, qtString(path.filename().string()), 2);
    std::filesystem::current_path("/");

    EXPECT_QTX_ARGS(Copy(kc.file.path(), direct()), zeIO, 13,
                    "File is the open container: " + path.string(), {kc.file.path()});
    EXPECT_QTX_ARGS(Copy(kc.file.path(), cached(2)), zeIO, 13,
                    "File is the open container: " + path.string(), {kc.file.path()});

    std::filesystem::current_path(folder_before);
    EXPECT_TRUE(same_bytes(kc.file.content(), before));
}

// The category of a classifier that is not in memory is found to be lost when the copy reaches it.
TEST_F(zeIOCacheCopyTest, LostCategoryIsRefused) {
    Copy(direct());
    zeNode* const sport = kc.node(News_desk::kSport);
    const unsigned int id = sport->m_node_id;
    kc.fetch(News_desk::kHome);
    kc.fetch(News_desk::kDesk);
    sport->m_node_id = 0;

    EXPECT_QTX(Copy(direct()), zeManager, 4, "Knowledge tree is damaged");

    sport->m_node_id = id;
}

TEST_F(zeIOCacheCopyTest, StepsAreReported) {
    Progress_log to_plain;
    Progress_log to_cached;

    Copy(direct(), &to_plain);
    Copy(cached(2), &to_cached);

    EXPECT_THAT(to_plain.lines,
                ElementsAre("total 5", "+1", "+1", "+1", "+1", "+1", "next phase, completed"));
    EXPECT_THAT(to_cached.lines, ElementsAre("total 5", "+1", "+1", "+1", "+1", "+1", "total 1",
                                             "next phase, completed"));
}

// A dump also asks before the first classifier, as in plain form.
TEST_F(zeIOCacheCopyTest, DumpAsksForAnInterruptionBeforeTheFirstClassifier) {
    Progress_log of_copy;
    Progress_log of_dump;
    KcIoMode mode = direct();

    Copy(mode, &of_copy);
    kc.manager.m_io->DumpKC(copy, &mode, &of_dump);

    EXPECT_EQ(of_copy.polls, 4);
    EXPECT_EQ(of_dump.polls, 5);
    Progress_log interrupted(1);
    EXPECT_QTX_ARGS(kc.manager.m_io->DumpKC(copy, &mode, &interrupted), zeWorkflow, 2,
                    "Process interrupted", {});
    EXPECT_THAT(interrupted.lines, ElementsAre("total 5"));
}

TEST_F(zeIOCacheCopyTest, InterruptedCopyLeavesNoContainerAndTheManagerAsItWas) {
    ChangeRule();
    for (const KcIoMode& mode : {direct(), cached(2)}) {
        for (int poll = 1;; ++poll) {
            SCOPED_TRACE(poll);
            Progress_log progress(poll);
            try {
                Copy(mode, &progress);
                EXPECT_EQ(poll, mode.io_mode == KcIoMode::CACHED_IO ? 6 : 5);
                break;
            } catch (const qtX<zeWorkflow>& error) {
                EXPECT_EQ(error.number(), 2);
            }
            EXPECT_EQ(kc.manager.m_io.get(), source);
            EXPECT_EQ(kc.manager.m_io.use_count(), 1U);
            EXPECT_TRUE(kc.manager.m_modified);
            EXPECT_TRUE(kc.fetch(News_desk::kPress)->m_dirty);
            EXPECT_THROW(zeManager().Read(copy, nullptr, nullptr), qtxAll);
        }
    }
}

// The calls of zeManager.

TEST_F(zeIOCacheCopyTest, WriteUnderTheSameNameIsAFlush) {
    kc.desk.Learn();
    kc.built.desk.Learn();
    for (const KcIoMode::Form form :
         {KcIoMode::AUTO_IO, KcIoMode::CACHED_IO, static_cast<KcIoMode::Form>(99)}) {
        KcIoMode mode;
        mode.io_mode = form;

        kc.manager.Write(kc.file.path(), &mode, nullptr);

        EXPECT_EQ(kc.manager.m_io.get(), source);
    }
    zeManager again;
    read_cached(again, kc.file.path(), 2, true);
    EXPECT_EQ(News_desk(again).Answers(), kc.built.desk.Answers());
}

TEST_F(zeIOCacheCopyTest, PlainWriteUnderTheSameNameIsRefused) {
    kc.desk.Learn();
    const std::string before = kc.file.content();
    KcIoMode mode = direct();

    EXPECT_QTX_ARGS(kc.manager.Write(kc.file.path(), &mode, nullptr), zeManager, 2,
                    "To remove Cache Format, save the KC under a new name", {});

    EXPECT_TRUE(same_bytes(kc.file.content(), before));
}

TEST_F(zeIOCacheCopyTest, WriteUnderAnotherNameIsACopy) {
    for (const KcIoMode::Form form :
         {KcIoMode::DIRECT_IO, KcIoMode::AUTO_IO, KcIoMode::CACHED_IO}) {
        KcIoMode mode;
        mode.io_mode = form;

        kc.manager.Write(copy, &mode, nullptr);

        EXPECT_EQ(mode.io_mode, form == KcIoMode::DIRECT_IO ? form : KcIoMode::CACHED_IO);
        EXPECT_EQ(kc.manager.m_io.get(), source);
        EXPECT_EQ(AnswersOfCopy(), kc.built.desk.Answers());
    }
}

TEST_F(zeIOCacheCopyTest, WriteToABufferIsRefused) {
    qtPtr<qtBuffer> buffer;
    KcIoMode mode;

    EXPECT_QTX_ARGS(kc.manager.Write(buffer, &mode, nullptr), zeManager, 3,
                    "You may not copy a Cached KC to a buffer", {});
    EXPECT_QTX_ARGS(kc.manager.Write(buffer, nullptr, nullptr), zeManager, 3,
                    "You may not copy a Cached KC to a buffer", {});
    EXPECT_QTX_ARGS(kc.manager.m_io->DumpKC(buffer, &mode, nullptr), zeManager, 3,
                    "You may not copy a Cached KC to a buffer", {});

    EXPECT_TRUE(buffer.IsNull());
    EXPECT_EQ(kc.manager.m_io.get(), source);
    EXPECT_EQ(kc.desk.Answers(), kc.built.desk.Answers());
}

TEST_F(zeIOCacheCopyTest, WriteOfAPlainContainerInCachedFormLeavesItInMemory) {
    KcIoMode mode = cached(2);

    kc.built.manager.Write(copy, &mode, nullptr);

    EXPECT_EQ(mode.io_mode, KcIoMode::CACHED_IO);
    EXPECT_EQ(kc.built.manager.ReadOnDemand(), 0U);
    EXPECT_TRUE(Cached_file(copy).is_clean());
    EXPECT_EQ(AnswersOfCopy(), kc.built.desk.Answers());
}

// Dumps into an existing file.

TEST_F(zeIOCacheCopyTest, DumpIntoAnExistingFileReplacesTheItems) {
    Copy(cached(2));
    Cached_file(copy, false).put(zandrel::Kc_seal::kKey, "old seal");
    kc.desk.Learn();
    kc.built.desk.Learn();
    KcIoMode mode = cached(2);
    mode.create = false;
    mode.compact = true;

    kc.manager.m_io->DumpKC(copy, &mode, nullptr);

    EXPECT_FALSE(Cached_file(copy).pack.Exists(zandrel::Kc_seal::kKey));
    EXPECT_EQ(Cached_file(copy).flags(), 0x08);
    EXPECT_EQ(AnswersOfCopy(), kc.built.desk.Answers());
}

// The file was marked by a process that ended in the middle of a change.
TEST_F(zeIOCacheCopyTest, DumpIntoAFileWithTheStateBitIsRefused) {
    Copy(cached(2));
    Cached_file(copy, false).pack.SetState(CachePack::kStaleIndex);
    const std::string before = BytesOf(copy);
    KcIoMode mode = cached(2);
    mode.create = false;

    EXPECT_QTX_ARGS(kc.manager.m_io->DumpKC(copy, &mode, nullptr), zeIO, 8,
                    "KB index is not synchronized (Run RebuildIndex Utility)", {});

    EXPECT_TRUE(same_bytes(BytesOf(copy), before));
}

TEST_F(zeIOCacheCopyTest, DumpWithACacheSizeOfZeroLeavesTheFile) {
    std::ofstream(copy.c_str()) << "as it was";
    for (const bool create : {false, true}) {
        KcIoMode mode = cached(0);
        mode.create = create;

        EXPECT_QTX_ARGS(kc.manager.m_io->DumpKC(copy, &mode, nullptr), zeIO, 0,
                        "Invalid Cache Size", {});

        EXPECT_EQ(BytesOf(copy), "as it was");
    }
}

TEST_F(zeIOCacheCopyTest, DumpIntoAFileOfVersionOneUpgradesItFirst) {
    for (const bool is_compact : {false, true}) {
        SCOPED_TRACE(is_compact);
        Kc_items items = empty_kc_v1();
        items.flags = is_compact ? 0x88 : 0x80;
        std::ofstream(copy.c_str(), std::ios::binary) << cached_v1(items);
        KcIoMode mode = cached(2);
        mode.create = false;

        kc.manager.m_io->DumpKC(copy, &mode, nullptr);

        EXPECT_EQ(mode.version, 1) << "the version that was found";
        EXPECT_EQ(mode.compact_read, is_compact);
        EXPECT_TRUE(mode.unicode);
        EXPECT_EQ(kc.manager.m_version, 2);
        EXPECT_TRUE(Cached_file(copy).is_clean());
        EXPECT_EQ(Cached_file(copy).flags(), 0x80);
        EXPECT_EQ(Cached_file(copy).pack.file_version, 2);
        EXPECT_EQ(AnswersOfCopy(), kc.built.desk.Answers());
    }
}

TEST_F(zeIOCacheCopyTest, DumpIntoAMissingFileIsRefused) {
    KcIoMode mode = cached(2);
    mode.create = false;

    EXPECT_QTX_ARGS(kc.manager.m_io->DumpKC(copy, &mode, nullptr), AbstractHreclaim,
                    AbstractHreclaim::kMissingFile, "File does not exist: " + copy.str(), {copy});
}

}  // namespace
