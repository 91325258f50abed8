// A process that is killed while it changes an archive, and a disk that becomes full meanwhile.
// After the recovery that operations.md describes, the archive is clean, has all messages that were
// added, and no message is learned twice or left out.
//
// The files are copied before and after each write, and after its first half. Each copy is what a
// killed process would leave. Archive_kill_slow_test.cpp looks at all of them.
#include <gtest/gtest.h>

#include "tests/cli/archive_kills.h"

namespace cli {

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

TEST_F(ArchiveKillTest, KilledReplacementKeepsTheOldMessageOrTheNewOne) {
    look_at_kills_of_replacement(kStride);
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

}  // namespace cli
