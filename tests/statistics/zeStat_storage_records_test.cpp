// The record of a statistical model, byte by byte.
#include "zandrel/statistics/zeStat_storage.h"

#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "tests/statistics/stored_model.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/expect_segbuf.h"

using zandrel::kInitialBuckets;

namespace {

using stored_model::concept_infos;
using stored_model::Form;
using stored_model::index_of_profiles;
using stored_model::profile_of_a;
using stored_model::profile_of_bb;
using stored_model::real;
using stored_model::settings;
using stored_model::whole;
using stored_model::zeros;

constexpr const char* kId = "00 00 00 01";

class zeStatStorageRecordsTest : public testing::Test {
protected:
    zeStatStorageRecordsTest() { m_model.fill(); }

    // The record after the id.
    std::string Dumped() { return dumped(*m_model.storage).substr(4); }

    void ExpectDump(const std::string& expected) { EXPECT_EQ(to_hex(Dumped()), to_hex(expected)); }

    // Reads a model from this record and returns the record that the model writes.
    std::string Reloaded(const std::string& bytes) {
        return dumped(m_model.loaded(bytes)).substr(4);
    }

    void ExpectDamaged(const std::string& bytes, const char* what) {
        EXPECT_QTX_ARGS(m_model.loaded(bytes), zeStat_storage, 0, "Statistical model is damaged",
                        {what});
    }

    // The whole record with other bytes at a position.
    static std::string WholeWith(std::size_t position, std::string_view hex) {
        const std::string bytes = from_hex(hex);
        return whole().replace(position, bytes.size(), bytes);
    }

    Stored_model m_model;
};

// Dump.

TEST_F(zeStatStorageRecordsTest, RecordHasTheFieldsInOrder) {
    EXPECT_EQ(to_hex(dumped(*m_model.storage)), kId + (" " + to_hex(whole())));
}

TEST_F(zeStatStorageRecordsTest, EveryFieldIsReadBack) {
    EXPECT_EQ(to_hex(Reloaded(whole())), to_hex(whole()));
}

// The record of an empty model is its settings and three counts of 0.
TEST_F(zeStatStorageRecordsTest, EmptyModelIsItsSettings) {
    m_model.storage->clear();

    const std::string bytes = Dumped();

    ASSERT_EQ(bytes.size(), stored_model::kIndexAt + 12);
    EXPECT_EQ(to_hex(bytes.substr(stored_model::kIndexAt)), to_hex(zeros(12)));
    EXPECT_EQ(to_hex(Reloaded(bytes)), to_hex(bytes));
}

TEST_F(zeStatStorageRecordsTest, OrderOfInsertionDoesNotChangeTheBytes) {
    m_model.storage->clear();
    m_model.fill();
    for (auto* const table :
         {&m_model.storage->profile(0).m_Ps, &m_model.storage->profile(1).m_Ps}) {
        table->rehash(1000);
    }
    m_model.storage->m_concept_infos.rehash(1000);
    m_model.storage->m_profile_index.rehash(1000);

    ExpectDump(whole());
}

TEST_F(zeStatStorageRecordsTest, WaitingWeightsAreNotWritten) {
    m_model.storage->profile(0).m_weights = {{term("x"), 1.0F}};

    ExpectDump(whole());
    EXPECT_TRUE(m_model.loaded(whole()).profile(0).m_weights.empty());
}

TEST_F(zeStatStorageRecordsTest, CompactFormLacksTheDataOnlyForTraining) {
    m_model.manager.m_io->m_compact = true;

    ExpectDump(whole({.is_compact = true}));
}

TEST_F(zeStatStorageRecordsTest, CompactFormIsReadAsAModelWithoutConceptsAndBins) {
    zeStat_storage& loaded = m_model.loaded(whole({.is_compact = true}));

    EXPECT_TRUE(loaded.m_concept_infos.empty());
    EXPECT_EQ(loaded.m_total_weight, 0.0);
    EXPECT_EQ(loaded.m_total_msg_weight, 0.0);
    EXPECT_EQ(loaded.m_total_sml_weight, 0.0);
    EXPECT_EQ(loaded.m_num_msgs, 0x136);
    ASSERT_EQ(loaded.profile_count(), 2);
    EXPECT_TRUE(loaded.profile(0).m_Ps.empty());
    EXPECT_TRUE(loaded.profile(0).m_bins.empty());
    EXPECT_EQ(loaded.profile(0).m_weight, 0.0);
    EXPECT_EQ(loaded.profile(0).m_msg_weight, 0.0);
    EXPECT_EQ(loaded.profile(0).m_M, 18.5);
    EXPECT_EQ(loaded.profile(0).m_num_msgs, 0x126);
    EXPECT_EQ(loaded.profile(0).m_likelihood[29], 0.75);
}

TEST_F(zeStatStorageRecordsTest, FormIsFullWithoutAContainersFile) {
    m_model.manager.m_io = qtPtrLight<zeIO>();
    ExpectDump(whole());

    m_model.storage->m_manager = nullptr;
    ExpectDump(whole());
    m_model.storage->m_manager = &m_model.manager;
}

TEST_F(zeStatStorageRecordsTest, WithoutTrainedLikelihoodNoTableIsWritten) {
    m_model.storage->m_use_train_likelihood = false;

    ExpectDump(whole({.has_likelihood = false}));
}

TEST_F(zeStatStorageRecordsTest, WithoutStoredTablesAllAreZero) {
    zeStat_storage& loaded = m_model.loaded(whole({.has_likelihood = false}));

    EXPECT_EQ(loaded.profile(0).m_likelihood, zeStat_storage::Profile().m_likelihood);
    EXPECT_EQ(loaded.profile(1).m_likelihood, zeStat_storage::Profile().m_likelihood);
}

TEST_F(zeStatStorageRecordsTest, NormalisationIsStoredInverted) {
    m_model.storage->m_use_normalization = false;

    const std::string expected = WholeWith(stored_model::kNormalizationAt, "01");

    ExpectDump(expected);
    EXPECT_FALSE(m_model.loaded(expected).m_use_normalization);
    EXPECT_TRUE(m_model.loaded(whole()).m_use_normalization);
}

// The test changes one flag at a time, so it would notice if two were exchanged.
TEST_F(zeStatStorageRecordsTest, EachFlagHasItsOwnByte) {
    const struct {
        bool zeStat_storage::*flag;
        std::size_t position;
    } rows[] = {
        {&zeStat_storage::m_use_likelihood_in_match, 0},
        {&zeStat_storage::m_use_omit_method, 2},
        {&zeStat_storage::m_suppress_M, 3},
        {&zeStat_storage::m_use_new_ZC, 89},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.position);
        bool& flag = m_model.storage->*row.flag;
        flag = !flag;

        const std::string expected = WholeWith(row.position, flag ? "01" : "00");

        ExpectDump(expected);
        EXPECT_EQ(to_hex(Reloaded(expected)), to_hex(expected));
        flag = !flag;
    }
}

// A slot without a profile belongs to no category.
TEST_F(zeStatStorageRecordsTest, EmptySlotsAreSkipped) {
    m_model.storage->m_profiles.push_back(nullptr);

    ExpectDump(whole());
    m_model.storage->m_profiles.pop_back();
}

TEST_F(zeStatStorageRecordsTest, CategoryWithoutANodeIsNotWritten) {
    m_model.storage->profile(1).m_node = nullptr;

    EXPECT_ASSERTS(Dumped(), "p.m_cat");
}

TEST_F(zeStatStorageRecordsTest, SingleProfileIsWritten) {
    SegBuf record;
    Hio<HSegment> io(new HSegment(record, 'w'));

    m_model.storage->DumpProfile(io, m_model.storage->profile(1));

    EXPECT_EQ(to_hex(bytes_of(record)), to_hex(profile_of_a({})));
}

// Load.

TEST_F(zeStatStorageRecordsTest, EveryNonZeroByteIsTrue) {
    const std::string bytes =
        WholeWith(stored_model::kMarkerAt, "80").replace(0, 1, "\x40").replace(3, 1, "\xff");

    zeStat_storage& loaded = m_model.loaded(bytes);

    EXPECT_TRUE(loaded.m_use_likelihood_in_match);
    EXPECT_TRUE(loaded.m_suppress_M);
    EXPECT_EQ(loaded.m_weaken_small_cats_factor, 9.5);
}

// In the older form, the eight bytes of the factor have no meaning.
TEST_F(zeStatStorageRecordsTest, OlderFormIsReadWithoutTheFactor) {
    zeStat_storage& loaded = m_model.loaded(WholeWith(stored_model::kMarkerAt, "00"));

    EXPECT_EQ(loaded.m_weaken_small_cats_factor, 0.0);
    EXPECT_EQ(to_hex(dumped(loaded).substr(4)),
              to_hex(WholeWith(stored_model::kMarkerAt + 1, "00 00")));
}

TEST_F(zeStatStorageRecordsTest, ReservedBytesAreIgnored) {
    std::string bytes = whole();
    for (std::size_t i = 0; i < stored_model::kReservedSize; ++i) {
        bytes[stored_model::kReservedAt + i] = '\x55';
    }
    const std::size_t first_profile =
        stored_model::kIndexAt + index_of_profiles({}).size() + concept_infos({}).size() + 4;
    // 45 bytes come before the two unused ones of a profile.
    bytes.replace(first_profile + 45, 2, "\x55\x55");

    EXPECT_EQ(to_hex(Reloaded(bytes)), to_hex(whole()));
}

TEST_F(zeStatStorageRecordsTest, LoadReplacesTheModel) {
    zeNode* const other = m_model.leaf("other");
    bool added = false;
    m_model.storage->get_or_add_profile(other, added);
    m_model.storage->get_or_add_concept_info(term("zzz"), added);

    m_model.load_into(*m_model.storage, whole());

    ExpectDump(whole());
    EXPECT_TRUE(m_model.storage->end(m_model.storage->get_profile(other)));
}

TEST_F(zeStatStorageRecordsTest, LoadedTablesHaveTheCapacityOfNewOnes) {
    zeStat_storage& loaded = m_model.loaded(whole());

    EXPECT_GE(loaded.profile(0).m_Ps.bucket_count(), kInitialBuckets);
    EXPECT_GE(loaded.profile(1).m_Ps.bucket_count(), kInitialBuckets);
    EXPECT_GE(loaded.m_concept_infos.bucket_count(), kInitialBuckets);
}

TEST_F(zeStatStorageRecordsTest, ShorterTableIsFilledWithZeros) {
    const Form form;
    const std::string one_bin = from_hex("00 00 00 01") + real("3f c0");
    std::string profile = profile_of_a(form);
    profile.replace(profile.size() - 8 - 244, 244, one_bin);

    zeStat_storage& loaded =
        m_model.loaded(stored_model::whole_with(form, profile_of_bb(form) + profile));

    EXPECT_EQ(loaded.profile(1).m_likelihood[0], 0.125);
    EXPECT_EQ(loaded.profile(1).m_likelihood[1], 0.0);
    EXPECT_EQ(loaded.profile(1).m_likelihood[29], 0.0);
}

TEST_F(zeStatStorageRecordsTest, LongerTableIsRefused) {
    const Form form;
    std::string profile = profile_of_a(form);
    profile.replace(profile.size() - 8 - 244, 4, from_hex("00 00 00 1f"));

    EXPECT_ASSERTS(m_model.loaded(stored_model::whole_with(form, profile_of_bb(form) + profile)),
                   "sz <= Zandrel::LIKELIHOOD_SIZE");
}

TEST_F(zeStatStorageRecordsTest, IndexNeedsTheNodes) {
    for (const char* reference : {"00 00 00 00", "00 00 00 63"}) {
        SCOPED_TRACE(reference);
        EXPECT_ASSERTS(m_model.loaded(WholeWith(stored_model::kIndexAt + 4, reference)), "cat");
    }
}

TEST_F(zeStatStorageRecordsTest, ProfileNeedsItsNode) {
    for (const char* reference : {"00 00 00 00", "00 00 00 63"}) {
        SCOPED_TRACE(reference);
        const Form form;
        const std::string profile = profile_of_bb(form).replace(47, 4, from_hex(reference));
        EXPECT_ASSERTS(m_model.loaded(stored_model::whole_with(form, profile + profile_of_a(form))),
                       "p.m_cat");
    }
}

// Damage that a reader must refuse.

TEST_F(zeStatStorageRecordsTest, ImpossibleSettingsAreRefused) {
    const struct {
        std::size_t position;
        const char* bytes;
    } rows[] = {
        {stored_model::kNumMsgsAt, "ff ff ff ff"},    {stored_model::kNumMsgsAt, "80 00 00 00"},
        {stored_model::kResolutionAt, "00 00 00 00"}, {stored_model::kResolutionAt, "ff ff ff ff"},
        {stored_model::kResolutionAt, "00 88 88 89"},  // 8947849 * 480 bytes are more than 4 GiB
        {stored_model::kResolutionAt, "7f ff ff ff"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.bytes);
        ExpectDamaged(WholeWith(row.position, row.bytes), "settings");
    }
}

TEST_F(zeStatStorageRecordsTest, GreatestNumbersAreAccepted) {
    EXPECT_EQ(m_model.loaded(WholeWith(stored_model::kNumMsgsAt, "7f ff ff ff")).m_num_msgs,
              0x7fffffff);
    EXPECT_EQ(m_model.loaded(WholeWith(stored_model::kResolutionAt, "00 88 88 88"))
                  .m_likelihood_resolution,
              0x888888);
}

// The profile of a ends with the counts of its bins and of its concepts, both 0.
TEST_F(zeStatStorageRecordsTest, HistogramOfAnotherResolutionIsRefused) {
    const Form form;
    for (const std::size_t bin_count : {30U, 90U}) {
        SCOPED_TRACE(bin_count);
        std::string profile = profile_of_a(form);
        const std::string bins(bin_count * 16, '\0');
        profile.replace(profile.size() - 8, 4,
                        from_hex(bin_count == 30 ? "00 00 00 1e" : "00 00 00 5a"));
        profile.insert(profile.size() - 4, bins);
        ExpectDamaged(stored_model::whole_with(form, profile_of_bb(form) + profile),
                      "histogram of a profile");
    }
}

TEST_F(zeStatStorageRecordsTest, IndexThatDoesNotFitTheProfilesIsRefused) {
    const Form form;
    const std::string a = from_hex("00 00 00 01 00 00 00 01");
    const std::string bb = from_hex("00 00 00 02 00 00 00 00");

    const struct {
        const char* claim;
        std::string index;
    } rows[] = {
        {"exchanged", from_hex("00 00 00 02 00 00 00 01 00 00 00 00 00 00 00 02 00 00 00 01")},
        {"both the same", from_hex("00 00 00 02 00 00 00 01 00 00 00 00 00 00 00 02 00 00 00 00")},
        {"one missing", from_hex("00 00 00 01") + a},
        {"none", from_hex("00 00 00 00")},
        {"one twice", from_hex("00 00 00 02") + a + a},
        {"one more", from_hex("00 00 00 03") + a + bb + from_hex("00 00 00 03 00 00 00 01")},
    };

    m_model.leaf("third");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.claim);
        ExpectDamaged(settings(form) + row.index + concept_infos(form) + from_hex("00 00 00 02") +
                          profile_of_bb(form) + profile_of_a(form),
                      "index of profiles");
    }
}

TEST_F(zeStatStorageRecordsTest, IndexOutsideOfTheProfilesIsRefused) {
    const Form form;
    const std::string bb = from_hex("00 00 00 02 00 00 00 00");

    for (const char* index : {"00 00 00 02", "ff ff ff ff", "7f ff ff ff", "80 00 00 00"}) {
        SCOPED_TRACE(index);
        Stored_model model;  // its next object id is 2
        EXPECT_QTX_ARGS(
            model.loaded(settings(form) + from_hex("00 00 00 02 00 00 00 01") + from_hex(index) +
                         bb + concept_infos(form) + from_hex("00 00 00 02") + profile_of_bb(form) +
                         profile_of_a(form)),
            zeIO, 12, "Damaged item: index of a profile", {"2"});
    }
}

TEST_F(zeStatStorageRecordsTest, TwoProfilesOfOneCategoryAreRefused) {
    const Form form;

    ExpectDamaged(stored_model::whole_with(form, profile_of_bb(form) + profile_of_bb(form)),
                  "index of profiles");
}

TEST_F(zeStatStorageRecordsTest, ProfileWithANegativeCountOfMessagesIsRefused) {
    const Form form;
    const std::string profile = profile_of_a(form).replace(12, 4, from_hex("ff ff ff ff"));

    ExpectDamaged(stored_model::whole_with(form, profile_of_bb(form) + profile),
                  "messages of a profile");
}

// A list cannot be longer than its record, whatever its count says. So no memory is allocated for
// it.
TEST_F(zeStatStorageRecordsTest, CountTooLargeForTheRecordIsRefused) {
    const Form form;
    const std::string many = from_hex("7f ff ff ff");
    const std::string head = settings(form) + index_of_profiles(form);
    const std::string profile = profile_of_a({.has_likelihood = false});
    const std::string one_profile = settings(form) + from_hex("00 00 00 01") +
                                    from_hex("00 00 00 01 00 00 00 00") + zeros(4) +
                                    from_hex("00 00 00 01");

    const struct {
        const char* list;
        std::string bytes;
    } rows[] = {
        {"index", settings(form) + many},
        {"concepts", head + many},
        {"profiles", head + zeros(4) + many},
        {"bins", one_profile + profile.substr(0, profile.size() - 8) + many},
        {"concepts of a profile", one_profile + profile.substr(0, profile.size() - 4) + many},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.list);
        EXPECT_SEGBUF_ERROR(m_model.loaded(row.bytes), qtxSegBuf::kLocateError);
    }
}

TEST_F(zeStatStorageRecordsTest, LoadOfACutRecordRaisesTheStreamsError) {
    EXPECT_SEGBUF_ERROR(m_model.loaded(""), qtxSegBuf::kLocateError);
}

}  // namespace
