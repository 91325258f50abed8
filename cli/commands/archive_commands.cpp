// The options of the commands below archive.
#include "cli/commands/archive_commands.h"

#include <filesystem>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/archive/Archive_edit.h"
#include "cli/archive/Archive_file.h"
#include "cli/archive/Archive_report.h"
#include "cli/archive/Archive_training.h"
#include "cli/commands/analysis_options.h"
#include "cli/commands/data_form_options.h"
#include "cli/commands/option_checks.h"
#include "cli/process/Long_work.h"
#include "text/errors.h"
#include "text/wording/Json.h"
#include "text/wording/Layout.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

constexpr const char* kArchiveNotes =
    R"(An archive is a file with labelled messages, which grows with a stream of them. It reserves the newest
messages of each category, and learn and train delete old messages that are not reserved.

The first commands, in which train makes the container, since archive train and learn only change one:
  zandrel archive create shop.arc
  zandrel archive add shop.arc shop.train.tsv
  zandrel train shop.kc shop.train.tsv
  zandrel archive train shop.arc shop.kc
  zandrel archive add shop.arc --id case-7 --category refund "I want my money back"
  zandrel archive learn shop.arc shop.kc

See also: zandrel help archives, containers, data, analysis)";

constexpr const char* kAddNotes =
    R"(With --category, the last word is the text of one message. --replaces removes the message with that id,
so a correction by a person is one command. Both happen, or nothing does. Without --category, the words
are data files.
Messages of a corpus file are taken as they are; their text analysis must be the one of the archive.

All data files are read before the archive changes. The messages are added in place: if the process is
killed or the disk is full, zandrel rebuild-index repairs the archive.

Examples:
  zandrel archive add shop.arc monday.tsv tuesday.tsv
  zandrel archive add shop.arc shop.corpus
  zandrel archive add shop.arc --id case-8 --category delivery --replaces case-7 "Where is my parcel?"

See also: zandrel help archives, data)";

constexpr const char* kTrainingNotes =
    R"(Archive and container are bound: both record the same training. They are compared unless no container
has learned from the archive yet, or --unmatched is given. If the process is killed while it writes the
two files, they may not match afterwards, and this brings them together:
  zandrel archive train FILE KC --unmatched

Labels that the container does not know are refused unless --add-categories is given.)";

constexpr const char* kLearnNotes =
    R"(The container learns the messages that it has not learned yet. Then messages are deleted that are
neither reserved nor among the newest.)";

constexpr const char* kTrainNotes =
    R"(Messages are deleted that are neither reserved nor among the newest. The container is trained anew with
all others, weighted by how often their category arrives and by their age. Its tree remains. With
--rebuild it gets a new tree, a statistical root with the labels of the archive as leaves. It keeps its
id, name and settings, and becomes a container that is not compact.)";

void add_file(CLI::App& command, std::string& file) {
    add_file_argument(command, "FILE", file, "File of a message archive");
}

void add_settings(CLI::App& command, Archive_settings& settings) {
    const auto size = CLI::Range(0U, std::numeric_limits<unsigned int>::max()).description("");
    command
        .add_option("--reserved-size", settings.reserved_size,
                    "Newest messages of each category that are reserved; 0: none")
        ->check(size)
        ->type_name("N");
    command
        .add_option("--minimal-size", settings.minimal_size,
                    "Messages for each category that learn and train keep")
        ->check(size)
        ->type_name("N");
    command
        .add_option("--age-ratio", settings.age_ratio,
                    "Weight of the newest message of a category to its oldest one in train; up to "
                    "1: equal")
        ->check(error_of_score)
        ->type_name("R");
}

struct Create_words {
    std::string file;
    bool is_narrow = false;
    Analysis_names analysis;
    Archive_settings settings;
    double seconds_to_wait = 0.0;
    bool writes_json = false;
};

// Prints the result of a change: a line, or the file and `facts` as JSON.
void print_change(const std::string& file, const std::string& line,
                  const nlohmann::ordered_json& facts, bool writes_json) {
    if (!writes_json) {
        std::cout << shown_text(file) << ": " << line << '\n';
        return;
    }
    nlohmann::ordered_json json = {{"file", file}};
    json.update(facts);
    print_json(json, Json_form::kManyLines, std::cout);
}

void create(const Create_words& words) {
    create_archive(
        {words.file, !words.is_narrow, analysis_settings(words.analysis),
         words.settings.reserved_size, words.settings.minimal_size, words.settings.age_ratio},
        {words.seconds_to_wait, nullptr});
    print_change(words.file, "empty archive", {{"messages", 0}}, words.writes_json);
}

void add_create(CLI::App& archive) {
    const auto words = std::make_shared<Create_words>();
    CLI::App* const command = archive.add_subcommand("create", "Make an empty archive");
    add_file(*command, words->file);
    command->add_flag("--32-bit", words->is_narrow,
                      "Offsets of 32 bits: a smaller index, for a file of at most 2 GiB");
    add_analysis_options(*command, words->analysis, Analysis_kind::kPhrases);
    add_settings(*command, words->settings);
    add_wait_option(*command, words->seconds_to_wait);
    add_json_option(*command, words->writes_json);
    command->footer(
        "A file that exists is not replaced.\n\nExample:\n"
        "  zandrel archive create shop.arc --reserved-size 50");
    command->callback([words] { create(*words); });
}

// The options of archive add for data files. One text has none of them.
constexpr const char* kDataOptions[] = {"--id-pair", "--skip-bad", "--max-line",
                                        "--format",  "--text",     "--pair",
                                        "--header",  "--label",    "--label-separator"};

// An unset variable in a script gives an empty id. Without this check the message would be added
// with an id of the archive's choice, or would replace nothing.
std::string error_of_id(const std::string& text) {
    return text.empty() ? "the id is empty" : "";
}

struct Add_words {
    Archive_target target;
    std::vector<std::string> words;
    std::vector<std::string> categories;
    std::string id;
    std::string replaced_id;
    Added_files files;
    Analysis_names analysis;
    bool writes_json = false;
};

void print(const Add_summary& summary, bool writes_json) {
    print_skipped(summary.skipped, std::cerr);
    if (writes_json) {
        print_json({{"file", summary.file},
                    {"added", summary.added},
                    {"replaced", summary.replaced},
                    {"messages", summary.messages},
                    {"skipped_lines", summary.skipped.count}},
                   Json_form::kManyLines, std::cout);
        return;
    }
    std::cout << shown_text(summary.file) << ": " << grouped(summary.added)
              << (summary.added == 1 ? " message added, " : " messages added, ")
              << grouped(summary.replaced) << " replaced, " << grouped(summary.messages)
              << " in the archive\n";
}

Add_summary add_messages(Add_words& words) {
    if (!words.categories.empty()) {
        if (words.words.size() != 1) {
            throw Usage_error("with --category, give one text");
        }
        return add_text(words.target, {words.words.front(), words.categories, words.id,
                                       words.replaced_id, given_analysis(words.analysis)});
    }
    if (!words.id.empty() || !words.replaced_id.empty()) {
        throw Usage_error("--id and --replaces need --category");
    }
    words.files.data_files = words.words;
    words.files.analysis = given_analysis(words.analysis);
    return add_files(words.target, words.files);
}

void add(Add_words& words) {
    Add_summary summary;
    {
        Long_work work;
        words.target.progress = &work.progress();
        words.files.warn = [&work](const std::string& text) { work.warn(text); };
        summary = add_messages(words);
    }
    print(summary, words.writes_json);
}

void add_add(CLI::App& archive) {
    const auto words = std::make_shared<Add_words>();
    CLI::App* const command = archive.add_subcommand("add", "Add labelled messages");
    add_file(*command, words->target.file);
    command->add_option("DATA", words->words, "Data files, -: standard input; or a text")
        ->required()
        ->type_name("");
    CLI::Option* const category =
        command
            ->add_option("--category", words->categories, "A category of the text; may be repeated")
            ->allow_extra_args(false)
            ->type_name("NAME");
    command->add_option("--id", words->id, "External id of the text")
        ->check(error_of_id)
        ->type_name("ID");
    command
        ->add_option("--replaces", words->replaced_id,
                     "External id of the message that the text replaces, if there is one")
        ->check(error_of_id)
        ->type_name("ID");
    command
        ->add_option("--id-pair", words->files.id_pair,
                     "Pair of the data with the external id of each message")
        ->type_name("NAME");
    command->add_flag("--skip-bad", words->files.skips_bad_lines,
                      "Leave bad data lines out and print their number");
    add_max_line_option(*command, words->files.longest_line);
    add_data_form_options(*command, words->files.form);
    for (const char* const option : kDataOptions) {
        category->excludes(command->get_option(option));
    }
    add_analysis_options_of_container(*command, words->analysis);
    add_wait_option(*command, words->target.seconds_to_wait);
    add_json_option(*command, words->writes_json);
    command->footer(kAddNotes);
    command->callback([words] { add(*words); });
}

struct Delete_words {
    Archive_target target;
    Deleted_messages deleted;
    bool writes_json = false;
};

void add_delete(CLI::App& archive) {
    const auto words = std::make_shared<Delete_words>();
    CLI::App* const command = archive.add_subcommand("delete", "Delete messages");
    add_file(*command, words->target.file);
    command->add_option("ID", words->deleted.ids, "External ids of messages")
        ->required()
        ->type_name("");
    command->add_flag("--number", words->deleted.are_numbers, "The ids are numbers of messages");
    command->add_flag("--reserved", words->deleted.deletes_reserved,
                      "Delete reserved messages too");
    add_wait_option(*command, words->target.seconds_to_wait);
    add_json_option(*command, words->writes_json);
    command->footer(
        "If one message is missing or reserved, none is deleted.\n\nExample:\n"
        "  zandrel archive delete shop.arc case-7 --reserved");
    command->callback([words] {
        const std::size_t left = delete_messages(words->target, words->deleted);
        print_change(words->target.file,
                     grouped(left) + (left == 1 ? " message" : " messages") + " in the archive",
                     {{"messages", left}}, words->writes_json);
    });
}

struct Read_words {
    std::string file;
    Listed_messages listed;
    std::vector<std::string> ids;
    bool are_numbers = false;
    bool writes_json = false;
};

void add_list(CLI::App& archive) {
    const auto words = std::make_shared<Read_words>();
    CLI::App* const command = archive.add_subcommand("list", "List the messages, oldest first");
    add_file(*command, words->file);
    command->add_option("--category", words->listed.category, "Only messages of this category")
        ->type_name("NAME");
    command->add_flag("--new", words->listed.is_new, "Only messages that no container has learned");
    add_json_option(*command, words->writes_json, "Print a JSON object for each message");
    command->footer(
        "A line has number, time, `reserved` or `free`, external id, labels and text of a "
        "message,\n"
        "with tabs between them. With --json the id is null if the message was added without one. "
        "Each\ncommand that reads data accepts these objects, with --format jsonl.\n\nExample:\n  "
        "zandrel archive list shop.arc --new");
    command->callback([words] {
        Archive_to_read opened(words->file);
        list_messages(opened, words->listed, words->writes_json, std::cout);
    });
}

void add_show(CLI::App& archive) {
    const auto words = std::make_shared<Read_words>();
    CLI::App* const command = archive.add_subcommand("show", "Show messages");
    add_file(*command, words->file);
    command->add_option("ID", words->ids, "External ids of messages")->required()->type_name("");
    command->add_flag("--number", words->are_numbers, "The ids are numbers of messages");
    add_json_option(*command, words->writes_json, "Print a JSON object for each message");
    command->footer("Example:\n  zandrel archive show shop.arc case-7");
    command->callback([words] {
        Archive_to_read opened(words->file);
        show_messages(opened, words->ids, words->are_numbers, words->writes_json, std::cout);
    });
}

void add_info(CLI::App& archive) {
    const auto words = std::make_shared<Read_words>();
    CLI::App* const command =
        archive.add_subcommand("info", "Describe an archive and its categories");
    add_file(*command, words->file);
    add_json_option(*command, words->writes_json);
    command->footer(
        "For each category: its messages, how many of them are reserved, its share in the stream "
        "of\n"
        "arrivals, and the arrivals for each of its messages. Mature categories have filled their\n"
        "reservation. Fullness is the number of messages, of the minimal size of all categories; "
        "it\n"
        "can be more than 100 %.\n\nExample:\n  zandrel archive info shop.arc");
    command->callback([words] {
        Archive_to_read opened(words->file);
        if (words->writes_json) {
            print_json(archive_info_json(opened), Json_form::kManyLines, std::cout);
        } else {
            print_archive_info(opened, std::cout);
        }
    });
}

struct Rename_words {
    Archive_target target;
    std::string old_name;
    std::string new_name;
    bool writes_json = false;
};

void add_rename(CLI::App& archive) {
    const auto words = std::make_shared<Rename_words>();
    CLI::App* const command = archive.add_subcommand("rename", "Rename a category in all messages");
    add_file(*command, words->target.file);
    command->add_option("OLD", words->old_name, "The category")->required()->type_name("");
    command->add_option("NEW", words->new_name, "Its new name")->required()->type_name("");
    add_wait_option(*command, words->target.seconds_to_wait);
    add_json_option(*command, words->writes_json);
    command->footer(
        "The file is replaced as a whole, or stays as it was. Rename the category in the\n"
        "container too, with zandrel tree rename.\n\nExample:\n"
        "  zandrel archive rename shop.arc refund 'money back'");
    command->callback([words] {
        {
            Long_work work;
            words->target.progress = &work.progress();
            rename_category(words->target, words->old_name, words->new_name);
        }
        print_change(words->target.file,
                     "category \"" + shown_value(words->old_name) + "\" is \"" +
                         shown_value(words->new_name) + "\" now",
                     {{"old", words->old_name}, {"new", words->new_name}}, words->writes_json);
    });
}

struct Set_words {
    Archive_target target;
    Archive_settings settings;
    bool writes_json = false;
};

// The settings that were given.
nlohmann::ordered_json settings_json(const Archive_settings& settings) {
    nlohmann::ordered_json json = nlohmann::ordered_json::object();
    if (settings.reserved_size) {
        json["reserved_size"] = *settings.reserved_size;
    }
    if (settings.minimal_size) {
        json["minimal_size"] = *settings.minimal_size;
    }
    if (settings.age_ratio) {
        json["age_ratio"] = *settings.age_ratio;
    }
    return json;
}

void add_set(CLI::App& archive) {
    const auto words = std::make_shared<Set_words>();
    CLI::App* const command = archive.add_subcommand("set", "Change settings of an archive");
    add_file(*command, words->target.file);
    add_settings(*command, words->settings);
    add_wait_option(*command, words->target.seconds_to_wait);
    add_json_option(*command, words->writes_json);
    command->footer(
        "A smaller reserved size releases messages at once. A larger one reserves only\n"
        "later arrivals.\n\nExample:\n"
        "  zandrel archive set shop.arc --minimal-size 200");
    command->callback([words] {
        const Archive_settings& settings = words->settings;
        if (!settings.reserved_size && !settings.minimal_size && !settings.age_ratio) {
            throw Usage_error("give --reserved-size, --minimal-size or --age-ratio");
        }
        set_archive(words->target, settings);
        const nlohmann::ordered_json facts = settings_json(settings);
        print_change(words->target.file,
                     facts.size() == 1 ? "1 setting changed"
                                       : std::to_string(facts.size()) + " settings changed",
                     facts, words->writes_json);
    });
}

struct Training_words_of_archive {
    Archive_training_options options;
    Analysis_names analysis;
    bool writes_json = false;
};

void train(Training_words_of_archive& words) {
    words.options.analysis = given_analysis(words.analysis);
    std::error_code ignored;  // a file may not exist
    if (std::filesystem::equivalent(words.options.target.file, words.options.kc_file, ignored)) {
        throw Usage_error(shown_file(words.options.kc_file) +
                          " is the archive itself, and no knowledge container");
    }
    if (words.options.forgets && !words.options.rebuilds) {
        throw Usage_error("--forget needs --rebuild");
    }
    Archive_training_summary summary;
    {
        Long_work work;
        words.options.target.progress = &work.progress();
        words.options.warn = [&work](const std::string& text) { work.warn(text); };
        summary = train_from_archive(words.options);
    }
    if (words.writes_json) {
        print_json(archive_training_json(summary), Json_form::kManyLines, std::cout);
    } else {
        print_archive_training(summary, std::cout);
    }
}

void add_training(CLI::App& archive, bool trains) {
    const auto words = std::make_shared<Training_words_of_archive>();
    Archive_training_options& options = words->options;
    options.trains = trains;
    CLI::App* const command =
        trains ? archive.add_subcommand("train", "Train a container anew from an archive")
               : archive.add_subcommand("learn", "Let a container learn the new messages");
    add_file(*command, options.target.file);
    add_file_argument(*command, "KC", options.kc_file, "File of the knowledge container");
    if (trains) {
        command->add_flag("--rebuild", options.rebuilds, "Give the container a new tree");
        command->add_flag("--forget", options.forgets,
                          "Allow --rebuild to lose rules and further levels of the tree");
    }
    command->add_flag("--add-categories", options.adds_categories,
                      "Add unknown labels below the root instead of refusing them");
    command->add_flag("--unmatched", options.is_unmatched,
                      "Do not require that the container is the last one that learned from the "
                      "archive");
    command->add_flag("--if-due", options.only_if_due,
                      "Do nothing unless there are as many new messages as the container's setting "
                      "ActivateFeedback says");
    add_analysis_options_of_container(*command, words->analysis);
    add_bound_option(*command, options.bound.given);
    add_wait_option(*command, options.target.seconds_to_wait);
    add_json_option(*command, words->writes_json);
    command->footer(std::string(trains ? kTrainNotes : kLearnNotes) + "\n\n" + kTrainingNotes +
                    "\n\nExample:\n  zandrel archive " + (trains ? "train" : "learn") +
                    " shop.arc shop.kc --if-due");
    command->callback([words] { train(*words); });
}

}  // namespace

void add_archive_commands(CLI::App& app) {
    CLI::App* const archive =
        app.add_subcommand("archive", "Keep labelled messages, and train containers from them");
    archive->require_subcommand(1);
    add_create(*archive);
    add_add(*archive);
    add_delete(*archive);
    add_list(*archive);
    add_show(*archive);
    add_info(*archive);
    add_rename(*archive);
    add_set(*archive);
    add_training(*archive, false);
    add_training(*archive, true);
    archive->footer(kArchiveNotes);
}

}  // namespace zandrel::cli
