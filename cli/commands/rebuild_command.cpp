// The options of rebuild-index, and its exit status.
#include "cli/commands/rebuild_command.h"

#include <iostream>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/commands/option_checks.h"
#include "cli/process/Exit_status.h"
#include "cli/records/Rebuilt_index.h"
#include "text/wording/Json.h"

namespace zandrel::cli {

namespace {

constexpr const char* kNotes =
    R"(Makes a container, a corpus file, an archive or another record file anew from the items that are in it,
if the index does not agree with them. An item counts if its block ends at another block or at the end
of the file. A seal says which items are whole. The old file stays as FILE.bad, or FILE.bad2 and so on
if that name is taken. Parts that cannot be read are listed. A sound file is not changed. If only the
state of the file says that it was not closed, this is corrected in place.

The summary of an archive is made anew if it disagrees with the messages. If numbers are missing among
the messages of a corpus file, the messages behind them get lower numbers; a line names the first one.

If the last change of a container was not finished, some items may be from before it and others from after
it. A line says so. Afterwards each record of a container and each message of a corpus file is read, and
those that cannot be read are listed. Example: a kill while a classifier was overwritten leaves a record
that is half old and half new. Such a container needs its back-up.

Exit status: 0 each item that is known was recovered and can be read, 1 the same, but parts of the file
could not be read, 65 items are lost or records cannot be read, or neither a record file nor a container.

Example:
  zandrel rebuild-index messages.dat)";

struct Rebuild_words {
    std::string file;
    double seconds_to_wait = 0.0;
    bool writes_json = false;
};

int status_of(const Rebuilt_index& rebuilt) {
    if (rebuilt.recovery.has_loss || !rebuilt.problems.empty()) {
        return kDataError;
    }
    return rebuilt.recovery.is_unsure ? kRepairable : kSuccess;
}

void rebuild(const Rebuild_words& words, Command_result& result) {
    const Rebuilt_index rebuilt = rebuild_index(words.file, {words.seconds_to_wait, nullptr});
    if (words.writes_json) {
        print_json(rebuilt_index_json(rebuilt), Json_form::kManyLines, std::cout);
    } else {
        print_rebuilt_index(rebuilt, std::cout);
    }
    result.status = status_of(rebuilt);
}

}  // namespace

void add_rebuild_command(CLI::App& app, Command_result& result) {
    const auto words = std::make_shared<Rebuild_words>();
    CLI::App* const command = app.add_subcommand(
        "rebuild-index",
        "Make a damaged container, corpus, archive or record file anew from its items");
    command
        ->add_option("FILE", words->file,
                     "A container, a corpus file, a message archive or another record file")
        ->required()
        ->type_name("");
    add_wait_option(*command, words->seconds_to_wait);
    add_json_option(*command, words->writes_json);
    command->footer(kNotes);
    command->callback([words, &result] { rebuild(*words, result); });
}

}  // namespace zandrel::cli
