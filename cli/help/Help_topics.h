// Help_topics: the pages of help that belong to more than one command.
#ifndef ZANDREL_CLI_HELP_HELP_TOPICS_H_
#define ZANDREL_CLI_HELP_HELP_TOPICS_H_

#include <span>
#include <string_view>

namespace cli {

struct Help_topic {
    std::string_view name;     // a word of `zandrel help`; never that of a command
    std::string_view summary;  // one line
    std::string_view text;     // lines, the last one without its end
};

// In the order in which the help lists them.
std::span<const Help_topic> help_topics();

// Returns null if there is no such topic.
const Help_topic* find_help_topic(std::string_view name);

}  // namespace cli

#endif  // ZANDREL_CLI_HELP_HELP_TOPICS_H_
