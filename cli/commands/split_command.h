// The command split, which divides a data file.
#ifndef ZANDREL_CLI_COMMANDS_SPLIT_COMMAND_H_
#define ZANDREL_CLI_COMMANDS_SPLIT_COMMAND_H_

namespace CLI {
class App;
}

namespace cli {

void add_split_command(CLI::App& app);

}  // namespace cli

#endif  // ZANDREL_CLI_COMMANDS_SPLIT_COMMAND_H_
