// Looks at each moment of Archive_kill_test.cpp.
#include "tests/cli/archive_kills.h"

namespace zandrel::cli {

namespace {

using ArchiveKillSlowTest = ArchiveKillTest;

TEST_F(ArchiveKillSlowTest, KilledLearning) {
    look_at_kills_of_learning(1);
}

TEST_F(ArchiveKillSlowTest, KilledTraining) {
    look_at_kills_of_training(1);
}

TEST_F(ArchiveKillSlowTest, KilledLearningInCachedForm) {
    look_at_kills_in_cached_form(1);
}

TEST_F(ArchiveKillSlowTest, KilledReplacement) {
    look_at_kills_of_replacement(1);
}

TEST_F(ArchiveKillSlowTest, KilledChangeOfNumbers) {
    look_at_kills_of_new_numbers(1);
}

TEST_F(ArchiveKillSlowTest, KilledLearningThatChangesNumbers) {
    look_at_kills_of_learning_with_new_numbers(1);
}

TEST_F(ArchiveKillSlowTest, KilledDeletion) {
    look_at_kills_of_deletion(1);
}

TEST_F(ArchiveKillSlowTest, KilledRename) {
    look_at_kills_of_rename(1);
}

TEST_F(ArchiveKillSlowTest, KilledAddition) {
    look_at_kills_of_addition(1);
}

TEST_F(ArchiveKillSlowTest, FullDisk) {
    look_at_full_disks(1);
}

}  // namespace

}  // namespace zandrel::cli
