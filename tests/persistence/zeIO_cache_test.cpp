// The cached form of a container: its file is open, and few classifiers are in memory.
#include "zandrel/persistence/zeIO.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/persistence/CachePack.h"

#include "tests/support/kc_file.h"
#include "tests/support/scratch_file.h"
#include "tests/support/wide_tree.h"

namespace {

KcIoMode cached(unsigned int bound, bool read_only = false) {
    KcIoMode mode;
    mode.io_mode = KcIoMode::CACHED_IO;
    mode.cache_size = bound;
    mode.read_only = read_only;
    return mode;
}

class zeIOCacheTest : public testing::TestWithParam<unsigned int> {};

TEST_P(zeIOCacheTest, AnswersAreThoseOfEverythingInMemory) {
    constexpr int kGroups = 200;
    zeManager plain;
    build_groups(plain, kGroups);
    train_groups(plain, kGroups);
    const Scratch_file file;
    KcIoMode mode = cached(GetParam());
    plain.Write(file.path(), &mode, nullptr);
    const std::string before = file.content();

    zeManager manager;
    mode = cached(GetParam(), true);
    manager.Read(file.path(), &mode, nullptr);
    EXPECT_EQ(manager.ReadOnDemand(), GetParam());
    EXPECT_EQ(answers_of_groups(manager, kGroups), answers_of_groups(plain, kGroups));
    manager.Release();

    EXPECT_TRUE(same_bytes(file.content(), before));
}

TEST_P(zeIOCacheTest, TrainingAndCopyToPlainGiveTheBytesOfThePlainForm) {
    constexpr int kGroups = 10;
    zeManager plain;
    build_groups(plain, kGroups);
    const Scratch_file file;
    KcIoMode mode = cached(GetParam());
    plain.Write(file.path(), &mode, nullptr);

    zeManager manager;
    mode = cached(GetParam());
    manager.Read(file.path(), &mode, nullptr);
    train_groups(plain, kGroups);
    train_groups(manager, kGroups);
    manager.m_modified = true;
    manager.Write(file.path(), nullptr, nullptr);
    const std::string flushed = file.content();

    zeManager again;
    mode = cached(GetParam());
    again.Read(file.path(), &mode, nullptr);
    KcIoMode direct;
    direct.io_mode = KcIoMode::DIRECT_IO;
    const qtString name(file.path() + ".plain");
    again.Write(name, &direct, nullptr);
    zeManager read;
    KcIoMode any;
    read.Read(name, &any, nullptr);
    std::remove(name.c_str());
    EXPECT_EQ(any.io_mode, KcIoMode::DIRECT_IO);
    EXPECT_TRUE(same_bytes(saved(read), saved(plain)));
    EXPECT_EQ(answers_of_groups(again, kGroups), answers_of_groups(plain, kGroups));
}

INSTANTIATE_TEST_SUITE_P(Bounds, zeIOCacheTest, testing::Values(1U, 2U, 20U));

}  // namespace
