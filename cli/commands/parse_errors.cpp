// The parser reports only that a word is unknown or missing. We look for the first word that it did
// not understand, and suggest the nearest command or option.
#include "cli/commands/parse_errors.h"

#include <algorithm>
#include <iostream>

#include <CLI/CLI.hpp>

#include "cli/process/Exit_status.h"
#include "text/errors.h"
#include "text/wording/Nearest_name.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

// The outermost command with words that its parser did not understand.
struct Stray_words {
    const CLI::App* command = nullptr;
    std::string name;                // of the command, with the program's
    std::vector<std::string> words;  // at least one; only of this command
};

// A misspelt command makes all later words unknown too, so we report the outermost command. Returns
// a null command if all words are known.
Stray_words find_stray_words(const CLI::App& app) {
    std::string name;
    for (const CLI::App* command = &app; command != nullptr;) {
        name += (name.empty() ? "" : " ") + command->get_name();
        const std::vector<std::string> words = command->remaining();
        if (!words.empty()) {
            return {command, name, words};
        }
        const std::vector<CLI::App*> below = command->get_subcommands();
        command = below.empty() ? nullptr : below.front();
    }
    return {};
}

bool is_option(const std::string& word) {
    return word.size() > 1 && word.front() == '-';
}

std::vector<std::string> names_of_options(const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::Option* const option : command.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            names.push_back("--" + name);
        }
    }
    return names;
}

void report_stray_words(const CLI::App& app, const Stray_words& stray) {
    const auto option = std::find_if(stray.words.begin(), stray.words.end(), is_option);
    const auto word = std::find_if_not(stray.words.begin(), stray.words.end(), is_option);
    const std::vector<std::string> commands = names_of_commands(*stray.command);
    if (word != stray.words.end() && !commands.empty()) {
        std::cerr << "zandrel: " << unknown_word_text(stray.name, "command", *word, commands)
                  << "\nRun zandrel help for a list of the commands.\n";
        return;
    }
    app.exit(CLI::ExtrasError(stray.words));
    if (option != stray.words.end()) {
        const std::string name = option->substr(0, option->find('='));  // of `--option=value`
        const std::string nearest = nearest_name(name, names_of_options(*stray.command));
        std::cerr << (nearest.empty() ? "" : "Did you mean " + nearest + "?\n");
    }
}

// The parser reports missing arguments before unknown words, but a misspelt word is the likelier
// cause.
bool may_be_misspelt_word(const CLI::ParseError& error) {
    return dynamic_cast<const CLI::RequiredError*>(&error) != nullptr ||
           dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
}

}  // namespace

std::vector<std::string> names_of_commands(const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::App* const each :
         command.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(each->get_name());
    }
    return names;
}

std::string unknown_word_text(std::string_view above, std::string_view kind, std::string_view word,
                              const std::vector<std::string>& known) {
    // We omit the program's name: the message has "tree mvoe", not "zandrel tree mvoe".
    const std::size_t blank = above.find(' ');
    const std::string before =
        blank == std::string_view::npos ? "" : std::string(above.substr(blank + 1)) + ' ';
    return "unknown " + std::string(kind) + " \"" + before + shown_value(word) + '"' +
           nearest_name_question(word, known, before);
}

int report_parse_error(const CLI::App& app, const CLI::ParseError& error) {
    const Stray_words stray = may_be_misspelt_word(error) ? find_stray_words(app) : Stray_words();
    if (stray.command != nullptr) {
        report_stray_words(app, stray);
        return kUsageError;
    }
    return app.exit(error) == 0 ? kSuccess : kUsageError;
}

}  // namespace zandrel::cli
