// Holds the examples of docs/formats/record_file.md against the files that are written.
#include "tests/support/record_file.h"

#include <cstddef>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "zandrel/storage/Hreclaim.h"

#include "tests/support/record_bytes.h"

namespace {

bool is_byte(const std::string& word) {
    return word.size() == 2 && word.find_first_not_of("0123456789ABCDEF") == std::string::npos;
}

// Adds the bytes of a line: its position, bytes, perhaps a number of times for the last one, and
// then words of no account.
void take_line(const std::string& line, std::string& bytes) {
    std::istringstream words(line);
    std::size_t position = 0;
    if (!(words >> position)) {
        return;
    }
    EXPECT_EQ(position, bytes.size()) << line;
    for (std::string word; words >> word;) {
        if (is_byte(word)) {
            bytes += from_hex(word);
        } else if (word.starts_with('*')) {
            bytes.append(std::stoul(word.substr(1)) - 1, bytes.back());
        } else {
            return;
        }
    }
}

// The bytes of the document's block of this name.
std::string bytes_of_block(const std::string& name) {
    std::ifstream document(ZANDREL_RECORD_FILE_DOCUMENT);
    std::string bytes;
    bool is_inside = false;
    for (std::string line; std::getline(document, line);) {
        if (line.starts_with("```")) {
            is_inside = line == "```" + name;
        } else if (is_inside) {
            take_line(line, bytes);
        }
    }
    return bytes;
}

template <class F>
class RecordFileDocumentTest : public Record_file_test<F> {};

TYPED_TEST_SUITE(RecordFileDocumentTest, File_devices);

TYPED_TEST(RecordFileDocumentTest, ShowsTheFileThatIsWritten) {
    this->create();
    this->file.SetFileID(7, 2, 0);
    this->add("a", "one");
    this->add("b", "ox");
    this->add("b", "oxen");
    this->file.Close();

    EXPECT_EQ(to_hex(bytes_of_block(TestFixture::is_wide ? "hex64" : "hex32")),
              to_hex(this->disk.content()));
}

TYPED_TEST(RecordFileDocumentTest, ShowsAFileThatCanBeRead) {
    this->disk.write(bytes_of_block(TestFixture::is_wide ? "hex64" : "hex32"));

    this->file.Open(this->disk.path(), false, true);

    EXPECT_EQ(this->file.GetIndexSize(), 2U);
    EXPECT_EQ(this->get("a"), "one");
    EXPECT_EQ(this->get("b"), "oxen");
    EXPECT_EQ(this->file.file_id, 7U);
    EXPECT_EQ(this->file.file_version, 2U);
}

}  // namespace
