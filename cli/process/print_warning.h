// print_warning: prints a line for the user on standard error.
#ifndef ZANDREL_CLI_PROCESS_PRINT_WARNING_H_
#define ZANDREL_CLI_PROCESS_PRINT_WARNING_H_

#include <string>

namespace zandrel::cli {

// Prints "zandrel: " and the text, escaped and shortened (shown_message).
void print_warning(const std::string& text);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_PROCESS_PRINT_WARNING_H_
