// Data_reader: reads the records of a data file one after the other, whatever its form is.
#ifndef ZANDREL_TEXT_DATA_DATA_READER_H_
#define ZANDREL_TEXT_DATA_DATA_READER_H_

#include <cstddef>
#include <functional>
#include <istream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "text/data/Data_form.h"
#include "text/data/Labelled_text.h"
#include "text/data/Line_reader.h"
#include "text/errors.h"

namespace zandrel {

// The row of a table that decides how many columns each row has.
struct First_row {
    std::size_t line = 0;
    std::size_t columns = 0;
};

// A text with its labels, or the error of a bad record.
struct Data_record {
    Labelled_text message = {};               // `line`: where the record begins
    std::optional<Data_error> error = {};     // set: the record is bad
    std::optional<First_row> first_row = {};  // set: the row has another number of columns
    std::vector<std::string> columns = {};    // of a row of a CSV file, for an echo
    std::string_view line = {};  // of JSON lines, for an echo; valid until the next record
};

class Data_reader {
public:
    Data_reader() = default;
    Data_reader(const Data_reader&) = delete;
    Data_reader& operator=(const Data_reader&) = delete;
    virtual ~Data_reader() = default;

    // Reads the header, if there is one. `next` calls it too.
    // RAISES: Data_error for a header without a wanted column; as `next`.
    virtual void begin() {}

    // Reads the next record, good or bad. Returns false at the end.
    // RAISES: Input_error if reading fails; Data_error for damaged compressed data; as `begin`.
    virtual bool next(Data_record& record) = 0;

    // The names of the columns of a CSV file; empty without a header. REQUIRES: begin().
    virtual const std::vector<std::string>& header() const {
        static const std::vector<std::string> none;
        return none;
    }
};

// The bytes to read, and what the reader should take from each record.
struct Data_source {
    std::istream& stream;
    std::string name;  // for messages
    Columns columns = Columns::kText;
    std::size_t longest = kLongestLine;            // record in bytes; a longer one is bad
    std::function<void()> before_waiting = [] {};  // see Line_reader
    bool needs_labels = true;                      // false: labels are not read at all
    bool needs_text = true;                        // false: in JSON lines the text may be missing
};

// Makes the reader for a format. With the default form, kTsv reads the lines of
// read_labelled_texts. The other formats are described in docs/formats/data.md. BORROWS: the
// stream of `source`; nothing else may read it meanwhile.
// RAISES: Usage_error for options that the format does not have. REQUIRES: not kLines.
std::unique_ptr<Data_reader> make_data_reader(const Data_source& source, Data_format format,
                                              const Data_form& form);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_DATA_READER_H_
