// The seal of files that the program writes, and its check when the program reads them.
#include "text/kc/Kc_file.h"

#include <cstddef>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/persistence/Hpack.h"
#include "zandrel/persistence/Kc_seal.h"

#include "tests/cli/damaged_bits.h"
#include "tests/cli/scratch_folder.h"
#include "text/errors.h"
#include "text/kc/Kc_file_facts.h"
#include "text/kc/Stored_model.h"

using zandrel::Kc_seal;

namespace zandrel::cli {

namespace {

using testing::IsEmpty;
using testing::Not;

// The parameter: whether the file is compact.
class KcFileSealTest : public testing::TestWithParam<bool> {
protected:
    // Only every 97th bit is changed, some hundred bits of a file of some thousand bytes. 97 is
    // odd, so each of the eight bits of a byte occurs.
    static constexpr std::size_t kShare = 97;

    void SetUp() override { write_small_kc(m_path, GetParam()); }

    std::string error_of_reading() const {
        try {
            read_kc(m_path, nullptr);
        } catch (const Data_error& error) {
            return error.what();
        }
        return "";
    }

    // Adds or replaces an item of the package.
    void add_item(const qtString& key) const {
        Hpack pack;
        SegBuf nothing;
        pack.Open(m_path, 'u');
        pack.AddAtOffset(key, nothing, 0);
        pack.Close();
    }

    Scratch_folder m_folder;
    std::string m_path = m_folder.file("a.kc");
};

INSTANTIATE_TEST_SUITE_P(Forms, KcFileSealTest, testing::Bool(),
                         [](const auto& form) { return form.param ? "Compact" : "Full"; });

TEST_P(KcFileSealTest, WrittenFileIsSealed) {
    EXPECT_TRUE(Kc_seal::Verify(m_path));
    EXPECT_TRUE(read_kc_file_facts(m_path).is_sealed);
    EXPECT_EQ(read_kc(m_path, nullptr)->m_compact, GetParam());
}

// If the answers did not use the tables, a changed bit of a table would not change an answer, and
// the tests of single bits would test nothing there.
TEST_P(KcFileSealTest, AnswersOfTheSmallFileUseItsTables) {
    const auto model = read_model(m_path, {}, nullptr);
    ASSERT_TRUE(model->uses_tables());
    const double with_tables = model->rank("goal bank", -1).front().score;
    model->use_tables(false);

    EXPECT_NE(model->rank("goal bank", -1).front().score, with_tables);
    EXPECT_THAT(answers_of(m_path), testing::HasSubstr("goal match: sport "));
}

TEST_P(KcFileSealTest, UnsealedFileIsReadAsBefore) {
    const std::string answers = answers_of(m_path);

    write_without_seal(m_path);

    EXPECT_FALSE(read_kc_file_facts(m_path).is_sealed);
    EXPECT_EQ(answers_of(m_path), answers);
}

TEST_P(KcFileSealTest, UnsealedFileGetsASealWhenItIsWrittenAgain) {
    const std::string sealed = m_folder.content("a.kc");
    write_without_seal(m_path);

    write_kc(m_path, *read_kc(m_path, nullptr), GetParam(), nullptr);

    EXPECT_TRUE(Kc_seal::Verify(m_path));
    EXPECT_EQ(m_folder.content("a.kc"), sealed);
}

TEST_P(KcFileSealTest, ItemThatAnotherProgramChangedIsRefused) {
    add_item(Hpack::MakeStringKey(2));

    EXPECT_EQ(error_of_reading(),
              m_path +
                  ": the container is damaged: its bytes are not those that were sealed (Seal does "
                  "not match: object 2)");
}

TEST_P(KcFileSealTest, ItemThatAnotherProgramAddedIsRefused) {
    add_item("mine");

    EXPECT_EQ(error_of_reading(),
              m_path +
                  ": the container is damaged: its bytes are not those that were sealed (Seal does "
                  "not match: list of items)");
}

TEST_P(KcFileSealTest, UnknownFormOfTheSealIsRefused) {
    Hpack pack;
    SegBuf form;
    pack.Open(m_path, 'u');
    Hio<HSegment>(new HSegment(form, 'w')) << 7U;
    pack.AddAtOffset(Kc_seal::kKey, form, 0);
    pack.Close();

    EXPECT_EQ(error_of_reading(),
              m_path +
                  ": the container is damaged, or was sealed by a later version of this program "
                  "(Unknown form of seal: 7)");
}

TEST_P(KcFileSealTest, ChangedBitIsRefusedOrHarmless) {
    const std::string before = m_folder.content("a.kc");

    const Damaged_bits bits = damage_bits(m_path, 0, kShare);

    EXPECT_THAT(bits.changed, IsEmpty()) << bits;
    EXPECT_GT(bits.refused, before.size() * 8 / kShare - 5) << bits;
    EXPECT_EQ(m_folder.content("a.kc"), before);
}

// Without the seal some answers change. So ChangedBitIsRefusedOrHarmless really depends on the
// seal.
TEST_P(KcFileSealTest, ChangedBitOfAnUnsealedFileChangesAnswers) {
    write_without_seal(m_path);

    const Damaged_bits bits = damage_bits(m_path, 0, kShare);

    EXPECT_THAT(bits.changed, Not(IsEmpty())) << bits;
}

}  // namespace

}  // namespace zandrel::cli
