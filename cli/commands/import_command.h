// import: merges a knowledge container into another one.
#ifndef ZANDREL_CLI_COMMANDS_IMPORT_COMMAND_H_
#define ZANDREL_CLI_COMMANDS_IMPORT_COMMAND_H_

namespace CLI {
class App;
}  // namespace CLI

namespace zandrel::cli {

void add_import_command(CLI::App& app);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_COMMANDS_IMPORT_COMMAND_H_
