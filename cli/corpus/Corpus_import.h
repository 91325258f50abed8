// Corpus_import: adds the texts of data files to a corpus file.
#ifndef ZANDREL_CLI_CORPUS_CORPUS_IMPORT_H_
#define ZANDREL_CLI_CORPUS_CORPUS_IMPORT_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "zandrel/foundation/CTProgress.h"

#include "text/data/Data_form.h"
#include "text/data/Labelled_text.h"
#include "text/kc/Kept_analysis.h"

namespace zandrel::cli {

struct Import_options {
    std::string corpus_file;
    std::vector<std::string> data_files;  // at least one
    Given_analysis given = {};            // by the command line
    Analysis_settings analysis = {};      // of a new corpus, unless a data file is a corpus
    bool keeps_titles = false;            // the data have titles and keywords for a bootstrap
    bool skips_bad_lines = false;
    Data_form form = {};                      // of the data files
    std::size_t longest_line = kLongestLine;  // in bytes; a longer one is bad
    double seconds_to_wait = 0.0;             // while another process changes the corpus
    CTProgress* progress = nullptr;           // BORROWS: null: no reports, no interruption
    std::function<void(const std::string&)> warn = {};  // may be empty
};

struct Import_summary {
    std::string corpus_file;
    std::size_t added = 0;
    std::size_t texts = 0;     // of the corpus afterwards
    std::uintmax_t bytes = 0;  // of the file
    bool is_upgraded = false;  // the file was of version 1
    Skipped_lines skipped = {};
};

// Adds the texts to a new corpus, or to a copy of the old one, which then takes its place. So the
// file stays as it was if anything fails. One text at a time is in memory.
// RAISES, before the file has changed: Usage_error if the corpus is one of the data files, or for
// another analysis or other columns than the corpus has; Data_error if the file exists and is no
// corpus, and for a knowledge container among the data files; what Kc_lock, Stored_corpus,
// Corpus_writer and read_labelled_file raise.
Import_summary import_texts(const Import_options& options);

// Prints one line.
void print_import(const Import_summary& summary, std::ostream& out);
// An object of `file`, `added`, `texts`, `bytes`, `upgraded` and `skipped_lines`.
nlohmann::ordered_json import_json(const Import_summary& summary);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_CORPUS_CORPUS_IMPORT_H_
