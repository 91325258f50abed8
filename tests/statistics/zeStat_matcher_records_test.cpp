// The record of a statistical classifier, byte by byte.
#include "zandrel/statistics/zeStat_matcher.h"

#include <limits>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/persistence/Hpack.h"

#include "tests/statistics/stored_matcher.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/expect_segbuf.h"
#include "tests/support/match_rows.h"

namespace {

using stored_matcher::kHead;
using stored_matcher::kStorage;
using stored_matcher::kTable;
using stored_matcher::whole_matcher;

// The bytes of the matcher's record.
std::string record_of_matcher(Stored_matcher& model) {
    return to_hex(dumped(*model.matcher));
}

TEST(zeStatMatcherRecordsTest, RecordHasTheFieldsInOrder) {
    Stored_matcher model;

    EXPECT_EQ(record_of_matcher(model), kHead + to_hex(whole_matcher()));
}

TEST(zeStatMatcherRecordsTest, MatcherWithoutANodeHasNoReference) {
    Stored_matcher model;
    model.matcher->m_node = nullptr;

    EXPECT_EQ(record_of_matcher(model), "00 00 00 02 00 00 00 00 " + to_hex(whole_matcher()));
}

TEST(zeStatMatcherRecordsTest, EmptyTableIsOneCount) {
    Stored_matcher model;
    model.matcher->m_table.clear();

    EXPECT_EQ(record_of_matcher(model), std::string(kHead) + "00 00 00 00 " + kStorage);
}

TEST(zeStatMatcherRecordsTest, OrderOfTheTableDoesNotChangeTheBytes) {
    Stored_matcher model;
    zandrel::detail::Match_table& table = model.matcher->m_table;
    const Row x = row_of(table, term("x"));
    const Row yy = row_of(table, term("yy"));

    table.clear();
    set_row(table, term("x"), x);
    set_row(table, term("yy"), yy);
    EXPECT_EQ(record_of_matcher(model), kHead + to_hex(whole_matcher()));

    table.clear();
    set_row(table, term("yy"), yy);
    set_row(table, term("x"), x);
    EXPECT_EQ(record_of_matcher(model), kHead + to_hex(whole_matcher()));
}

TEST(zeStatMatcherRecordsTest, AverageTableIsNotStored) {
    Stored_matcher model;
    model.matcher->m_avg_likelihood.fill(0.5);

    EXPECT_EQ(record_of_matcher(model), kHead + to_hex(whole_matcher()));
}

TEST(zeStatMatcherRecordsTest, ModelIsASeparateObject) {
    Stored_matcher writer;
    record_of_matcher(writer);
    EXPECT_EQ(writer.manager.m_io->m_pack.GetIndexSize(), 1U);
    writer.manager.m_io->m_pack.Close();
    Stored_matcher reader(writer.buffer);

    zeBase* const object = reader.manager.m_io->LoadObject(1, reader.root);

    ASSERT_EQ(object->GetType(), zandrel::kStorageObjectType);
    EXPECT_EQ(to_hex(dumped(*object)), "00 00 00 01 " + to_hex(stored_model::whole()));
}

TEST(zeStatMatcherRecordsTest, ModelIsWrittenInTheFormOfTheFile) {
    Stored_matcher writer;
    writer.manager.m_io->m_compact = true;
    record_of_matcher(writer);
    writer.manager.m_io->m_pack.Close();
    Stored_matcher reader(writer.buffer);

    auto* const storage =
        dynamic_cast<zeStat_storage*>(reader.manager.m_io->LoadObject(1, reader.root));

    ASSERT_NE(storage, nullptr);
    EXPECT_TRUE(storage->m_concept_infos.empty());
    EXPECT_EQ(storage->m_num_msgs, 0x136);
}

TEST(zeStatMatcherRecordsTest, EveryFieldIsReadBack) {
    Stored_matcher reader(Stored_matcher::package_with_model());

    const std::unique_ptr<zeStat_matcher> read = reader.read(whole_matcher());
    reader.manager.m_io->m_pack.Open(reader.buffer, 'w');

    EXPECT_EQ(to_hex(dumped(*read)), kHead + to_hex(whole_matcher()));
    EXPECT_EQ(to_hex(dumped(*read->m_storage)), "00 00 00 01 " + to_hex(stored_model::whole()));
    EXPECT_EQ(read->m_storage->m_manager, &reader.manager);
}

TEST(zeStatMatcherRecordsTest, AverageTableIsBuilt) {
    Stored_matcher reader(Stored_matcher::package_with_model());

    const std::unique_ptr<zeStat_matcher> read = reader.read(whole_matcher());

    // The ages are 296 for bb and 304 for a; with the prior of 30 the sum is 630.
    EXPECT_EQ(read->m_avg_likelihood[0], (0.5 + 296 * 0.25) / 630);
    EXPECT_EQ(read->m_avg_likelihood[1], (1.5 + 296 * 0.5) / 630);
    EXPECT_EQ(read->m_avg_likelihood[2], 2.5 / 630);
    EXPECT_EQ(read->m_avg_likelihood[29], (29.5 + 296 * 0.75 + 304 * 0.125) / 630);
}

TEST(zeStatMatcherRecordsTest, LoadReplacesTheTable) {
    Stored_matcher reader(Stored_matcher::package_with_model());
    zeStat_matcher read;
    read.m_manager = &reader.manager;
    read.m_node = reader.root;
    set_row(read.m_table, term("old"), {{1.0F, 0}});
    SegBuf record = record_of(whole_matcher());
    Hio<HSegment> io(new HSegment(record, 'r'));

    read.Load(io);

    EXPECT_EQ(read.m_table.count(term("old")), 0U);
    EXPECT_EQ(read.m_table.size(), 2U);
}

// In a model of version 1, the categories are found from the matcher's node.
TEST(zeStatMatcherRecordsTest, NodeIsPassedToTheModel) {
    const stored_model::Form version_1 = {.has_ids = false};
    Stored_matcher writer;
    SegBuf item = record_of(from_hex("00 00 00 03 00 00 00 01") + stored_model::whole(version_1));
    writer.manager.m_io->m_pack.AddAtOffset(Hpack::MakeStringKey(1), item, 0);
    writer.manager.m_io->m_pack.Close();
    Stored_matcher reader(writer.buffer);
    reader.manager.m_version = 1;
    reader.manager.m_io->m_version = 1;
    auto& tree = *reader.manager.m_physical_tree;
    tree.m_v1_nodes[term("a")] = reader.a;
    tree.m_v1_pending[term("bb")] = {reader.bb, nullptr};
    reader.bb->m_parent = reader.a;

    const std::unique_ptr<zeStat_matcher> read = reader.read(whole_matcher());

    ASSERT_EQ(read->m_storage->profile_count(), 2);
    EXPECT_EQ(read->m_storage->profile(0).m_node->m_parent, reader.root);
}

TEST(zeStatMatcherRecordsTest, ObjectThatIsNoModelIsRefused) {
    Stored_matcher writer;
    zeSwitcher switcher(nullptr, writer.root);
    switcher.m_id = 1;
    writer.manager.m_io->DumpObject(&switcher);
    writer.manager.m_io->m_pack.Close();
    Stored_matcher reader(writer.buffer);

    EXPECT_ASSERTS(reader.read(whole_matcher()), "m_storage");
}

TEST(zeStatMatcherRecordsTest, MissingModelIsRefused) {
    Stored_matcher reader(Stored_matcher::package_with_model());

    EXPECT_THROW(reader.read(from_hex(kTable) + from_hex("00 00 00 63")), qtX<Hpack>);
}

TEST(zeStatMatcherRecordsTest, PairWithAProfileOutOfRangeIsRefused) {
    for (const char* iprofile : {"00 00 00 02", "ff ff ff ff", "7f ff ff ff", "80 00 00 00"}) {
        SCOPED_TRACE(iprofile);
        Stored_matcher reader(Stored_matcher::package_with_model());

        EXPECT_QTX_ARGS(
            reader.read(from_hex("00 00 00 01 00 00 00 01 78 00 00 00 02 3f c0 00 00 00 00 00 01 "
                                 "3f c0 00 00") +
                        from_hex(iprofile) + from_hex("00 00 00 01")),
            zeIO, 12, "Damaged item: profile of a pair", {"2"});
    }
}

TEST(zeStatMatcherRecordsTest, PairWithAWeightThatIsNotFiniteIsRefused) {
    for (const char* weight : {"7f 80 00 00", "ff 80 00 00", "7f c0 00 00", "7f 80 00 01"}) {
        SCOPED_TRACE(weight);
        Stored_matcher reader(Stored_matcher::package_with_model());

        EXPECT_QTX_ARGS(reader.read(from_hex("00 00 00 01 00 00 00 01 78 00 00 00 01") +
                                    from_hex(weight) + from_hex("00 00 00 01 00 00 00 01")),
                        zeIO, 12, "Damaged item: weight of a pair", {"2"});
    }
}

// A stale table refers to deleted profiles too.
TEST(zeStatMatcherRecordsTest, PairsOutOfRangeAreIgnored) {
    Stored_matcher model;
    for (const int iprofile : {0, 1}) {
        model.storage->profile(iprofile).m_match_value = 0.0;
    }
    set_row(model.matcher->m_table, term("x"),
            {{1.5F, 2},
             {1.5F, -1},
             {1.5F, std::numeric_limits<int>::max()},
             {1.5F, std::numeric_limits<int>::min()},
             {1.5F, 1}});

    model.matcher->classify_sml(*make_bag({{"x", 2.0}}));

    EXPECT_EQ(model.storage->profile(0).m_match_value, 0.0);
    EXPECT_EQ(model.storage->profile(1).m_match_value, 3.0);
}

TEST(zeStatMatcherRecordsTest, PairsOutOfRangeAreNotWritten) {
    Stored_matcher model;
    set_row(model.matcher->m_table, term("x"), {{1.5F, 2}, {-2.5F, 1}, {1.5F, -1}});

    EXPECT_EQ(to_hex(dumped(*model.matcher).substr(8)),
              "00 00 00 02 00 00 00 01 78 00 00 00 01 c0 20 00 00 00 00 00 01 "
              "00 00 00 02 79 79 00 00 00 01 40 60 00 00 00 00 00 01 00 00 00 01");
}

TEST(zeStatMatcherRecordsTest, CountTooLargeForTheRecordIsRefused) {
    for (const char* record :
         {"7f ff ff ff", "00 00 00 01 00 00 00 01 78 7f ff ff ff", "00 00 00 01 7f ff ff ff"}) {
        SCOPED_TRACE(record);
        Stored_matcher reader(Stored_matcher::package_with_model());

        EXPECT_SEGBUF_ERROR(reader.read(from_hex(record)), qtxSegBuf::kLocateError);
    }
}

}  // namespace
