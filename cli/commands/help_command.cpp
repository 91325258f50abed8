// `zandrel help` prints a topic, or the same text as `COMMAND --help`. Topics and commands have
// different names, so one word selects either.
#include "cli/commands/help_command.h"

#include <cstddef>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>

#include "cli/commands/parse_errors.h"
#include "cli/help/Help_topics.h"
#include "text/errors.h"

namespace zandrel::cli {

namespace {

constexpr std::size_t kColumn = 30;  // as the parser indents descriptions

std::string list_of_topics() {
    std::string list = "Topics:\n";
    for (const Help_topic& topic : help_topics()) {
        std::string line = "  " + std::string(topic.name);
        line.resize(kColumn, ' ');
        list += line + std::string(topic.summary) + '\n';
    }
    return list;
}

std::string end_of_help() {
    return list_of_topics() +
           "\n"
           "zandrel COMMAND --help describes a command, zandrel help TOPIC a topic.\n"
           "\n"
           "Examples:\n"
           "  zandrel train shop.kc shop.train.tsv\n"
           "  echo \"Where is my parcel?\" | zandrel classify shop.kc -k 3\n"
           "  zandrel evaluate --train shop.train.tsv --test shop.test.tsv";
}

std::vector<std::string> known_words(const CLI::App& command) {
    std::vector<std::string> names = names_of_commands(command);
    if (command.get_parent() == nullptr) {
        for (const Help_topic& topic : help_topics()) {
            names.emplace_back(topic.name);
        }
    }
    return names;
}

// Returns null if there is no such command.
const CLI::App* find_command(const CLI::App& above, const std::string& name) {
    const std::vector<const CLI::App*> found = above.get_subcommands(
        [&name](const CLI::App* command) { return command->get_name() == name; });
    return found.empty() ? nullptr : found.front();
}

// Prints the help of the command that the words lead to.
// RAISES: Usage_error if they lead nowhere.
void print_command_help(const CLI::App& app, const std::vector<std::string>& words) {
    const CLI::App* command = &app;
    std::string name = app.get_name();
    if (words.size() > 1 && find_help_topic(words.front()) != nullptr) {
        throw Usage_error("help: nothing follows the topic \"" + words.front() + "\"");
    }
    for (const std::string& word : words) {
        const CLI::App* const next = find_command(*command, word);
        if (next == nullptr) {
            throw Usage_error("help: " + unknown_word_text(name, "command or topic", word,
                                                           known_words(*command)));
        }
        command = next;
        name += ' ' + word;
    }
    std::cout << command->get_formatter()->make_help(command, name, CLI::AppFormatMode::Normal);
}

void print_help(const CLI::App& app, const std::vector<std::string>& words) {
    const Help_topic* const topic = words.size() == 1 ? find_help_topic(words.front()) : nullptr;
    if (topic == nullptr) {
        print_command_help(app, words);
    } else {
        std::cout << topic->text << '\n';
    }
}

}  // namespace

void add_help_command(CLI::App& app) {
    const auto words = std::make_shared<std::vector<std::string>>();
    CLI::App* const command =
        app.add_subcommand("help", "Print the help of a command, or a page on a topic");
    command
        ->add_option("TOPIC", *words, "A topic, or a command such as tree move; none: all topics")
        ->type_name("");
    command->footer(list_of_topics() +
                    "\n"
                    "Examples:\n"
                    "  zandrel help data\n"
                    "  zandrel help tree move");
    command->callback([words, &app] { print_help(app, *words); });
    app.footer(end_of_help());
}

}  // namespace zandrel::cli
