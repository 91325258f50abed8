// Compares the examples of docs/formats/record_file.md with the files that the library writes.
#include "tests/support/record_file.h"

#include <string>

#include <gtest/gtest.h>

#include "zandrel/storage/Hreclaim.h"

#include "tests/support/document_bytes.h"
#include "tests/support/record_bytes.h"

namespace {

// The bytes of the document's block for this width of offsets.
std::string shown_bytes(bool is_wide) {
    return bytes_of_block(ZANDREL_RECORD_FILE_DOCUMENT, is_wide ? "hex64" : "hex32");
}

template <class F>
class RecordFileDocumentTest : public Record_file_test<F> {};

TYPED_TEST_SUITE(RecordFileDocumentTest, File_devices);

TYPED_TEST(RecordFileDocumentTest, DocumentShowsTheFileThatIsWritten) {
    this->create();
    this->file.SetFileID(7, 2, 0);
    this->add("a", "one");
    this->add("b", "ox");
    this->add("b", "oxen");
    this->file.Close();

    EXPECT_EQ(to_hex(shown_bytes(TestFixture::is_wide)), to_hex(this->disk.content()));
}

TYPED_TEST(RecordFileDocumentTest, DocumentShowsAFileThatCanBeRead) {
    this->disk.write(shown_bytes(TestFixture::is_wide));

    this->file.Open(this->disk.path(), false, true);

    EXPECT_EQ(this->file.GetIndexSize(), 2U);
    EXPECT_EQ(this->get("a"), "one");
    EXPECT_EQ(this->get("b"), "oxen");
    EXPECT_EQ(this->file.file_id, 7U);
    EXPECT_EQ(this->file.file_version, 2U);
}

}  // namespace
