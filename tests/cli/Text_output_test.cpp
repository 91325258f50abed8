#include "cli/kc/Text_output.h"

#include <iostream>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/scratch_folder.h"
#include "tests/cli/small_kc.h"
#include "text/errors.h"
#include "text/kc/Kc_file.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;

void write_hello(std::ostream& out) {
    out << "hello\n";
}

std::string output_refusal(const std::string& file) {
    try {
        write_text(file, write_hello);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "none";
}

TEST(TextOutputTest, NoNameAndAHyphenAreStandardOutput) {
    for (const char* const file : {"", "-"}) {
        std::ostringstream out;
        std::streambuf* const before = std::cout.rdbuf(out.rdbuf());

        write_text(file, write_hello);

        std::cout.rdbuf(before);
        EXPECT_EQ(out.str(), "hello\n");
    }
}

TEST(TextOutputTest, FileIsMadeOrReplaced) {
    const Scratch_folder folder;
    write_text(folder.file("new"), write_hello);
    write_text(folder.write("old", "from before, and longer"), write_hello);

    EXPECT_EQ(folder.content("new"), "hello\n");
    EXPECT_EQ(folder.content("old"), "hello\n");
    EXPECT_THAT(folder.names(), ElementsAre("new", "old"));
}

TEST(TextOutputTest, FileStaysIfWritingFails) {
    const Scratch_folder folder;
    const std::string file = folder.write("old", "from before");

    EXPECT_THROW(write_text(file, [](std::ostream& out) { out.setstate(std::ios::badbit); }),
                 Output_error);
    EXPECT_THROW(write_text(file, [](std::ostream&) { throw std::logic_error("stop"); }),
                 std::logic_error);

    EXPECT_EQ(folder.content("old"), "from before");
    EXPECT_THAT(folder.names(), ElementsAre("old"));
}

TEST(TextOutputTest, ContainerIsNotReplaced) {
    const Scratch_folder folder;
    const std::string file = folder.file("a.kc");
    write_kc(file, Small_kc().Manager(), false, nullptr);
    const std::string before = folder.content("a.kc");

    EXPECT_EQ(output_refusal(file), file + " is a knowledge container; a text does not replace it");
    EXPECT_THROW(write_text(file, write_hello), Usage_error);

    EXPECT_EQ(folder.content("a.kc"), before);
}

// /dev/stdout is such a link if standard output is a pipe.
TEST(TextOutputTest, LinkOfTheSystemToAPipeIsRefused) {
    int ends[2] = {};
    ASSERT_EQ(::pipe(ends), 0);
    const std::string file = "/proc/self/fd/" + std::to_string(ends[1]);

    EXPECT_EQ(output_refusal(file), "cannot write " + file + ": not a regular file");

    ::close(ends[0]);
    ::close(ends[1]);
}

TEST(TextOutputTest, FolderAndDeviceAreRefused) {
    const Scratch_folder folder;

    EXPECT_EQ(output_refusal(folder.path()), "cannot write " + folder.path() + ": Is a directory");
    EXPECT_EQ(output_refusal("/dev/full"), "cannot write /dev/full: not a regular file");
    EXPECT_EQ(output_refusal(folder.file("no/file")),
              "cannot write " + folder.file("no/file") + ": No such file or directory");
}

}  // namespace

}  // namespace zandrel::cli
