#include "text/data/Packing.h"

#include <sstream>
#include <string>
#include <zlib.h>
#include <zstd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/Typed_input.h"
#include "tests/cli/scratch_folder.h"
#include "text/data/Data_input.h"
#include "text/data/Labelled_text.h"
#include "text/errors.h"

namespace zandrel::cli {

namespace {

using testing::HasSubstr;

std::string GzipOf(const std::string& bytes) {
    z_stream state = {};
    deflateInit2(&state, 9, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY);
    std::string packed(deflateBound(&state, bytes.size()), '\0');
    state.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    state.avail_in = static_cast<uInt>(bytes.size());
    state.next_out = reinterpret_cast<Bytef*>(packed.data());
    state.avail_out = static_cast<uInt>(packed.size());
    EXPECT_EQ(deflate(&state, Z_FINISH), Z_STREAM_END);
    packed.resize(state.total_out);
    deflateEnd(&state);
    return packed;
}

std::string ZstdOf(const std::string& bytes) {
    std::string packed(ZSTD_compressBound(bytes.size()), '\0');
    ZSTD_CCtx* const state = ZSTD_createCCtx();
    ZSTD_CCtx_setParameter(state, ZSTD_c_checksumFlag, 1);
    packed.resize(ZSTD_compress2(state, packed.data(), packed.size(), bytes.data(), bytes.size()));
    ZSTD_freeCCtx(state);
    return packed;
}

// The first text of a data file, or the message of its error.
std::string FirstTextOf(const std::string& path, std::size_t longest = kLongestLine) {
    try {
        return read_labelled_file(path, nullptr, Columns::kText, longest).front().text;
    } catch (const Data_error& error) {
        return error.what();
    }
}

// Bytes that do not repeat, so that the compressed bytes are many.
std::string DataLines() {
    std::string lines;
    unsigned int number = 1;
    for (int i = 0; i < 20000; ++i) {
        number = number * 1103515245U + 12345U;
        lines += "x\tt" + std::to_string(number) + "\n";
    }
    return lines;
}

}  // namespace

TEST(PackingTest, CompressedFilesAreRead) {
    const Scratch_folder folder;
    const std::string lines = DataLines();

    for (const std::string& file :
         {folder.write("a.tsv.gz", GzipOf(lines)), folder.write("a.tsv.zst", ZstdOf(lines)),
          folder.write("gz", GzipOf(lines)), folder.write("zst", ZstdOf(lines))}) {
        const std::vector<Labelled_text> texts = read_labelled_file(file);
        ASSERT_EQ(texts.size(), 20000U) << file;
        EXPECT_EQ(texts.back().line, 20000U);
        EXPECT_EQ("x\t" + texts.back().text + "\n", lines.substr(lines.rfind('x')));
    }
}

TEST(PackingTest, CompressedStandardInputIsRead) {
    for (const std::string& packed : {GzipOf("x\tgoal\n"), ZstdOf("x\tgoal\n")}) {
        const Typed_input typed(packed);

        EXPECT_EQ(FirstTextOf("-"), "goal");
    }
}

TEST(PackingTest, PartsAreReadOneAfterTheOther) {
    const Scratch_folder folder;
    const std::string zeros(1000, '\0');

    EXPECT_EQ(FirstTextOf(folder.write("a.gz", GzipOf("x\ta") + GzipOf("b\n") + zeros)), "ab");
    EXPECT_EQ(FirstTextOf(folder.write("a.zst", ZstdOf("x\ta") + ZstdOf("b\n"))), "ab");
}

TEST(PackingTest, TextThatBeginsWithABracketIsNotCompressed) {
    const Scratch_folder folder;

    EXPECT_EQ(FirstTextOf(folder.write("a.tsv", "(\ta")), "a");
    EXPECT_EQ(FirstTextOf(folder.write("b.tsv", "(x)\ta\n")), "a");
}

TEST(PackingTest, DataThatEndsTooEarlyIsRefused) {
    const Scratch_folder folder;
    const std::string lines = DataLines();

    for (const std::string& packed : {GzipOf(lines), ZstdOf(lines)}) {
        for (const std::size_t size : {std::size_t(5), packed.size() / 2, packed.size() - 1}) {
            const std::string file = folder.write("a.tsv", packed.substr(0, size));
            EXPECT_EQ(FirstTextOf(file), file + ": the compressed data ends too early, after " +
                                             std::to_string(size) + " bytes");
        }
    }
}

TEST(PackingTest, DamagedDataIsRefused) {
    const Scratch_folder folder;
    const std::string lines = DataLines();
    std::string gzip = GzipOf(lines);
    gzip[gzip.size() - 6] ^= 1;  // the checksum
    std::string zstd = ZstdOf(lines);
    zstd[zstd.size() / 2] ^= 1;

    EXPECT_THAT(FirstTextOf(folder.write("a.tsv.gz", gzip)), HasSubstr("incorrect data check"));
    EXPECT_THAT(FirstTextOf(folder.write("a.tsv.zst", zstd)),
                HasSubstr("a.tsv.zst: the compressed data is damaged near byte "));
    EXPECT_THAT(FirstTextOf(folder.write("b.tsv.gz", GzipOf("x\ta\n") + "more")),
                HasSubstr("b.tsv.gz: the compressed data is damaged near byte "));
}

TEST(PackingTest, FileThatIsNotCompressedAsItsNamePromisesIsRefused) {
    const Scratch_folder folder;
    const std::string gz = folder.write("a.tsv.gz", "x\ta\n");
    const std::string zst = folder.write("a.tsv.zst", GzipOf("x\ta\n"));
    const std::string empty = folder.write("b.tsv.gz", "");

    EXPECT_EQ(FirstTextOf(gz), gz + ": this is not compressed with gzip, as .gz promises");
    EXPECT_EQ(FirstTextOf(zst), zst + ": this is not compressed with zstd, as .zst promises");
    EXPECT_EQ(FirstTextOf(empty), empty + ": this is not compressed with gzip, as .gz promises");
}

// 64 MB of one line are 64 kB of gzip. Only the limit of a line is kept in memory.
TEST(PackingTest, ExpandingLineIsRefusedAtItsLimit) {
    const Scratch_folder folder;
    const std::string file =
        folder.write("a.tsv.gz", GzipOf("x\t" + std::string(std::size_t(64) << 20U, 'a')));

    EXPECT_EQ(FirstTextOf(file, 1000),
              file + ":1: the line is longer than 1,000 bytes; --max-line raises the limit");
}

TEST(PackingTest, FolderIsRefused) {
    const Scratch_folder folder;

    try {
        read_labelled_file(folder.file("."));
        ADD_FAILURE() << "no error";
    } catch (const Input_error& error) {
        EXPECT_THAT(error.what(), HasSubstr("Is a directory"));
    }
}

}  // namespace zandrel::cli
