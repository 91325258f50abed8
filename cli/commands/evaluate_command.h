// The command evaluate, which measures a model.
#ifndef ZANDREL_CLI_COMMANDS_EVALUATE_COMMAND_H_
#define ZANDREL_CLI_COMMANDS_EVALUATE_COMMAND_H_

namespace CLI {
class App;
}

namespace zandrel::cli {

void add_evaluate_command(CLI::App& app);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_COMMANDS_EVALUATE_COMMAND_H_
