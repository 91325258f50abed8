#include "text/data/Data_input.h"

#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "tests/cli/Typed_input.h"
#include "tests/cli/scratch_folder.h"
#include "text/data/Labelled_text.h"
#include "text/errors.h"

namespace zandrel::cli {

namespace {

std::string content(Data_input& input) {
    return {std::istreambuf_iterator<char>(input.stream()), std::istreambuf_iterator<char>()};
}

TEST(DataInputTest, NameOfAFileOpensTheFile) {
    const Scratch_folder folder;
    const Typed_input typed("typed\n");
    Data_input input(folder.write("data.tsv", "a\tb\n"));

    EXPECT_EQ(content(input), "a\tb\n");
    EXPECT_EQ(input.name(), folder.file("data.tsv"));
}

TEST(DataInputTest, HyphenIsStandardInput) {
    const Typed_input typed("typed\n");
    Data_input input("-");

    EXPECT_EQ(content(input), "typed\n");
    EXPECT_EQ(input.name(), "<stdin>");
}

TEST(DataInputTest, FileNamedHyphenNeedsItsFolder) {
    EXPECT_TRUE(is_standard_input("-"));
    EXPECT_FALSE(is_standard_input("./-"));
    EXPECT_FALSE(is_standard_input(""));
    EXPECT_FALSE(is_standard_input("--"));
}

TEST(DataInputTest, AbsentFileRaises) {
    const Scratch_folder folder;

    EXPECT_THROW(Data_input(folder.file("absent.tsv")), Input_error);
}

TEST(DataInputTest, SecondHyphenIsRefused) {
    EXPECT_NO_THROW(check_read_once({}));
    EXPECT_NO_THROW(check_read_once({"a.tsv", "-", "a.tsv"}));
    EXPECT_THROW(check_read_once({"-", "a.tsv", "-"}), Usage_error);
}

TEST(DataInputTest, FileIsNotATerminal) {
    EXPECT_FALSE(waits_for_typing({}));
    EXPECT_FALSE(waits_for_typing({"a.tsv", ""}));
}

TEST(DataInputTest, LabelledTextsComeFromStandardInput) {
    const Typed_input typed("sport\tgoal\n");

    const std::vector<Labelled_text> texts = read_labelled_file("-");

    ASSERT_EQ(texts.size(), 1U);
    EXPECT_EQ(texts.front().text, "goal");
}

TEST(DataInputTest, BadLineOfStandardInputIsNamed) {
    const Typed_input typed("sport\tgoal\nno tab\n");

    try {
        read_labelled_file("-");
        ADD_FAILURE() << "no error";
    } catch (const Data_error& error) {
        EXPECT_STREQ(error.what(), "<stdin>:2: no tab between label and text");
    }
}

}  // namespace

}  // namespace zandrel::cli
