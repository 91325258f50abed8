// Files that zeIO refuses, and the state in memory afterwards.
#include "zandrel/persistence/zeIO.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/storage/AbstractHreclaim.h"
#include "zandrel/storage/HioErr.h"

#include "tests/support/expect_qtx.h"
#include "tests/support/kc_file.h"
#include "tests/support/logical_tree.h"
#include "tests/support/news_desk.h"
#include "tests/support/scratch_file.h"

namespace {

class Saved_container : public testing::Test {
protected:
    Trained_desk kc;
    std::string file = saved(kc.manager);
    zeManager loaded;
};

// Refused files.

// A file that is refused leaves the container in memory unchanged.
class zeIORefusedTest : public Saved_container {
protected:
    void ExpectRefused(const std::string& bytes, int number, const char* text,
                       const std::vector<qtString>& arguments) {
        const Scratch_file on_disk(bytes);
        kc.manager.m_modified = true;
        const std::string before = content_of(kc.manager);
        kc.manager.m_version = 1;

        const auto from_buffer = [&] { read_kc(kc.manager, bytes); };
        const auto from_file = [&] { kc.manager.Read(on_disk.path(), nullptr, nullptr); };

        EXPECT_TRUE(raises<qtX<zeIO>>(from_buffer, number, text, arguments));
        EXPECT_TRUE(raises<qtX<zeIO>>(from_file, number, text, arguments));
        EXPECT_EQ(content_of(kc.manager), before);
        EXPECT_TRUE(kc.manager.m_modified);
        EXPECT_EQ(kc.manager.m_version, 1);
    }

    void ExpectRefused(const Kc_items& items, int number, const char* text,
                       const std::vector<qtString>& arguments) {
        ExpectRefused(items.file(), number, text, arguments);
    }
};

// A file that does not begin as a package can only be a container in cached form, so the error is
// that of a record file.
TEST_F(zeIORefusedTest, FileThatIsNoPackageIsRefused) {
    for (const char* bytes : {"", "x", "a text that is longer than any header is"}) {
        SCOPED_TRACE(bytes);
        const Scratch_file on_disk(bytes);
        const Unchanged unchanged(kc.manager);
        KcIoMode plain;
        plain.io_mode = KcIoMode::DIRECT_IO;

        EXPECT_QTX_ARGS(read_kc(kc.manager, bytes), zeIO, 1, "Not a kc file", {});
        EXPECT_QTX_ARGS(kc.manager.Read(on_disk.path(), &plain, nullptr), zeIO, 1, "Not a kc file",
                        {});
        if (std::string_view(bytes).size() < 4) {
            EXPECT_QTX_ARGS(kc.manager.Read(on_disk.path(), nullptr, nullptr), HioErr,
                            HioErr::kReadFailed, "Read error in file " + on_disk.path().str(),
                            {on_disk.path()});
        } else {
            EXPECT_QTX_ARGS(kc.manager.Read(on_disk.path(), nullptr, nullptr), AbstractHreclaim,
                            AbstractHreclaim::kWrongFormat,
                            "Input file is not in expected format: " + on_disk.path().str(),
                            {on_disk.path()});
        }
    }
}

TEST_F(zeIORefusedTest, EmptyBufferIsRefused) {
    const Unchanged unchanged(kc.manager);
    qtPtr<qtBuffer> none;

    EXPECT_QTX_ARGS(kc.manager.Read(none, nullptr, nullptr), zeIO, 1, "Not a kc file", {});
}

TEST_F(zeIORefusedTest, PackageOfAnotherOwnerIsRefused) {
    Kc_items items(file);
    items.id = 0x278F9D41;

    ExpectRefused(items, 1, "Not a kc file", {});
}

TEST_F(zeIORefusedTest, OtherVersionsAreRefused) {
    Kc_items items(file);
    for (const unsigned int version : {0U, 3U, 256U, 65535U}) {
        SCOPED_TRACE(version);
        items.version = static_cast<unsigned short>(version);

        ExpectRefused(items, 2, "Invalid version in kc file", {qtString(std::to_string(version))});
    }
}

TEST_F(zeIORefusedTest, ErrorOfAMissingFileIsPassedOn) {
    const Scratch_file none;
    const Unchanged unchanged(kc.manager);
    KcIoMode mode;
    mode.io_mode = KcIoMode::DIRECT_IO;
    EXPECT_QTX_ARGS(kc.manager.Read(none.path(), &mode, nullptr), HioErr, HioErr::kOpenFailed,
                    "Cannot open file: " + none.path().str(), {none.path()});
    EXPECT_EQ(mode.io_mode, KcIoMode::DIRECT_IO);
    for (const KcIoMode::Form form : {KcIoMode::AUTO_IO, KcIoMode::CACHED_IO}) {
        mode.io_mode = form;
        EXPECT_QTX_ARGS(kc.manager.Read(none.path(), &mode, nullptr), AbstractHreclaim,
                        AbstractHreclaim::kMissingFile, "File does not exist: " + none.path().str(),
                        {none.path()});
        EXPECT_EQ(mode.io_mode, form);
    }
}

// The error of the package is more exact than that of the cached attempt.
TEST_F(zeIORefusedTest, ErrorOfAFileThatBeginsAsAPackageIsThatOfThePackage) {
    Kc_items items(file);
    items.id = 7;
    const Scratch_file other(items.file());
    EXPECT_QTX_ARGS(kc.manager.Read(other.path(), nullptr, nullptr), zeIO, 1, "Not a kc file", {});

    other.write(file.substr(0, file.size() - 1));
    EXPECT_QTX_ARGS(kc.manager.Read(other.path(), nullptr, nullptr), Hpack, 1, "Cannot read index",
                    {other.path()});
}

TEST_F(zeIORefusedTest, ErrorOfAPackageThatWasNeverClosedIsPassedOn) {
    Hpack pack;
    qtPtr<qtBuffer> buffer;
    pack.Open(buffer, 'w');
    pack.SetFileID(Kc_items::kFileId, 2, 0);
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(kc.manager.Read(buffer, nullptr, nullptr), Hpack, 1, "Cannot read index",
                    {"qtBuffer"});
}

TEST_F(zeIORefusedTest, EarlierFileObjectIsReplacedEvenIfTheReadFails) {
    read_kc(loaded, file);
    qtPtrLight<zeIO> earlier = loaded.m_io;

    EXPECT_QTX(read_kc(loaded, "none"), zeIO, 1, "Not a kc file");

    EXPECT_NE(loaded.m_io, earlier);
    EXPECT_EQ(earlier.use_count(), 1U);
    EXPECT_FALSE(loaded.m_io.IsNull());
}

// Broken containers.

// If reading fails after the header, the manager is empty and can be used again.
class zeIOBrokenTest : public Saved_container {
protected:
    void ExpectEmptied() {
        EXPECT_TRUE(is_empty(kc.manager));
        EXPECT_TRUE(kc.manager.m_io.IsNull());
        kc.desk.Build();
        kc.desk.Train();
        EXPECT_EQ(kc.desk.Best("goal", {"home"}), "sport");
        zeManager again;
        read_kc(again, saved(kc.manager));
        EXPECT_EQ(content_of(again), content_of(kc.manager));
    }

    Kc_items items{file};
};

TEST_F(zeIOBrokenTest, MissingManagersRecordIsReported) {
    items.records.erase(kManagerRecord);

    EXPECT_QTX_ARGS(read_kc(kc.manager, items.file()), Hpack, 2,
                    "Missing key in index: __Manager__", {"qtBuffer", "__Manager__"});

    ExpectEmptied();
}

TEST_F(zeIOBrokenTest, MissingObjectIsReported) {
    for (const unsigned int id : {1U, 2U, 3U, 6U}) {
        SCOPED_TRACE(id);
        Kc_items without = items;
        without.records.erase(object_key(id));
        const std::string key = object_key(id);

        EXPECT_QTX_ARGS(read_kc(kc.manager, without.file()), Hpack, 2,
                        "Missing key in index: " + key, {"qtBuffer", qtString(key)});

        ExpectEmptied();
    }
}

TEST_F(zeIOBrokenTest, UnknownTypeIsReported) {
    for (const unsigned int type : {0U, 4U, 4000000000U}) {
        SCOPED_TRACE(type);
        items.object(3).replace(0, 4, object_key(type));

        EXPECT_QTX_ARGS(read_kc(kc.manager, items.file()), zeIO, 7, "Unknown Classifier object",
                        {qtString(std::to_string(type))});

        ExpectEmptied();
    }
}

// 0 is no id, 1 is in use, 8 was never given, and 5 is the id of another key.
TEST_F(zeIOBrokenTest, ImpossibleObjectIdIsReported) {
    for (const unsigned int id : {0U, 1U, 8U, 5U}) {
        SCOPED_TRACE(id);
        items.object(3).replace(4, 4, object_key(id));

        EXPECT_QTX_ARGS(read_kc(kc.manager, items.file()), zeIO, 10, "Invalid object id in kc file",
                        {qtString(std::to_string(id))});

        ExpectEmptied();
    }
}

// 0 is no node, 99 does not exist, 2 is a leaf, and 4 is the node of another classifier.
TEST_F(zeIOBrokenTest, ClassifierThatIsNotAtItsNodeIsReported) {
    for (const unsigned int node : {0U, 99U, 2U, 4U}) {
        SCOPED_TRACE(node);
        items.object(3).replace(8, 4, object_key(node));
        items.object(3).resize(12);
        items.object(3) += std::string(8, '\0');  // no default and no rules

        EXPECT_QTX_ARGS(read_kc(kc.manager, items.file()), zeIO, 11,
                        "Classifier without its node in kc file", {"3"});

        ExpectEmptied();
    }
}

TEST_F(zeIOBrokenTest, StorageAtANodeIsRefusedAsAClassifier) {
    items.object(3) = items.object(1);
    items.object(3).replace(4, 4, object_key(3));

    EXPECT_QTX_ARGS(read_kc(kc.manager, items.file()), zeIO, 11,
                    "Classifier without its node in kc file", {"3"});

    ExpectEmptied();
}

// A child without a record of its own becomes an empty entry of the tree. No rule can refer to it.
TEST_F(zeIOBrokenTest, CategoryWithoutARecordIsRefused) {
    zeNode* const press = kc.desk.Node(News_desk::kPress).physical_node;
    press->m_children.push_back(
        &kc.manager.m_physical_tree->m_nodes.emplace(50, Concept()).first->second);
    press->m_children.back()->m_node_id = 50;
    items = Kc_items(saved(kc.manager));
    std::string& record = items.manager();
    const std::string own_record =
        std::string(4, '\0') + std::string(2, '\0') + std::string(4, '\0') + object_key(50);
    ASSERT_NE(record.find(own_record), std::string::npos);
    record.replace(record.find(own_record) + 10, 4, object_key(51));
    items.object(3).replace(12, 4, std::string(4, '\0'));
    items.object(3).replace(20, 4, object_key(50));

    EXPECT_ASSERTS(read_kc(kc.manager, items.file()), "cat");

    ExpectEmptied();
}

// A rule classifier takes the place of the storage, but it has no statistics.
TEST_F(zeIOBrokenTest, MatcherWithoutItsStorageIsRefused) {
    const std::string no_rules(8, '\0');
    items.object(6) = object_key(ZE_RULE) + object_key(6) + object_key(7) + no_rules;

    EXPECT_ASSERTS(read_kc(kc.manager, items.file()), "m_storage");

    ExpectEmptied();
}

// Each matcher names the next as its storage. Following a long chain recursively would overflow the
// stack.
TEST_F(zeIOBrokenTest, ChainOfMatchersIsRefusedAtItsFirstLink) {
    constexpr unsigned int kLinks = 100000;
    const std::string last_id = object_key(7) + object_key(1);  // followed by the root's node
    const std::size_t place = items.manager().rfind(last_id);
    ASSERT_EQ(place, items.manager().size() - 8);
    items.manager().replace(place, 4, object_key(kLinks + 8));
    const std::string no_entries(4, '\0');
    for (unsigned int id = 8; id < 8 + kLinks; ++id) {
        items.records[object_key(id)] =
            object_key(ZE_STAT) + object_key(id) + object_key(1) + no_entries + object_key(id + 1);
    }
    items.object(2) =
        object_key(ZE_STAT) + object_key(2) + object_key(1) + no_entries + object_key(8);

    EXPECT_QTX_ARGS(read_kc(kc.manager, items.file()), zeIO, 11,
                    "Classifier without its node in kc file", {"8"});

    ExpectEmptied();
}

TEST_F(zeIOBrokenTest, SettingsFromBeforeAreKept) {
    kc.manager.m_defaults.clip_value = 7.0;
    kc.manager.m_config.kc_id = 77;
    zeManager other;
    read_kc(other, file);
    other.m_config.kc_id = 5;
    Kc_items compact(saved_compact(other));
    compact.records.erase(object_key(3));

    EXPECT_THROW(read_kc(kc.manager, compact.file()), qtX<Hpack>);

    EXPECT_EQ(kc.manager.m_defaults.clip_value, 7.0);
    EXPECT_EQ(kc.manager.m_config.kc_id, 77U);
    EXPECT_FALSE(kc.manager.m_compact);
    ExpectEmptied();
}

}  // namespace
