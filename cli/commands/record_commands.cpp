// The options of dump and check, and the exit status of each condition.
#include "cli/commands/record_commands.h"

#include <iostream>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/records/Record_check.h"
#include "cli/records/Record_dump.h"
#include "cli/records/Record_file.h"
#include "cli/text/Json.h"

namespace cli {

namespace {

constexpr const char* kDumpNotes =
    R"(A record file stores blobs under keys. dump shows header, index, items and holes of a record file, and
the contents of each item and the checksums of the seal of a container.

Example:
  zandrel dump messages.dat)";

constexpr const char* kCheckNotes =
    R"(A record file stores blobs under keys. check compares every block of a record file with the index, and
verifies the seal of a container.

Exit status: 0 clean, 1 repairable (no item is known to be lost), 65 lost, damaged,
or neither a record file nor a container.

Example:
  zandrel check messages.dat)";

// The words of the command line that dump and check have in common.
struct Record_words {
    std::string file;
    bool writes_json = false;
};

void print_dump(const Record_words& words) {
    const Record_file file = read_record_file(words.file);
    if (words.writes_json) {
        print_json(record_dump_json(file), Json_form::kManyLines, std::cout);
    } else {
        print_record_dump(file, std::cout);
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
    const Record_check check = check_record_file(read_record_file(words.file));
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
    command->add_option("FILE", words.file, "A record file or a knowledge container")
        ->required()
        ->type_name("");
    command->add_flag("--json", words.writes_json, "Print JSON");
    return *command;
}

}  // namespace

void add_record_commands(CLI::App& app, Command_result& result) {
    const auto words = std::make_shared<Record_words>();
    CLI::App& dump = add_record_command(
        app, "dump", "Show the contents of a record file or a container's file", *words);
    dump.footer(kDumpNotes);
    dump.callback([words] { print_dump(*words); });
    CLI::App& check = add_record_command(
        app, "check", "Check a record file or a container's file for damage", *words);
    check.footer(kCheckNotes);
    check.callback([words, &result] { print_check(*words, result); });
}

}  // namespace cli
