// Containers that are read for classifying: data that only training needs stay as bytes. Every
// operation must have the same result as with a container that was read completely.
#include "zandrel/persistence/zeIO.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/Kc_seal.h"
#include "zandrel/statistics/zeStat_diet_learner.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_trainer.h"

#include "tests/support/answers_of_kc.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/kc_damage.h"
#include "tests/support/scratch_file.h"
#include "tests/support/stored.h"

using zandrel::Kc_seal;

namespace {

constexpr std::uint32_t kModelId = 1;

void read_to_classify(zeManager& manager, const std::string& file) {
    KcIoMode mode;
    mode.for_classifying = true;
    read_kc(manager, file, &mode);
}

zeStat_matcher& root_matcher_of(zeManager& manager) {
    return dynamic_cast<zeStat_matcher&>(*manager.m_physical_tree->get_classifier(manager.m_root));
}

zeStat_storage& root_model_of(zeManager& manager) {
    return *root_matcher_of(manager).m_storage;
}

// The bytes of a double in a record.
std::string packed(double value) {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    std::string bytes;
    for (unsigned int shift = 64; shift > 0; shift -= 8) {
        bytes += static_cast<char>(static_cast<unsigned char>(bits >> (shift - 8)));
    }
    return bytes;
}

// Returns a file in which the number after the nth occurrence of a word is `value`. In the model's
// record the word occurs once in the model's table of concepts, and once in each profile that has
// it.
std::string with_number(const std::string& file, const std::string& word, int nth, double value) {
    Kc_items items(file);
    std::string& record = items.object(kModelId);
    std::size_t place = record.find(word);
    for (; nth > 1; --nth) {
        place = record.find(word, place + 1);
    }
    record.replace(place + word.size(), 8, packed(value));
    return items.file();
}

class zeIOClassifyingTest : public testing::Test {
protected:
    zeIOClassifyingTest() {
        read_kc(whole, file);
        read_to_classify(kept, file);
    }

    zeStat_storage& model() { return root_model_of(kept); }

    const std::string file = answering_kc(false);
    zeManager whole;
    zeManager kept;
};

TEST_F(zeIOClassifyingTest, TrainingDataStayAsBytes) {
    EXPECT_TRUE(root_model_of(whole).is_complete());
    EXPECT_FALSE(model().is_complete());
    EXPECT_TRUE(model().m_concept_infos.empty());
    for (const auto& profile : model().m_profiles) {
        EXPECT_TRUE(profile->m_Ps.empty());
        EXPECT_TRUE(profile->m_bins.empty());
    }
}

TEST_F(zeIOClassifyingTest, AnswersAreTheSameAndDoNotCompleteTheModel) {
    EXPECT_EQ(answers_of(kept), answers_of(whole));
    EXPECT_FALSE(model().is_complete());
}

TEST_F(zeIOClassifyingTest, BytesAreWrittenBackUnchanged) {
    EXPECT_TRUE(same_bytes(saved(kept), file));
    answers_of(kept);
    EXPECT_TRUE(same_bytes(saved(kept), file));
    EXPECT_TRUE(same_bytes(saved_below(kept, 1), saved_below(whole, 1)));
    EXPECT_FALSE(model().is_complete());
}

TEST_F(zeIOClassifyingTest, SingleProfilesAreWrittenLikeThoseOfACompleteModel) {
    for (int iprofile = 0; iprofile < model().profile_count(); ++iprofile) {
        const auto bytes = [iprofile](const zeStat_storage& storage) {
            SegBuf record;
            Hio<HSegment> io(new HSegment(record, 'w'));
            storage.DumpProfile(io, storage.profile(iprofile));
            return bytes_of(record);
        };
        EXPECT_EQ(to_hex(bytes(model())), to_hex(bytes(root_model_of(whole))));
    }
}

TEST_F(zeIOClassifyingTest, CompactFileIsTheSameAsOfACompleteModel) {
    EXPECT_TRUE(same_bytes(saved_compact(kept), saved_compact(whole)));
}

TEST_F(zeIOClassifyingTest, CopyConvertsTheTextsInTheBytesToo) {
    const auto copy = [](zeManager& manager) {
        Scratch_file target;
        KcIoMode mode;
        KcConverter converter{"UTF-8", "UTF-16BE"};
        manager.m_io->CopyKC(target.path(), &mode, &converter, nullptr);
        return target.content();
    };

    const std::string converted = copy(kept);

    EXPECT_TRUE(same_bytes(converted, copy(whole)));
    EXPECT_FALSE(same_bytes(converted, file));
    EXPECT_FALSE(model().is_complete());
}

TEST_F(zeIOClassifyingTest, CompletedModelEqualsOneReadCompletely) {
    model().complete();

    EXPECT_TRUE(model().is_complete());
    EXPECT_EQ(content_of(kept), content_of(whole));
    EXPECT_TRUE(same_bytes(saved(kept), file));
}

TEST_F(zeIOClassifyingTest, LearningContinuesAsInTheCompleteContainer) {
    learn_something(kept, false);
    learn_something(whole, false);

    kept.m_config.last_trained = whole.m_config.last_trained;
    EXPECT_TRUE(same_bytes(saved(kept), saved(whole)));
}

TEST_F(zeIOClassifyingTest, EditsContinueAsInTheCompleteContainer) {
    edit_something(kept);
    edit_something(whole);

    EXPECT_TRUE(same_bytes(saved(kept), saved(whole)));
}

struct Operation {
    const char* name;
    std::function<void(zeManager& manager)> run;
    bool completes = true;
};

using Storage = zeStat_storage;

const Operation kOperations[] = {
    {"make a trainer", [](zeManager& kc) { zeStat_trainer trainer(root_model_of(kc)); }},
    {"make a learner", [](zeManager& kc) { zeStat_diet_learner learner(root_model_of(kc)); }},
    {"feed", [](zeManager& kc) { root_matcher_of(kc).feed(root_model_of(kc), true); }},
    {"add an entry of a profile",
     [](zeManager& kc) {
         bool added = false;
         root_model_of(kc).get_or_add_P(0, term("new"), added);
     }},
    {"add a concept",
     [](zeManager& kc) {
         bool added = false;
         root_model_of(kc).get_or_add_concept_info(term("goal"), added)->second.m_rate += 1.0;
     }},
    {"clear a profile",
     [](zeManager& kc) {
         int iprofile = 1;
         root_model_of(kc).clear_profile(iprofile);
     }},
    {"clear a likelihood table", [](zeManager& kc) { root_model_of(kc).clear_likelihood(2); }},
    {"delete a profile",
     [](zeManager& kc) {
         int iprofile = 0;
         root_model_of(kc).delete_profile(iprofile);
     }},
    {"use no tables", [](zeManager& kc) { root_model_of(kc).set_use_train_likelihood(false); }},
    {"change the resolution",
     [](zeManager& kc) { root_model_of(kc).set_likelihood_histogram_resolution(3); }},
    {"forget everything", [](zeManager& kc) { root_model_of(kc).create_skeleton(); }},
    {"empty the model", [](zeManager& kc) { root_model_of(kc).clear(); }},
    {"change another setting", [](zeManager& kc) { root_model_of(kc).set_profile_size(7); }, false},
    {"replace nodes",
     [](zeManager& kc) {
         std::map<zeNode*, zeNode*> replacement;
         for (const auto& profile : root_model_of(kc).m_profiles) {
             replacement[profile->m_node] = profile->m_node;
         }
         std::swap(replacement[root_model_of(kc).profile(0).m_node],
                   replacement[root_model_of(kc).profile(1).m_node]);
         root_model_of(kc).global_replace(replacement);
     },
     false},
};

TEST_F(zeIOClassifyingTest, OperationsOnTheModelChangeAllOfIt) {
    for (const Operation& operation : kOperations) {
        SCOPED_TRACE(operation.name);
        read_kc(whole, file);
        read_to_classify(kept, file);

        operation.run(whole);
        operation.run(kept);

        EXPECT_EQ(model().is_complete(), operation.completes);
        const auto record = [](zeManager& manager) { return dumped(root_model_of(manager)); };
        EXPECT_EQ(to_hex(record(kept)), to_hex(record(whole)));
    }
}

TEST_F(zeIOClassifyingTest, HistogramStepAddsToTheHistogramsOfTheFile) {
    for (zeManager* const manager : {&whole, &kept}) {
        zeMemoryCorpus corpus;
        qtPtrLight<zeMsg> msg = message_of({{"goal", 1.0}, {"loan", 1.0}});
        msg->categories.push_back(term("sport"));
        corpus.add_msg(msg);
        zeCorpus_view view(&corpus);
        view.add_all_msgs(manager);
        root_matcher_of(*manager).classify(*msg, view, view.msgs.begin());
    }

    EXPECT_TRUE(model().is_complete());
    EXPECT_EQ(to_hex(dumped(model())), to_hex(dumped(root_model_of(whole))));
}

TEST_F(zeIOClassifyingTest, CompactContainerNeedsNoCompletion) {
    const std::string compact = answering_kc(true);

    read_to_classify(kept, compact);

    EXPECT_TRUE(model().is_complete());
    EXPECT_TRUE(kept.m_compact);
    EXPECT_TRUE(same_bytes(saved_compact(kept), compact));
}

TEST_F(zeIOClassifyingTest, StatisticsInACompactFileAreReportedAsDamage) {
    Kc_items items(file);
    items.flags |= 0x08;

    EXPECT_QTX_ARGS(read_to_classify(kept, items.file()), zeIO, 12, "Damaged item: compact flag",
                    {"1"});
}

TEST_F(zeIOClassifyingTest, RecordOfAnotherStreamIsReadCompletely) {
    SegBuf record = record_of(dumped(root_model_of(whole)).substr(4));
    Hio<HSegment> io(new HSegment(record, 'r'));

    model().Load(io, nullptr);

    EXPECT_TRUE(model().is_complete());
    EXPECT_EQ(record.offset, record.size);
}

// Damage.

constexpr double kDamagedNumber = std::numeric_limits<double>::quiet_NaN();

TEST_F(zeIOClassifyingTest, DamageInTheBytesIsFoundWhenTheModelIsCompleted) {
    const struct {
        int nth;  // the occurrence of the word
        const char* field;
    } rows[] = {{1, "m_weight of a concept"}, {2, "m_weight of a concept of a profile"}};

    for (const auto& row : rows) {
        const std::string damaged = with_number(file, "soup", row.nth, kDamagedNumber);
        const std::string text = std::string("Damaged item: ") + row.field;
        EXPECT_QTX_ARGS(read_kc(whole, damaged), zeIO, 12, text, {"1"});

        read_to_classify(kept, damaged);

        EXPECT_EQ(answers_of(kept), answers_of_kc(file));
        EXPECT_QTX_ARGS(model().complete(), zeIO, 12, text, {"1"});
        EXPECT_QTX_ARGS(zeStat_trainer{model()}, zeIO, 12, text, {"1"});
        EXPECT_FALSE(model().is_complete());
        EXPECT_TRUE(model().m_concept_infos.empty());
        EXPECT_EQ(answers_of(kept), answers_of_kc(file));
        EXPECT_TRUE(same_bytes(saved(kept), damaged));
    }
}

// A single weight below 0 is damage. Two such weights are accepted, and so is one if a setting of
// the file can cause it.
TEST_F(zeIOClassifyingTest, NegativeWeightsAreCountedOverTheWholeModel) {
    const std::string one = with_number(file, "soup", 2, -1.0);
    read_to_classify(kept, one);
    EXPECT_QTX(model().complete(), zeIO, 12, "Damaged item: m_weight of a concept of a profile");

    // The settings of the file count, not the current ones.
    model().m_min_Rlimit = -1.0;
    EXPECT_QTX(model().complete(), zeIO, 12, "Damaged item: m_weight of a concept of a profile");

    read_to_classify(kept, with_number(one, "salt", 2, -1.0));
    EXPECT_NO_THROW(model().complete());
}

TEST_F(zeIOClassifyingTest, AccumulatorsAndSettingsMayChangeBeforeTheModelIsCompleted) {
    model().profile(0).m_match_value = std::numeric_limits<double>::infinity();
    model().m_clip_value = std::numeric_limits<double>::infinity();

    EXPECT_NO_THROW(model().complete());
}

// Returns the error of reading a file completely. With `for_classifying` the file is first read for
// classifying and then completed.
std::string error_of(const std::string& file, bool for_classifying) {
    try {
        zeManager manager;
        KcIoMode mode;
        mode.for_classifying = for_classifying;
        read_kc(manager, file, &mode);
        for (const auto& [id, object] : manager.m_objects) {
            if (auto* const storage = dynamic_cast<zeStat_storage*>(object)) {
                storage->complete();
            }
        }
        return "";
    } catch (const std::exception& error) {
        return error.what();
    }
}

// A file is refused in both ways of reading or in neither. For one changed bit the texts of the
// errors are equal too.
TEST_F(zeIOClassifyingTest, FileRefusedWhenReadCompletelyIsRefusedWhenCompleted) {
    std::size_t different_texts = 0;
    for_each_changed_bit(file, [&](const std::string& damaged) {
        const std::string expected = error_of(damaged, false);
        const std::string error = error_of(damaged, true);
        ASSERT_EQ(error.empty(), expected.empty()) << error << expected;
        different_texts += static_cast<std::size_t>(error != expected);
    });
    EXPECT_EQ(different_texts, 0U);
}

TEST_F(zeIOClassifyingTest, CutRecordIsRefusedAtOnce) {
    Kc_items items(file);
    const std::string record = items.object(kModelId);
    for (std::size_t length = 0; length < record.size(); ++length) {
        items.object(kModelId) = record.substr(0, length);
        const std::string expected = error_of(items.file(), false);
        ASSERT_EQ(error_of(items.file(), true), expected) << length;
    }
}

// The seal.

class zeIOClassifyingSealTest : public zeIOClassifyingTest {
protected:
    zeIOClassifyingSealTest() {
        qtPtr<qtBuffer> buffer = buffer_of(file);
        Kc_seal::Write(buffer);
        sealed = bytes_in(buffer);
    }

    std::string sealed;
};

TEST_F(zeIOClassifyingSealTest, SealIsVerifiedBeforeTheManagerIsTouched) {
    const std::string before = content_of(kept);
    // This byte is in the records that come before the manager's record.
    const std::size_t place = sealed.find("__Manager__") - 30;
    sealed[place] = static_cast<char>(sealed[place] ^ 1);

    EXPECT_THROW(read_to_classify(kept, sealed), qtX<Kc_seal>);

    EXPECT_EQ(content_of(kept), before);
}

TEST_F(zeIOClassifyingSealTest, SealedFileIsReadAndWrittenWithoutItsSeal) {
    read_to_classify(kept, sealed);

    EXPECT_FALSE(model().is_complete());
    EXPECT_TRUE(same_bytes(saved(kept), file));
}

// The seal reports a wrong header, as Kc_seal::Verify does before a complete read.
TEST_F(zeIOClassifyingSealTest, SealIsVerifiedBeforeTheHeaderIsChecked) {
    Scratch_file disk;
    constexpr std::size_t kVersionAt = 10;
    sealed[kVersionAt + 1] = 9;

    EXPECT_THROW(read_to_classify(kept, sealed), qtX<Kc_seal>);
}

}  // namespace
