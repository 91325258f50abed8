// Reads each file into a list of its own, since warnings name the file, and then joins the lists.
#include "cli/evaluate/Whole_data.h"

#include <cstddef>
#include <utility>

#include "text/data/Data_input.h"
#include "text/data/Data_warnings.h"
#include "text/wording/Layout.h"

namespace zandrel::cli {

namespace {

using Texts = std::vector<Labelled_text>;

void warn_of_files(const Evaluation_options& options, const std::vector<Texts>& read) {
    if (!options.warn) {
        return;
    }
    std::vector<Named_texts> files;
    for (std::size_t i = 0; i < read.size(); ++i) {
        files.push_back({input_name(options.data_files[i]), read[i]});
    }
    for (const std::string& warning : training_warnings(files)) {
        options.warn(warning);
    }
}

}  // namespace

void check_input(const Evaluation_options& options) {
    std::vector<std::string> to_train = options.data_files;
    to_train.push_back(options.train_file);
    std::vector<std::string> files = to_train;
    files.insert(files.end(), {options.test_file, options.learn_file.value_or("")});
    check_read_once(files);
    if (options.warn && waits_for_typing(files)) {
        const bool types_training_data = waits_for_typing(to_train);
        options.warn(typing_note(lines_of_columns(
            training_columns(options.bootstraps && types_training_data), options.form)));
    }
}

Whole_data read_whole_data(const Evaluation_options& options, Skipped_lines* skipped) {
    std::vector<Texts> files;
    for (const std::string& path : options.data_files) {
        files.push_back(read_labelled_file(path, skipped, training_columns(options.bootstraps),
                                           options.longest_line, options.form));
    }
    warn_of_files(options, files);
    Whole_data whole;
    whole.name = files.size() == 1 ? input_name(options.data_files.front())
                                   : grouped(files.size()) + " data files";
    for (std::size_t file = 0; file < files.size(); ++file) {
        for (Labelled_text& text : files[file]) {
            text.file = file;
            whole.texts.push_back(std::move(text));
        }
    }
    return whole;
}

}  // namespace zandrel::cli
