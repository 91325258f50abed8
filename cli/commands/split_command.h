// The command split, which divides a data file.
#ifndef ZANDREL_CLI_COMMANDS_SPLIT_COMMAND_H_
#define ZANDREL_CLI_COMMANDS_SPLIT_COMMAND_H_

namespace CLI {
class App;
}

namespace zandrel::cli {

void add_split_command(CLI::App& app);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_COMMANDS_SPLIT_COMMAND_H_
