// The command tune.
#ifndef ZANDREL_CLI_COMMANDS_TUNE_COMMAND_H_
#define ZANDREL_CLI_COMMANDS_TUNE_COMMAND_H_

namespace CLI {
class App;
}

namespace zandrel::cli {

void add_tune_command(CLI::App& app);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_COMMANDS_TUNE_COMMAND_H_
