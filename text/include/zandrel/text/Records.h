// Records: reads labelled texts from files, one after the other.
#ifndef ZANDREL_TEXT_INCLUDE_ZANDREL_TEXT_RECORDS_H_
#define ZANDREL_TEXT_INCLUDE_ZANDREL_TEXT_RECORDS_H_

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zandrel/text/Error.h"
#include "zandrel/text/Text.h"
#include "zandrel/text/export.h"

namespace zandrel {

// The form of a data file; see docs/formats/data.md. Missing parts follow from the file's
// name.
struct Record_form {
    // "tsv", "csv", "jsonl", "fasttext", or "lines": a text on each line, and no labels. Empty: by
    // the file's name.
    std::string format = {};
    std::vector<std::string> text_columns = {};  // names or numbers from 1; empty: the default
    std::vector<std::string> label_columns = {};
    std::vector<std::string> field_columns = {};  // NAME or NAME=COLUMN
    bool has_header = false;
    std::optional<std::string> label_separator = {};
    // false: records need no labels and get none. They can be classified, not learned. The places
    // of columns do not change: the text of a CSV file without a header is in column 2 unless
    // `text_columns` says otherwise.
    bool has_labels = true;
};

// The records of a data file: lines "label<TAB>text", CSV, JSON lines, fastText's form, each also
// compressed with gzip or zstd, and corpus files, which always give their labels. One record is in
// memory at a time.
//
// Threads: one object belongs to one thread at a time.
//
// Errors: Error; wrong_data with file and line for a bad record. After it the next record can be
// read. A failure of the file itself is raised once, for example if a compressed file is damaged or
// a header lacks a column. After it `next` returns false; training and learning raise it again.
class ZANDREL_TEXT_EXPORT Records {
public:
    class ZANDREL_TEXT_LOCAL Impl;  // the library's own

    // RAISES: not_found, cannot_read, wrong_data, invalid_argument.
    static Records open(const std::string& path, const Record_form& form = {});

    Records(Records&&) noexcept;
    Records& operator=(Records&&) noexcept;
    ~Records();

    // Reads the next record. Returns false at the end, and after a failure of the file itself.
    bool next(Example& record);

private:
    friend class Classifier;
    ZANDREL_TEXT_LOCAL explicit Records(std::unique_ptr<Impl> impl);

    std::unique_ptr<Impl> m_impl;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_INCLUDE_ZANDREL_TEXT_RECORDS_H_
