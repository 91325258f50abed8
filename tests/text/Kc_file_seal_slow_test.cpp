// Changes every single bit of sealed files. The program must refuse the file or give exactly the
// same answers.
#include <cstddef>
#include <filesystem>
#include <iostream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/damaged_bits.h"
#include "tests/cli/scratch_folder.h"

namespace zandrel::cli {

namespace {

class KcFileSealSlowTest : public testing::TestWithParam<bool> {};

INSTANTIATE_TEST_SUITE_P(Forms, KcFileSealSlowTest, testing::Bool(),
                         [](const auto& form) { return form.param ? "Compact" : "Full"; });

TEST_P(KcFileSealSlowTest, EveryChangedBitIsRefusedOrHarmless) {
    const Scratch_folder folder;
    const std::string path = folder.file("a.kc");
    write_small_kc(path, GetParam());
    const std::size_t bit_count = 8 * std::filesystem::file_size(path);

    const Damaged_bits bits = damage_bits(path, 0, 1);

    std::cout << bits << '\n';
    EXPECT_THAT(bits.changed, testing::IsEmpty()) << bits;
    EXPECT_EQ(bits.refused + bits.same, bit_count);
    // These bits are harmless: the Unicode bit, the bits of the seal's key in the index, and one
    // bit of the number of keys. They are fewer than 80.
    EXPECT_GE(bits.same, 1U);
    EXPECT_LT(bits.same, 80U);
}

}  // namespace

}  // namespace zandrel::cli
