// Operations of zeIO other than reading and writing whole containers: the file's flags, single
// objects and texts.
#include "zandrel/persistence/zeIO.h"

#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/storage/AbstractHreclaim.h"
#include "zandrel/storage/HioErr.h"

#include "tests/support/expect_qtx.h"
#include "tests/support/fake_disk.h"
#include "tests/support/kc_file.h"
#include "tests/support/logical_tree.h"
#include "tests/support/news_desk.h"
#include "tests/support/scratch_file.h"

namespace {

TEST(zeIOTest, NewObjectHasNoFile) {
    zeManager manager;
    const zeIO io(&manager);

    EXPECT_EQ(io.m_manager, &manager);
    EXPECT_EQ(io.m_io_mode, 0U);
    EXPECT_EQ(io.m_version, 0U);
    EXPECT_FALSE(io.m_compact);
    EXPECT_FALSE(io.m_compact_read);
    EXPECT_FALSE(io.m_read_only);
    EXPECT_EQ(io.m_converter, nullptr);
    EXPECT_EQ(io.m_converter_context, nullptr);
    EXPECT_EQ(io.ReadOnDemand(), 0U);
}

TEST(zeIOTest, NewModeHasTheDefaults) {
    const KcIoMode mode;

    EXPECT_TRUE(mode.create);
    EXPECT_FALSE(mode.compact);
    EXPECT_EQ(mode.root, nullptr);
    EXPECT_EQ(mode.cache_size, 20U);
    EXPECT_TRUE(mode.read_only);
    EXPECT_EQ(mode.io_mode, KcIoMode::AUTO_IO);
    EXPECT_FALSE(mode.compact_read);
    EXPECT_FALSE(mode.unicode);
    EXPECT_EQ(mode.version, 0);
}

TEST(zeIOTest, FormsHaveTheirNumbers) {
    EXPECT_EQ(unsigned{KcIoMode::AUTO_IO}, 0U);
    EXPECT_EQ(unsigned{KcIoMode::DIRECT_IO}, 1U);
    EXPECT_EQ(unsigned{KcIoMode::CACHED_IO}, 2U);
    EXPECT_EQ(sizeof(KcIoMode::Form), 4U);
}

// The flag for Unicode.

class zeIOUnicodeTest : public testing::Test {
protected:
    void Hold(int version, int flags) {
        Kc_items items(saved(kc.manager));
        items.version = static_cast<unsigned short>(version);
        items.flags = static_cast<unsigned char>(flags);
        file.write(items.file());
    }

    // Sets the flag through a manager that does not have this container.
    void Set(bool flag) {
        zeManager other;
        zeIO(&other).SetUnicodeFlag(file.path(), flag);
    }

    Trained_desk kc;
    Scratch_file file;
};

TEST_F(zeIOUnicodeTest, FlagIsSetAndClearedAndTheRestIsKept) {
    for (const int compact : {0x00, 0x08}) {
        for (const int version : {1, 2}) {
            SCOPED_TRACE(testing::Message() << compact << ' ' << version);
            Hold(version, compact);
            const std::string without = file.content();

            Set(true);

            Kc_items items(file.content());
            EXPECT_EQ(items.flags, 0x80 | compact);
            EXPECT_EQ(items.version, version);
            EXPECT_EQ(items.id, Kc_items::kFileId);
            EXPECT_EQ(file.size(), without.size());

            Set(true);
            EXPECT_EQ(Kc_items(file.content()).flags, 0x80 | compact);
            Set(false);
            EXPECT_TRUE(same_bytes(file.content(), without));
        }
    }
}

TEST_F(zeIOUnicodeTest, UnknownFlagsAreNotKept) {
    Hold(2, 0x77);

    Set(true);

    EXPECT_EQ(Kc_items(file.content()).flags, 0x80);
}

TEST_F(zeIOUnicodeTest, MarkedFileIsReadAsBefore) {
    file.write(saved(kc.manager));
    Set(true);
    zeManager loaded;
    KcIoMode mode;

    loaded.Read(file.path(), &mode, nullptr);

    EXPECT_TRUE(mode.unicode);
    EXPECT_EQ(content_of(loaded), content_of(kc.manager));
}

TEST_F(zeIOUnicodeTest, ContainerInMemoryIsUnchanged) {
    file.write(saved(kc.manager));
    zeManager loaded;
    read_kc(loaded, saved(kc.manager));
    const Unchanged unchanged(loaded);

    loaded.m_io->SetUnicodeFlag(file.path(), true);

    EXPECT_TRUE(same_bytes(saved(loaded), saved(kc.manager)));
}

TEST_F(zeIOUnicodeTest, RefusedFilesAreUnchangedAndClosed) {
    zeManager manager;
    zeIO io(&manager);
    Kc_items other(saved(kc.manager));
    other.id = 7;

    const auto expect_unchanged = [this, &io](const std::string& bytes) {
        EXPECT_TRUE(same_bytes(file.content(), bytes));
        EXPECT_EQ(io.m_pack.GetIndexSize(), 0U);
    };
    file.write(other.file());
    EXPECT_QTX(io.SetUnicodeFlag(file.path(), true), zeIO, 1, "Not a kc file");
    expect_unchanged(other.file());
    const std::string none = "no file of a container";
    file.write(none);
    EXPECT_QTX(io.SetUnicodeFlag(file.path(), true), AbstractHreclaim,
               AbstractHreclaim::kWrongFormat,
               "Input file is not in expected format: " + file.path().str());
    expect_unchanged(none);
    Hold(3, 0);
    EXPECT_QTX_ARGS(io.SetUnicodeFlag(file.path(), true), zeIO, 2, "Invalid version in kc file",
                    {"3"});
    std::remove(file.path().c_str());
    EXPECT_QTX(io.SetUnicodeFlag(file.path(), true), AbstractHreclaim,
               AbstractHreclaim::kMissingFile, "File does not exist: " + file.path().str());
}

TEST_F(zeIOUnicodeTest, FileIsMarkedOrUnchangedIfACallOfTheDiskFails) {
    Fake_disk disk;
    zeManager manager;
    zeIO io(&manager);
    const std::string before = saved(kc.manager);
    std::size_t failures = 0;
    for (std::size_t call = 0;; ++call) {
        SCOPED_TRACE(call);
        disk.files["fake/kc"] = before;
        disk.fail_at(call, Fake_disk::Fault::kIoError, false);
        bool is_done = false;
        try {
            io.SetUnicodeFlag("fake/kc", true);
            is_done = true;
        } catch (const qtxAll&) {
            ++failures;
        }
        EXPECT_EQ(disk.open_files, 0);
        const bool has_failed = !disk.failed.empty();
        disk.heal();
        EXPECT_TRUE(is_done || has_failed);
        EXPECT_EQ(Kc_items(disk.files.at("fake/kc")).flags & 0x7F, 0);
        if (!has_failed) {
            EXPECT_EQ(Kc_items(disk.files.at("fake/kc")).flags, 0x80);
            break;
        }
    }
    EXPECT_GT(failures, 3U);
}

// Objects.

class zeIOObjectTest : public testing::Test {
protected:
    // Makes an object by the factory from a record, which begins with its type.
    zeBase* Make(const std::string& bytes, zeNode* node = nullptr) {
        SegBuf record = record_of(bytes);
        Hio<HSegment> io(new HSegment(record, 'r'));
        unsigned int type = 0;
        io >> type;
        return zeObjectFactory(type, io, &kc.manager, node);
    }

    static std::string switcher_record(unsigned int id, unsigned int node) {
        return object_key(ZE_RULE) + object_key(id) + object_key(node) + std::string(8, '\0');
    }

    Trained_desk kc;
};

TEST_F(zeIOObjectTest, FactoryMakesAnObjectWithTheIdOfItsRecord) {
    kc.manager.m_last_object_id = 20;

    const zeBase* const made = Make(switcher_record(15, 3));

    const auto* const switcher = dynamic_cast<const zeSwitcher*>(made);
    ASSERT_NE(switcher, nullptr);
    EXPECT_EQ(switcher->m_id, 15U);
    EXPECT_EQ(switcher->m_manager, &kc.manager);
    EXPECT_EQ(switcher->m_node, kc.desk.Node(News_desk::kPress).physical_node);
    EXPECT_FALSE(switcher->m_dirty);
    EXPECT_EQ(kc.manager.m_objects.at(15), made);
    EXPECT_EQ(kc.manager.m_last_object_id, 20U);
}

TEST_F(zeIOObjectTest, FactoryRefusesTypesAndIdsThatNoFileHas) {
    EXPECT_QTX_ARGS(Make(object_key(9)), zeIO, 7, "Unknown Classifier object", {"9"});
    EXPECT_QTX_ARGS(Make(switcher_record(0, 3)), zeIO, 10, "Invalid object id in kc file", {"0"});
    EXPECT_QTX_ARGS(Make(switcher_record(7, 3)), zeIO, 10, "Invalid object id in kc file", {"7"});
    EXPECT_QTX_ARGS(Make(switcher_record(8, 3)), zeIO, 10, "Invalid object id in kc file", {"8"});
}

TEST_F(zeIOObjectTest, RecordThatEndsEarlyRaises) {
    kc.manager.m_last_object_id = 8;
    const std::string end_of_segment(SegBuf::kSegmentSize - 8, '\0');
    SegBuf record = record_of(end_of_segment + object_key(ZE_RULE) + object_key(8));
    Hio<HSegment> io(new HSegment(record, 'r'));
    io.device->Seek(SegBuf::kSegmentSize - 4);

    EXPECT_THROW(zeObjectFactory(ZE_RULE, io, &kc.manager, nullptr), qtxSegBuf);

    EXPECT_EQ(kc.manager.m_objects.count(8), 0U);
}

TEST_F(zeIOObjectTest, SingleObjectsAreWrittenAndRead) {
    qtPtr<qtBuffer> buffer;
    zeIO out(&kc.manager);
    out.m_io_mode = KcIoMode::DIRECT_IO;
    out.m_pack.Open(buffer, 'w');
    out.DumpObject(kc.manager.m_objects.at(3));
    out.m_pack.Close();
    const std::string before = kc.manager.m_logical_tree->GetNode(News_desk::kHome).rule.str();
    kc.manager.Release(kc.manager.m_objects.at(3));

    zeIO in(&kc.manager);
    in.m_io_mode = KcIoMode::DIRECT_IO;
    in.m_version = 2;
    in.m_pack.Open(buffer, 'r');
    zeBase* const read = in.LoadObject(3, nullptr);

    auto& switcher = dynamic_cast<zeSwitcher&>(*read);
    kc.desk.Node(News_desk::kPress).physical_node->m_classifier = &switcher;
    EXPECT_EQ(switcher.get_rule(kc.desk.Node(News_desk::kHome).physical_node).str(), before);
}

TEST_F(zeIOObjectTest, DumpOfNullAsserts) {
    zeIO io(&kc.manager);

    EXPECT_ASSERTS(io.DumpObject(nullptr), "object");
}

// Outside of a load or dump there is no file, so no object can be found in it.
TEST_F(zeIOObjectTest, SingleObjectsAreRefusedOutsideOfALoadOrDump) {
    zeIO io(&kc.manager);

    EXPECT_ASSERTS(io.LoadObject(1, nullptr), "!m_cache_pack.IsNull()");
    EXPECT_ASSERTS(io.DumpObject(kc.manager.m_objects.at(3)), "!m_cache_pack.IsNull()");
    EXPECT_ASSERTS(io.CacheFile(), "!m_cache_pack.IsNull()");
    EXPECT_ASSERTS(io.DeleteItem(3), "m_io_mode == KcIoMode::CACHED_IO");
}

TEST_F(zeIOObjectTest, SingleObjectsAreRefusedAfterALoad) {
    zeManager loaded;
    read_kc(loaded, saved(kc.manager));

    EXPECT_QTX(loaded.m_io->LoadObject(1, nullptr), Hpack, 2,
               "Missing key in index: " + object_key(1));
    EXPECT_QTX(loaded.m_io->DumpObject(loaded.m_objects.at(3)), HioErr, HioErr::kWriteFailed,
               "File is not open for writing");
}

// Each segment of a long record is scrambled separately.
TEST_F(zeIOObjectTest, LongRecordsAreReadBack) {
    zeLogicalNode node = kc.desk.Node(News_desk::kShop);
    std::string text;
    for (int i = 0; i < 10000; ++i) {
        text += std::to_string(i);
    }
    node.note2 = qtString(text);
    kc.manager.m_logical_tree->ChangeLogicalNode(node);
    const std::string file = saved(kc.manager);
    ASSERT_GT(Kc_items(file).manager().size(), 2 * SegBuf::kSegmentSize);
    zeManager loaded;

    read_kc(loaded, file);

    EXPECT_EQ(loaded.m_logical_tree->GetNode(News_desk::kShop).note2.str(), text);
    EXPECT_TRUE(same_bytes(saved(loaded), file));
}

// Texts.

TEST(ConvertEncodingTest, TextsAreConvertedFromTheFirstCharsetToTheSecond) {
    KcConverter converter{"ISO-8859-1", "UTF-8", 0};

    EXPECT_EQ(ConvertEncoding("caf\xE9", &converter), qtString("caf\xC3\xA9"));
    EXPECT_EQ(ConvertEncoding("plain", &converter), qtString("plain"));

    EXPECT_EQ(converter.count, 2U);
}

TEST(ConvertEncodingTest, EmptyTextIsCountedAndNotConverted) {
    KcConverter converter{"no charset", "no charset either", 0};

    EXPECT_EQ(ConvertEncoding("", &converter), qtString(""));

    EXPECT_EQ(converter.count, 1U);
}

TEST(ConvertEncodingTest, TextThatCannotBeConvertedRaises) {
    KcConverter converter{"UTF-8", "ISO-8859-1", 0};
    KcConverter unknown{"UTF-8", "no charset", 0};

    EXPECT_TRUE(raises<qtXbase>([&] { ConvertEncoding("\xFF", &converter); }, 0,
                                "Cannot convert text: \xFF",
                                std::vector<qtString>{"\xFF", "UTF-8", "ISO-8859-1"}));
    EXPECT_TRUE(raises<qtXbase>([&] { ConvertEncoding("text", &unknown); }, 0,
                                "Cannot convert from charset UTF-8 to no charset",
                                std::vector<qtString>{"UTF-8", "no charset"}));

    EXPECT_EQ(converter.count, 1U);
}

}  // namespace
