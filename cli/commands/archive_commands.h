// The commands below archive.
#ifndef ZANDREL_CLI_COMMANDS_ARCHIVE_COMMANDS_H_
#define ZANDREL_CLI_COMMANDS_ARCHIVE_COMMANDS_H_

namespace CLI {
class App;
}

namespace zandrel::cli {

void add_archive_commands(CLI::App& app);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_COMMANDS_ARCHIVE_COMMANDS_H_
