// The options of the commands below corpus. The work is in cli/corpus.
#include "cli/commands/corpus_commands.h"

#include <iostream>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/commands/analysis_options.h"
#include "cli/commands/data_form_options.h"
#include "cli/commands/option_checks.h"
#include "cli/corpus/Corpus_export.h"
#include "cli/corpus/Corpus_import.h"
#include "cli/corpus/Corpus_info.h"
#include "cli/kc/Text_output.h"
#include "cli/process/Long_work.h"
#include "text/data/Data_input.h"
#include "text/errors.h"
#include "text/wording/Json.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

constexpr const char* kImportNotes =
    R"(The texts are added to the corpus file FILE, which is made if there is none. A corpus file keeps the
concepts of the texts, so it is analysed once, with --analysis and --stem of the first import. Train,
learn, evaluate, split and tree suggest read it like a data file, without having all texts in memory.
With --bootstrap titles and keywords are kept too.

The new file takes the place of the old one when it is complete, so import needs room for both. A corpus
of version 1 is upgraded. A file that is no corpus is not changed.

If a damaged corpus file has messages that cannot be read, --skip-bad makes a corpus of the others. Train,
learn, evaluate, split and tree suggest can leave such messages out too.

Examples:
  zandrel corpus import shop.corpus shop.train.tsv
  zandrel corpus import shop.corpus export.csv --text body --label category
  zandrel corpus import new.corpus damaged.corpus --skip-bad

See also: zandrel help data, analysis, archives)";

constexpr const char* kInfoNotes =
    R"(info reads all messages, and prints the analysis of the texts and the number of texts of each label.

Example:
  zandrel corpus info shop.corpus)";

constexpr const char* kExportNotes =
    R"(Each line is an object of text, labels and pairs, and of title and keywords if the corpus has them.
corpus import of the lines with the same --analysis, --stem and --bootstrap gives the same messages. A
message of another program may have no text; then export stops and names its number, from 0. It also stops
at a message that cannot be read: first make a corpus of the others, with corpus import --skip-bad.

Example:
  zandrel corpus export shop.corpus -o shop.jsonl)";

struct Import_words {
    Analysis_names analysis;
    Import_options options;
    bool writes_json = false;
};

struct Corpus_words {
    std::string file;
    std::string output_file;  // empty or "-": standard output
    bool writes_json = false;
};

void import(Import_words& words) {
    words.options.analysis = analysis_settings(words.analysis);
    words.options.given = given_analysis(words.analysis);
    Import_summary summary;
    {
        Long_work work;
        words.options.progress = &work.progress();
        words.options.warn = [&work](const std::string& text) { work.warn(text); };
        summary = import_texts(words.options);
    }
    print_skipped(summary.skipped, std::cerr);
    if (words.writes_json) {
        print_json(import_json(summary), Json_form::kManyLines, std::cout);
    } else {
        print_import(summary, std::cout);
    }
}

void show(const Corpus_words& words) {
    Corpus_info info;
    {
        Long_work work;
        info = corpus_info(words.file, &work.progress());
    }
    if (words.writes_json) {
        print_json(corpus_info_json(info), Json_form::kManyLines, std::cout);
    } else {
        print_corpus_info(info, std::cout);
    }
}

// RAISES: Usage_error if the output is the corpus; what write_text and export_texts raise.
void write_lines(const Corpus_words& words) {
    if (lead_to_same_file(words.file, words.output_file)) {
        throw Usage_error("-o: " + shown_file(words.output_file) + " is the corpus");
    }
    const Stored_corpus corpus(words.file, 0);
    check_text_output(words.output_file);
    Long_work work;
    write_text(words.output_file,
               [&](std::ostream& out) { export_texts(corpus, &work.progress(), out); });
}

void add_file(CLI::App& command, std::string& file) {
    add_file_argument(command, "FILE", file, "Corpus file");
}

void add_import(CLI::App& corpus) {
    const auto words = std::make_shared<Import_words>();
    CLI::App* const command =
        corpus.add_subcommand("import", "Add the texts of data files to a corpus file");
    add_file(*command, words->options.corpus_file);
    command->add_option("DATA", words->options.data_files, "Data files; -: standard input")
        ->required()
        ->type_name("");
    add_analysis_options(*command, words->analysis, Analysis_kind::kPhrases);
    command->add_flag("--bootstrap", words->options.keeps_titles,
                      "Keep titles and keywords too, for train --bootstrap");
    command->add_flag("--skip-bad", words->options.skips_bad_lines,
                      "Leave bad data lines out and print their number");
    add_max_line_option(*command, words->options.longest_line);
    add_data_form_options(*command, words->options.form);
    add_wait_option(*command, words->options.seconds_to_wait);
    add_json_option(*command, words->writes_json);
    command->footer(kImportNotes);
    command->callback([words] { import(*words); });
}

void add_info(CLI::App& corpus) {
    const auto words = std::make_shared<Corpus_words>();
    CLI::App* const command =
        corpus.add_subcommand("info", "Show the labels of a corpus file and their texts' number");
    add_file(*command, words->file);
    add_json_option(*command, words->writes_json);
    command->footer(kInfoNotes);
    command->callback([words] { show(*words); });
}

void add_export(CLI::App& corpus) {
    const auto words = std::make_shared<Corpus_words>();
    CLI::App* const command =
        corpus.add_subcommand("export", "Write the texts of a corpus file as JSON lines");
    add_file(*command, words->file);
    add_output_option(*command, words->output_file);
    command->footer(kExportNotes);
    command->callback([words] { write_lines(*words); });
}

}  // namespace

void add_corpus_commands(CLI::App& app) {
    CLI::App* const corpus =
        app.add_subcommand("corpus", "Keep labelled texts in a corpus file, larger than memory");
    corpus->require_subcommand(1);
    add_import(*corpus);
    add_info(*corpus);
    add_export(*corpus);
}

}  // namespace zandrel::cli
