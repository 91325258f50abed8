// Item_reader: reads the data of an item from front to back.
#ifndef ZANDREL_CLI_RECORDS_ITEM_READER_H_
#define ZANDREL_CLI_RECORDS_ITEM_READER_H_

#include <cstdint>
#include <string>

#include "cli/records/File_window.h"
#include "cli/records/Record_scan.h"

namespace zandrel::cli {

// After a read behind the end, `is_whole` is false, and all further reads return 0 or nothing.
class Item_reader {
public:
    // `is_scrambled`: each run of SegBuf::kSegmentSize bytes is scrambled by itself.
    // BORROWS: `file`.
    Item_reader(File_window& file, const Scanned_item& item, bool is_scrambled)
        : m_file(file),
          m_data(item.data_offset()),
          m_length(item.data_length),
          m_is_scrambled(is_scrambled) {}

    void seek(std::uint64_t place) { m_place = place; }

    std::uint64_t length() const { return m_length; }

    bool is_whole() const { return m_is_whole; }

    bool is_at_end() const { return m_place == m_length; }

    std::string bytes(std::uint64_t count);
    void skip(std::uint64_t count);
    // A number of four bytes, the highest first.
    std::uint32_t word();

    // A word with the length, then so many bytes.
    std::string text() { return bytes(word()); }

private:
    bool takes(std::uint64_t count);
    void load(std::uint64_t place);

    File_window& m_file;
    std::uint64_t m_data;
    std::uint64_t m_length;
    bool m_is_scrambled;
    std::uint64_t m_place = 0;
    std::uint64_t m_start = 0;  // of the run in the data
    std::string m_run;
    bool m_is_whole = true;
};

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_RECORDS_ITEM_READER_H_
