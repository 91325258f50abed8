// A process that is killed while it changes an archive, and a disk that becomes full meanwhile.
// After the recovery that operations.md describes, the archive is clean, has all messages that were
// added, and no message is learned twice or left out.
//
// The files are copied before and after each write, and after its first half. Each copy is what a
// killed process would leave. Archive_kill_slow_test.cpp looks at all of them.
#include <cstdint>
#include <string_view>

#include <gtest/gtest.h>

#include "cli/process/ending_signals.h"
#include "tests/cli/archive_kills.h"
#include "text/kc/unfinished_files.h"

namespace zandrel::cli {

namespace {

constexpr std::size_t kStride = 3;

TEST_F(ArchiveKillTest, KilledLearningLearnsNoMessageTwiceAndLeavesNoneOut) {
    look_at_kills_of_learning(kStride);
}

TEST_F(ArchiveKillTest, KilledTrainingCanBeRepeated) {
    look_at_kills_of_training(kStride);
}

TEST_F(ArchiveKillTest, KilledLearningInCachedFormLearnsNoMessageTwice) {
    look_at_kills_in_cached_form(kStride);
}

TEST_F(ArchiveKillTest, KilledReplacementIsDoneOrNot) {
    look_at_kills_of_replacement(kStride);
}

TEST_F(ArchiveKillTest, KilledChangeOfNumbersLosesNoMessage) {
    look_at_kills_of_new_numbers(kStride);
}

TEST_F(ArchiveKillTest, KilledLearningThatChangesNumbersLearnsNoMessageTwiceAndLeavesNoneOut) {
    look_at_kills_of_learning_with_new_numbers(kStride);
}

TEST_F(ArchiveKillTest, KilledDeletionLetsTheNextLearningBeginAtTheSamePlace) {
    look_at_kills_of_deletion(kStride);
}

TEST_F(ArchiveKillTest, KilledChangeOfSettingsKeepsTheOldOnesOrTheNewOnes) {
    look_at_kills_of_setting(1);
}

TEST_F(ArchiveKillTest, KilledRenameLeavesTheOldNameOrTheNewOne) {
    look_at_kills_of_rename(kStride);
}

TEST_F(ArchiveKillTest, KilledAdditionKeepsAllMessagesThatWereThere) {
    look_at_kills_of_addition(kStride);
}

TEST_F(ArchiveKillTest, FullDiskLetsLearningBeRepeatedOrRefused) {
    look_at_full_disks(kStride);
}

// Another program replaces the container after the archive was bound to the new one.
TEST_F(ArchiveKillTest, ContainerThatIsReplacedMeanwhileGivesTheArchiveItsOldBinding) {
    const std::string foreign = m_before.at("shop.kc") + "x";
    listen_to_real_writes([&](const Real_write& write) {
        if (write.is_done && has_name(write.descriptor, "shop.arc")) {
            m_folder.write("shop.kc", foreign);
        }
        return true;
    });
    EXPECT_THROW(learn(), Output_error);
    listen_to_real_writes(nullptr);

    EXPECT_EQ(m_folder.content("shop.kc"), foreign);
    m_folder.write("shop.kc", m_before.at("shop.kc"));
    EXPECT_EQ(check_file(archive()).condition, Record_condition::kClean);
    EXPECT_EQ(ids(), m_all);
    EXPECT_EQ(try_to_learn(), Learning::kDone);
}

// As before, but now the archive cannot be written any more, so it keeps the new binding.
TEST_F(ArchiveKillTest, BindingThatCannotBeTakenBackIsReportedAsAChange) {
    bool is_bound = false;
    listen_to_real_writes([&](const Real_write& write) {
        if (!has_name(write.descriptor, "shop.arc")) {
            return true;
        }
        constexpr std::uint64_t kStatePosition = 9;
        const bool removes_mark = write.place == kStatePosition && write.bytes[0] == '\0';
        if (write.is_done && removes_mark) {
            is_bound = true;
            m_folder.write("shop.kc", m_before.at("shop.kc") + "x");
        }
        return write.is_done || !is_bound;
    });
    observe_changes();
    note_change("another file");
    EXPECT_THROW(learn(), Output_error);
    listen_to_real_writes(nullptr);

    EXPECT_TRUE(is_bound);
    EXPECT_NE(change_message().find("shop.arc"), std::string_view::npos) << change_message();
    m_folder.write("shop.kc", m_before.at("shop.kc"));
    EXPECT_EQ(ids(), m_all);
    EXPECT_EQ(try_to_learn(), Learning::kNoMatch);
}

TEST_F(ArchiveKillTest, DeletionOfAllLearnedMessagesKeepsTheCountOfNewOnes) {
    delete_messages(target(), {{m_all.begin(), m_all.end()}, false, true});
    add("c", 1);
    Archive_training_options options = training_options(false, false);
    options.only_if_due = true;
    const Archive_training_summary summary = train_from_archive(options);
    EXPECT_FALSE(summary.is_due);
    EXPECT_EQ(summary.new_messages, 9U);  // numbers that were given since, also of b0 to b7
    EXPECT_EQ(train_from_archive(training_options(false, false)).used, 1U);
}

// The first writes are those of the new container.
TEST_F(ArchiveKillTest, NewContainerThatCannotBeWrittenLeavesBothFilesAsTheyWere) {
    listen_to_real_writes([&](const Real_write&) { return false; });
    EXPECT_THROW(learn(), Output_error);
    EXPECT_THROW(train(false), Output_error);
    listen_to_real_writes(nullptr);

    EXPECT_EQ(files(), m_before);
}

TEST_F(ArchiveKillTest, InterruptedTrainingLeavesBothFilesAsTheyWere) {
    for (const bool trains : {false, true}) {
        int questions = 0;
        for (bool has_ended = false; !has_ended; ++questions) {
            Interrupted_later progress(questions);
            Archive_training_options options = training_options(trains, true);
            options.target.progress = &progress;
            try {
                train_from_archive(options);
                has_ended = true;
            } catch (const qtxAll&) {
                EXPECT_EQ(files(), m_before) << questions;
            }
        }
        EXPECT_GT(questions, 3);
        restore(m_before);
    }
}

// If the container has not changed yet, the archive gets its old binding again.
TEST_F(ArchiveKillTest, InterruptedLearningInCachedFormCanBeRepeatedOrIsRefused) {
    use_cached_form();
    const States expected = states();
    bool has_ended = false;
    for (int questions = 0; !has_ended; questions += 4) {
        restore(m_before);
        Interrupted_later progress(questions);
        Archive_training_options options = training_options(false, false);
        options.target.progress = &progress;
        try {
            train_from_archive(options);
            has_ended = true;
        } catch (const std::exception&) {
            SCOPED_TRACE(questions);
            look_in_cached_form(expected);
        }
    }
    EXPECT_GT(m_tally[Learning::kDone], 1);
}

TEST_F(ArchiveKillTest, LearningOfNothingInCachedFormLeavesBothFilesAsTheyWere) {
    use_cached_form();
    learn();
    m_before = files();
    EXPECT_EQ(try_to_learn(), Learning::kNothingNew);
    EXPECT_EQ(files(), m_before);
}

// A chain of learning and training, once by the program and once by the library.
TEST_F(ArchiveKillTest, LearningAndTrainingEqualThoseOfTheLibraryToTheLastBit) {
    const std::vector<bool> trains = {false, true, true, false};
    std::vector<std::string> models;
    std::vector<std::set<std::string>> kept;
    for (const bool trains_now : trains) {
        train_from_archive(training_options(trains_now, false));
        models.push_back(fingerprint());
        kept.push_back(ids());
        add("c" + std::to_string(models.size()), 5);
    }

    restore(m_before);
    qtPtrLight<zeManager> manager = read_kc(container(), nullptr);
    for (std::size_t i = 0; i < trains.size(); ++i) {
        zeSmlArchive opened;
        opened.OpenArchive(archive(), false, false);
        if (trains[i]) {
            opened.TrainKc(manager, false, true, false, nullptr, false);
        } else {
            opened.Learn(manager, true, false, nullptr, false);
        }
        opened.CloseArchive();
        EXPECT_EQ(fingerprint_of(*manager), models[i]) << i;
        EXPECT_EQ(ids(), kept[i]) << i;
        add("c" + std::to_string(i + 1), 5);
    }
    EXPECT_NE(models[0], m_old_kc);
    EXPECT_NE(models[2], models[3]);
}

}  // namespace

}  // namespace zandrel::cli
