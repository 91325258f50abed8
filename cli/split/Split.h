// Split: divides a data file into two files, for example to train and to test.
#ifndef ZANDREL_CLI_SPLIT_SPLIT_H_
#define ZANDREL_CLI_SPLIT_SPLIT_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>

#include "text/data/Data_form.h"
#include "text/data/Folds.h"
#include "text/data/Labelled_text.h"

namespace zandrel::cli {

struct Split_options {
    std::string data_file;  // "-": standard input
    std::string rest_file;
    std::string share_file;
    double share = 0.2;  // of the texts for `share_file`; see held_out_texts
    std::uint64_t seed = kDefaultSeed;
    bool skips_bad_lines = false;
    Data_form form = {};                      // of the data file, and of both new files
    std::size_t longest_line = kLongestLine;  // in bytes; a longer line is bad
    bool replaces = false;                    // allows to replace files that exist
    // Takes warnings about probable mistakes in the data (training_warnings). May be empty.
    std::function<void(const std::string&)> warn = {};
};

struct Split_summary {
    std::size_t rest_texts = 0;
    std::size_t share_texts = 0;
    Skipped_lines skipped = {};
};

// Copies each record to one of the two files, byte for byte and in the order of the data file.
// These are the texts that `evaluate` holds out with the same share and seed. Blank lines and
// skipped records are in neither file. A header and a byte order mark are in both. If the data file
// is compressed, the new files are not.
//
// A corpus file is divided into two corpus files, with the same analysis.
//
// Each file is written completely or not at all (Replacement_file), and both are written before
// either takes its place. A file that exists keeps its attributes.
// RAISES, before either file has changed: Usage_error if two of the three files are the same, or if
// a file exists and `replaces` is false, or if the name of a file promises another form than the
// data file has; Data_error if the file to be replaced, or the data file, is a knowledge container,
// or if a file would get no text; what read_labelled_file raises; Output_error. After `rest_file`
// has changed: Output_error.
Split_summary split(const Split_options& options);

// Prints a line for each file.
void print_split(const Split_options& options, const Split_summary& summary, std::ostream& out);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_SPLIT_SPLIT_H_
