// Help_topics: help texts on subjects of several commands.
#ifndef ZANDREL_CLI_HELP_HELP_TOPICS_H_
#define ZANDREL_CLI_HELP_HELP_TOPICS_H_

#include <span>
#include <string_view>

namespace zandrel::cli {

struct Help_topic {
    std::string_view name;     // the word after `zandrel help`; not the name of a command
    std::string_view summary;  // one line
    std::string_view text;     // several lines; no line end after the last one
};

// In the order in which the help lists them.
std::span<const Help_topic> help_topics();

// Returns null if there is no such topic.
const Help_topic* find_help_topic(std::string_view name);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_HELP_HELP_TOPICS_H_
