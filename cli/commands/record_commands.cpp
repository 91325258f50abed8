// The options of dump and check, and the exit status of each condition.
#include "cli/commands/record_commands.h"

#include <cstddef>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/commands/option_checks.h"
#include "cli/process/Exit_status.h"
#include "cli/records/Archive_check.h"
#include "cli/records/Corpus_records.h"
#include "cli/records/Kc_check.h"
#include "cli/records/Kc_records.h"
#include "cli/records/Record_check.h"
#include "cli/records/Record_dump.h"
#include "cli/records/Record_file.h"
#include "text/wording/Json.h"

namespace zandrel::cli {

namespace {

constexpr const char* kDumpNotes =
    R"(A record file stores blobs under keys. dump shows header, index, items and holes of a record file. Of a
container, plain or cached, it also shows the contents of each item: kind, node and sizes, and the
checksums of the seal. Of an archive it also shows the figures of the summary, and of a corpus file the
contents of each message. A record that cannot be read has the reason behind it.

All items of a record file are shown, and the first 1000 items of a container or a corpus file. --items
changes the number.

Example:
  zandrel dump messages.dat
  zandrel dump news.kc --items 20)";

constexpr const char* kCheckNotes =
    R"(A record file stores blobs under keys. check compares every block of a record file with the index. Of a
container, plain or cached, it also verifies the seal, reads every record, and names each record that
cannot be read, with its node. Items to which no record refers are listed, and are no damage: a deleted
classifier leaves its model in the file. Of an archive, check compares the summary with the messages. Of a
corpus file, it reads every message and names those that cannot be read.

check does not change the file. With --seal it adds a seal to a clean container that has none: checksums
of all items, with which later checks find each changed byte. Commands that change a cached container
remove its seal.

Exit status: 0 clean, 1 repairable (no item is known to be lost), 65 lost, damaged,
or neither a record file nor a container.

Example:
  zandrel check messages.dat
  zandrel check --seal news.kc)";

// The words of the command line that dump and check have in common.
struct Record_words {
    std::string file;
    bool writes_json = false;
    std::optional<int> items = {};  // of dump
    bool seals = false;             // of check, like the next one
    double seconds_to_wait = 0.0;
};

// A container can have many thousands of items, and each one that is shown has to be read.
std::size_t most_items(const Record_words& words, const Record_file& file) {
    constexpr std::size_t kMostOfContainer = 1000;
    if (words.items) {
        return *words.items == 0 ? std::numeric_limits<std::size_t>::max()
                                 : static_cast<std::size_t>(*words.items);
    }
    const bool is_known = (file.package && file.package->is_container) || is_corpus(file.header);
    return is_known ? kMostOfContainer : std::numeric_limits<std::size_t>::max();
}

// Decodes only the records that are shown, and one more: usually the classifier of the model that
// is shown last, which names that model.
std::optional<Kc_records> shown_records(const Record_file& file, std::size_t most) {
    const std::vector<Record_item>& items = file.index.items;
    const auto is_shown = [&items, most](const std::string& key) {
        return items.size() <= most || key <= items[most].key;
    };
    if (has_usable_corpus_records(file)) {
        return read_corpus_records(file, is_shown);
    }
    return has_usable_records(file) ? std::optional(read_kc_records(file, is_shown)) : std::nullopt;
}

void print_dump(const Record_words& words) {
    const Shared_file shared(words.file);
    const Record_file& file = shared.file;
    Dump_extent extent;
    extent.most = most_items(words, file);
    const std::optional<Kc_records> records = shown_records(file, extent.most);
    extent.records = records ? &*records : nullptr;
    const std::optional<Archive_facts> archive = archive_facts(file);
    extent.archive = archive ? &*archive : nullptr;
    if (words.writes_json) {
        print_json(record_dump_json(file, extent), Json_form::kManyLines, std::cout);
    } else {
        print_record_dump(file, std::cout, extent);
    }
}

int status_of(Record_condition condition) {
    switch (condition) {
        case Record_condition::kClean:
            return kSuccess;
        case Record_condition::kRepairable:
            return kRepairable;
        case Record_condition::kLost:
        case Record_condition::kDamaged:
            break;
    }
    return kDataError;
}

void print_check(const Record_words& words, Command_result& result) {
    const Record_check check = words.seals
                                   ? check_and_seal(words.file, {words.seconds_to_wait, nullptr})
                                   : check_file(words.file);
    if (words.writes_json) {
        print_json(record_check_json(check), Json_form::kManyLines, std::cout);
    } else {
        print_record_check(check, std::cout);
    }
    result.status = status_of(check.condition);
}

CLI::App& add_record_command(CLI::App& app, const char* name, const char* description,
                             Record_words& words) {
    CLI::App* const command = app.add_subcommand(name, description);
    command
        ->add_option("FILE", words.file,
                     "A container, a corpus file, a message archive or another record file")
        ->required()
        ->type_name("");
    add_json_option(*command, words.writes_json);
    return *command;
}

}  // namespace

void add_record_commands(CLI::App& app, Command_result& result) {
    const auto words = std::make_shared<Record_words>();
    CLI::App& dump = add_record_command(
        app, "dump", "Show the contents of a container, corpus, archive or record file", *words);
    dump.footer(kDumpNotes);
    dump.add_option("--items", words->items, "Show at most N items and N holes; 0: all")
        ->check(CLI::Range(0, std::numeric_limits<int>::max()).description(""))
        ->type_name("N");
    dump.callback([words] { print_dump(*words); });
    CLI::App& check = add_record_command(
        app, "check", "Check a container, corpus, archive or record file for damage", *words);
    check.footer(kCheckNotes);
    check.add_flag("--seal", words->seals, "Add a seal to a clean container that has none");
    add_wait_option(check, words->seconds_to_wait);
    check.callback([words, &result] { print_check(*words, result); });
}

}  // namespace zandrel::cli
